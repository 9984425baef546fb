// Copies of what the BMC held, written to disk before VALDRN changes it: a
// run that fails or dies half-way never leaves the only copy in memory.
//
// Folder: $VALDRN_BACKUP_DIR when set, else /var/lib/valdrn/backups for
// root, else ${XDG_STATE_HOME:-$HOME/.local/state}/valdrn/backups; made
// with mode 0700, files 0600. A folder that is not the user's alone (owned
// by another, or writable by group or others) is not used: one warning
// line, and the default folder instead. Names: <target>-<kind>-<UTC
// time>-<pid>[-partial|-raw].<sdr|fru|bin>, where the target is the LAN+
// host or, in-band, this machine's host name, and the kind "sdr" or
// "fru<ID>". Each copy is created in the open folder without following a
// link, written through that one descriptor and synced with its folder
// before the caller changes anything. The newest 20 per target and kind
// (by modification time) are kept; this run's copy and copies younger than
// an hour are never removed. Nothing is printed when a copy is written;
// when it cannot be, one warning line on standard error says why and where.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/interface_state.h"
#include "base/sdr_entry.h"
#include "sdr/sdr_exact_copy.h"

std::string SavedCopyFolder();
// The folder without VALDRN_BACKUP_DIR.
std::string DefaultCopyFolder();
// What the copies' names and the lock of a run name the BMC by: the LAN+
// host, or this machine's host name in-band.
std::string TargetName(const InterfaceChoice& interface);

// The way back of a run that changes the BMC: how the caller words the
// advice for a copy (bmc/ builds no command line; the words are what a
// second signal prints once a copy is on disk), and the copy a failed run
// leaves, "" while there is none.
// The copies are named after the run's target (TargetName), the in-band
// host unless the run says otherwise.
struct WayBack {
    std::function<std::string(const std::string& sCopyPath)> fnAdvice;
    std::string sCopyPath;
    std::string sTarget = TargetName(InterfaceChoice{});
};

// The copy becomes the run's way back (a "" path changes nothing).
void AdviseSavedCopy(WayBack* psWayBack, const std::string& sPath);

// The repository's records as -d puts them back: an SDR text file when
// that holds every record as it is, else the exact copy (SDR binary format
// 2 marked as such, ".bin"); "partial" in the name when the read of the
// repository did not complete. The path, or "" after the warning. Once on
// disk, the way back's advice for it is what a second signal prints.
std::string SaveRepositoryCopy(const std::vector<SDRRecordBytes>& asRecords, bool bPartial, const WayBack& wayBack);

// A FRU device's bytes: as an image file -d puts back (bIsImage), or as all
// the bytes read ("raw"), which ipmitool's "fru write" puts back.
std::string SaveFRUDeviceCopy(unsigned char u8FruID, const unsigned char* pu8Bytes, unsigned int uCount, bool bIsImage,
                              const WayBack& wayBack);
