#include "bmc/saved_copy.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <vector>

#include "base/interface_state.h"
#include "base/interruption.h"
#include "base/quiet_output.h"
#include "base/write_all.h"
#include "bmc/ipmi_command.h"
#include "encoding/text_encoding.h"
#include "encoding/text_tokens.h"
#include "sdr/sdr_exact_copy.h"
#include "sdr/sdr_text_writer.h"

namespace {

constexpr size_t COPIES_KEPT = 20;

bool IsNameCharacter(char ch)
{
    return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') || ch == '.' || ch == '_' ||
           ch == '-';
}

// Characters a file name should not hold become "_" (an IPv6 address's
// colons, a path's slashes).
std::string AsNamePart(std::string sName, const char* pchIfEmpty)
{
    for (char& ch : sName) {
        ch = IsNameCharacter(ch) ? ch : '_';
    }
    return sName.empty() ? pchIfEmpty : sName;
}

std::string UtcStamp()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm utc = {};
    gmtime_r(&now.tv_sec, &utc);
    char achStamp[40];
    const size_t uLength = std::strftime(achStamp, sizeof achStamp, "%Y%m%dT%H%M%S", &utc);
    std::snprintf(achStamp + uLength, sizeof achStamp - uLength, ".%03ldZ", now.tv_nsec / 1000000L);
    return achStamp;
}

void Warn(const std::string& sWhat, const std::string& sWhere, const char* pchWhy)
{
    std::fprintf(stderr, "Warning: no copy of %s could be saved in %s: %s.\n", sWhat.c_str(), sWhere.c_str(), pchWhy);
}

// Every missing folder of the path, each with mode 0700.
bool MakeFolder(const std::string& sFolder, int* piError)
{
    std::string sPath;
    size_t uAt = 0;
    while (uAt != std::string::npos) {
        uAt = sFolder.find('/', uAt + 1);
        sPath = sFolder.substr(0, uAt);
        if (sPath.empty() || mkdir(sPath.c_str(), 0700) == 0 || errno == EEXIST) {
            continue;
        }
        *piError = errno;
        return false;
    }
    return true;
}

