// Copies of what the BMC held, written to disk before VALDRN changes it: a
// run that fails or dies half-way never leaves the only copy in memory.
//
// Folder: $VALDRN_BACKUP_DIR when set, else /var/lib/valdrn/backups for
// root, else ${XDG_STATE_HOME:-$HOME/.local/state}/valdrn/backups; made
// with mode 0700, files 0600. Names: <target>-<kind>-<UTC time>-<pid>
// [-partial|-raw].<sdr|fru|bin>, where the target is the LAN+ host or
// "local" and the kind "sdr" or "fru<ID>"; the newest 20 per target and
// kind are kept. Nothing is printed when a copy is written; when it cannot
// be, one warning line on standard error says why and where.
#pragma once

#include <string>

#include "base/sdr_entry.h"

// How the program was started (argv[0]): the restore command names it so.
void SetRestoreProgramName(const char* pchArgv0);

std::string SavedCopyFolder();

// The list's first u16Count records as an SDR text file that -d reads back;
// "partial" in the name when the read of the repository did not complete.
// The path, or "" after the warning.
std::string SaveRepositoryCopy(SDRList list, unsigned short u16Count, bool bPartial);

// A FRU device's bytes: as an image file -d puts back (bIsImage), or as all
// the bytes read ("raw"), which ipmitool's "fru write" puts back.
std::string SaveFRUDeviceCopy(unsigned char u8FruID, const unsigned char* pu8Bytes, unsigned int uCount, bool bIsImage);

// The copy a failed or interrupted run leaves as the way back: from here
// on, PrintSavedCopyAdvice names it and the command that restores it.
void AdviseSavedCopy(const std::string& sPath);
bool SavedCopyAdvised();
// The advice, on standard error: the copy, then on a line of its own the
// shell command that restores it, run from the current folder (password
// shown as "..."). Prints once; nothing when no copy was advised.
void PrintSavedCopyAdvice();
// The restore command for a copy (what PrintSavedCopyAdvice prints).
std::string RestoreCommand(const std::string& sPath);
// Forgets the advice (a new operation, or a test).
void ClearSavedCopyAdvice();