// The folder, opened to create files in it by descriptor: no name in it
// is looked up twice. -1 with *piError set when it cannot be made or
// opened.
int OpenFolder(const std::string& sFolder, int* piError)
{
    if (!MakeFolder(sFolder, piError)) {
        return -1;
    }
    const int iFolder = open(sFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (iFolder < 0) {
        *piError = errno;
    }
    return iFolder;
}

// Another user who can write in the folder could swap a copy for a link,
// or remove it: such a folder is not used.
bool IsPrivateFolder(int iFolder)
{
    struct stat info = {};
    return fstat(iFolder, &info) == 0 && info.st_uid == geteuid() && (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// The folder for the copies, open; or -1 after the warning. A folder set
// by VALDRN_BACKUP_DIR that is not private is named in one line and the
// default one used instead.
int OpenCopyFolder(const std::string& sWhat, std::string* psFolder)
{
    for (const bool bDefault : {false, true}) {
        *psFolder = bDefault ? DefaultCopyFolder() : SavedCopyFolder();
        int iError = 0;
        const int iFolder = OpenFolder(*psFolder, &iError);
        if (iFolder < 0) {
            Warn(sWhat, *psFolder, std::strerror(iError));
            return -1;
        }
        if (IsPrivateFolder(iFolder)) {
            return iFolder;
        }
        close(iFolder);
        if (bDefault || *psFolder == DefaultCopyFolder()) {
            Warn(sWhat, *psFolder, "the folder is not yours alone (its owner, or write permission for others)");
            return -1;
        }
        std::fprintf(stderr,
                     "Warning: %s is not yours alone (its owner, or write permission for others); copies go to %s.\n",
                     psFolder->c_str(), DefaultCopyFolder().c_str());
    }
    return -1;
}

// A new, empty file of mode 0600 whose name no other copy has taken: the
// time to the millisecond and the process ID, and, should this process
// save twice within a millisecond, the next millisecond's time. Created
// in the open folder, never through a link. Its descriptor (the name in
// *psName), or -1 with errno set.
int CreateCopyFile(int iFolder, const std::string& sPrefix, const std::string& sSuffix, std::string* psName)
{
    for (int iTry = 0; iTry < 1000; ++iTry) {
        *psName = sPrefix + UtcStamp() + "-" + std::to_string(getpid()) + sSuffix;
        const int iFd = openat(iFolder, psName->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (iFd >= 0 || errno != EEXIST) {
            return iFd;
        }
        usleep(1000);
    }
    errno = EEXIST;
    return -1;
}

// A copy younger than this is never removed, whatever the names say: its
// run may still need it.
constexpr time_t YOUNGEST_REMOVED_SECONDS = 3600;

// Only the newest copies of this target and kind stay, newest by the
// copies' own modification times; this run's copy (sKeep) and any copy
// younger than an hour stay whatever their number, so that a clock that
// was wrong when a copy was stamped cannot make a run remove its own.
void RemoveOldCopies(int iFolder, const std::string& sPrefix, const std::string& sKeep)
{
    const int iList = dup(iFolder);
    DIR* pDir = iList >= 0 ? fdopendir(iList) : nullptr;
    if (pDir == nullptr) {
        if (iList >= 0) {
            close(iList);
        }
        return;
    }
    std::vector<std::pair<time_t, std::string>> aCopies;
    while (const dirent* pEntry = readdir(pDir)) {
        const std::string sName = pEntry->d_name;
        struct stat info = {};
        if (sName.compare(0, sPrefix.size(), sPrefix) == 0 &&
            fstatat(iFolder, sName.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(info.st_mode)) {
            aCopies.emplace_back(info.st_mtime, sName);
        }
    }
    closedir(pDir);
    if (aCopies.size() <= COPIES_KEPT) {
        return;
    }
    std::sort(aCopies.begin(), aCopies.end());
    const time_t now = time(nullptr);
    for (size_t i = 0; i + COPIES_KEPT < aCopies.size(); ++i) {
        if (aCopies[i].second != sKeep && now - aCopies[i].first >= YOUNGEST_REMOVED_SECONDS) {
            unlinkat(iFolder, aCopies[i].second.c_str(), 0);
        }
    }
}

// The bytes as a new copy file, on disk (file and folder synced) before
// any change is made; its path, or "" after the warning that names why.
std::string WriteCopy(const std::string& sTarget, const std::string& sWhat, const std::string& sKind,
                      const std::string& sSuffix, const std::string& sBytes)
{
    std::string sFolder;
    const int iFolder = OpenCopyFolder(sWhat, &sFolder);
    if (iFolder < 0) {
        return "";
    }
    const std::string sPrefix = sTarget + "-" + sKind + "-";
    std::string sName;
    const int iFd = CreateCopyFile(iFolder, sPrefix, sSuffix, &sName);
    bool bWritten = iFd >= 0 && WriteAll(iFd, sBytes.data(), sBytes.size()) &&
                    fsync(iFd) == 0;
    int iError = errno;
    if (iFd >= 0 && close(iFd) != 0 && bWritten) {
        bWritten = false;
        iError = errno;
    }
    if (bWritten && fsync(iFolder) != 0) {
        bWritten = false;
        iError = errno;
    }
    if (!bWritten) {
        if (iFd >= 0) {
            unlinkat(iFolder, sName.c_str(), 0);
        }
        close(iFolder);
        Warn(sWhat, sFolder, std::strerror(iError));
        return "";
    }
    RemoveOldCopies(iFolder, sPrefix, sName);
    close(iFolder);
    return sFolder + "/" + sName;
}

// A copy on disk is the way back should a second signal end the run.
std::string Saved(const std::string& sPath, const WayBack& wayBack)
{
    if (wayBack.fnAdvice) {
        SetLastWordsOnSecondSignal(wayBack.fnAdvice(sPath).c_str());
    }
    return sPath;
}

}  // namespace

std::string TargetName(const InterfaceChoice& interface)
{
    if (interface.eInterfaceInUse == eInterfaceLanPlus) {
        return AsNamePart(interface.sIolData.achHostIP, "lan");
    }
    // In-band copies of machines that share one folder must not mix.
    char achHost[256] = {};
    return AsNamePart(gethostname(achHost, sizeof achHost - 1) == 0 ? achHost : "", "local");
}

std::string SavedCopyFolder()
{
    const char* pchFolder = std::getenv("VALDRN_BACKUP_DIR");
    if (pchFolder != nullptr && pchFolder[0] != '\0') {
        return pchFolder;
    }
    return DefaultCopyFolder();
}

std::string DefaultCopyFolder()
{
    if (geteuid() == 0) {
        return "/var/lib/valdrn/backups";
    }
    const char* pchState = std::getenv("XDG_STATE_HOME");
    if (pchState != nullptr && pchState[0] == '/') {
        return std::string(pchState) + "/valdrn/backups";
    }
    const char* pchHome = std::getenv("HOME");
    return std::string(pchHome != nullptr && pchHome[0] != '\0' ? pchHome : ".") + "/.local/state/valdrn/backups";
}

namespace {

// The records as an SDR text file, when that holds every one of them as it
// is (types and lengths VALDRN knows, ID strings a line can carry); false
// otherwise.
bool AsSDRText(const std::vector<SDRRecordBytes>& asRecords, std::string* psText)
{
    SDRRecordList aSlots(asRecords.size(), FreeSDRSlot());
    for (size_t i = 0; i < asRecords.size(); ++i) {
        const SDRRecordBytes& sRecord = asRecords[i];
        if (sRecord.size() > SDR_RECORD_DATA_SIZE || SDRRecordTotalLength(sRecord) != sRecord.size()) {
            return false;
        }
        SDREntry& entry = aSlots[i];
        std::memcpy(entry.au8RecordData, sRecord.data(), sRecord.size());
        entry.u16RecordID = ParseByIndex(entry.au8RecordData, 0, 2);
        entry.u8RecordType = entry.au8RecordData[3];
        entry.u8RecordLength = static_cast<unsigned char>(sRecord.size());
    }
    char* pchText = nullptr;
    size_t uSize = 0;
    FILE* pText = open_memstream(&pchText, &uSize);
    if (pText == nullptr) {
        return false;
    }
    int iWritten = 0;
    {
        // The writer's refusals are not for the user here: the exact copy
        // takes over.
        SilencedOutput silenced;
        iWritten = WriteSDRListToStream(pText, "copy", aSlots, FILE_ENCODING_ASCII);
    }
    psText->assign(pchText != nullptr ? pchText : "", pchText != nullptr ? uSize : 0);
    std::free(pchText);
    return iWritten == 1;
}

}  // namespace

std::string SaveRepositoryCopy(const std::vector<SDRRecordBytes>& asRecords, bool bPartial, const WayBack& wayBack)
{
    const char* const pchWhat = "the SDR repository";
    if (asRecords.empty()) {
        // An empty file is no copy: -d refuses it.
        Warn(pchWhat, SavedCopyFolder(), "no record could be read");
        return "";
    }
    // Made in memory: a full disk meets the copy's own write, never the
    // dialogue of a file the user asked for. SDR text where it holds every
    // record as it is; else the exact copy, which -d puts back as it is.
    std::string sBytes;
    const bool bText = AsSDRText(asRecords, &sBytes);
    if (!bText) {
        sBytes = ExactSDRCopyBytes(asRecords);
    }
    const std::string sPath = WriteCopy(wayBack.sTarget, pchWhat, "sdr",
                                        std::string(bPartial ? "-partial" : "") + (bText ? ".sdr" : ".bin"), sBytes);
    return sPath.empty() ? "" : Saved(sPath, wayBack);
}

std::string SaveFRUDeviceCopy(unsigned char u8FruID, const unsigned char* pu8Bytes, unsigned int uCount, bool bIsImage,
                              const WayBack& wayBack)
{
    const std::string sPath =
        WriteCopy(wayBack.sTarget, "FRU device " + std::to_string(u8FruID), "fru" + std::to_string(u8FruID),
                  bIsImage ? ".fru" : "-raw.bin", std::string(reinterpret_cast<const char*>(pu8Bytes), uCount));
    return sPath.empty() ? "" : Saved(sPath, wayBack);
}

void AdviseSavedCopy(WayBack* psWayBack, const std::string& sPath)
{
    if (!sPath.empty()) {
        psWayBack->sCopyPath = sPath;
    }
}
