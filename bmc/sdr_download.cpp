#include "bmc/sdr_download.h"

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/interruption.h"
#include "base/quiet_output.h"
#include "base/trace.h"
#include "bmc/saved_copy.h"
#include "bmc/sdr_repository.h"
#include "sdr/sdr_record.h"

namespace {

// A backup that failed is read again from its first record, under new
// reservations, after a pause: a BMC busy for a moment must not cost the
// copy.
constexpr int BACKUP_READS = 3;
constexpr unsigned int BACKUP_PAUSE_MS = 1000;

// The repository's records as the BMC holds them, byte for byte, into
// *pasBackup; true when complete. Incomplete, *pasBackup keeps the most
// records any read got whole.
bool BackUpRepository(unsigned short u16Expected, std::vector<SDRRecordBytes>* pasBackup)
{
    std::puts("Backup data from SDR Repository. ");
    std::puts("The back-up data will restore the SDR Repository if downloading is failed. ");
    pasBackup->clear();
    for (int iRead = 1; iRead <= BACKUP_READS && !StopForInterruption("download"); ++iRead) {
        unsigned short u16Count = u16Expected;
        std::vector<SDRRecordBytes> asRead;
        const CommandResult eResult = ReadRepositoryRecords(&u16Count, &asRead, RepositoryPass::BACKUP);
        if (eResult == CommandResult::SDR_RECORD_READ || asRead.size() > pasBackup->size()) {
            *pasBackup = asRead;
        }
        if (eResult == CommandResult::SDR_RECORD_READ) {
            std::puts("Backup data from SDR Repository Successful. \n");
            return true;
        }
        if (iRead < BACKUP_READS) {
            usleep(BACKUP_PAUSE_MS * 1000 * static_cast<unsigned int>(iRead));
        }
    }
    std::puts("Warning: Backup data from SDR Repository Failed. ");
    std::puts("Warning: The SDR Repository may have invalid SDR record if downloading is failed. \n");
    return false;
}

// Without a whole backup a failed download could not be undone: the
// repository is not erased unless the user said to go on regardless.
bool GoOnWithoutWholeBackup()
{
    const char* pchValue = std::getenv(PARTIAL_BACKUP_VARIABLE);
    if (pchValue != nullptr && std::strcmp(pchValue, "1") == 0) {
        return true;
    }
    std::fflush(stdout);
    std::fprintf(stderr,
                 "<ERROR> The SDR repository could not be read whole, so nothing was changed "
                 "(%s=1 downloads all the same).\n",
                 PARTIAL_BACKUP_VARIABLE);
    return false;
}

// True when the repository holds the backup again.
bool RestoreRepository(const std::vector<SDRRecordBytes>& asBackup)
{
    std::puts("Restore SDR Repository. ");
    std::printf("There are %Xh SDR records to restore! \n", static_cast<unsigned int>(asBackup.size()));
    if (AddRepositoryRecords(asBackup, RepositoryPass::RESTORE) != CommandResult::CMD_FAILED) {
        std::puts("Restore SDR Repository Successful. ");
        return true;
    }
    std::fputs("Restore SDR Repository Failed. \n", stderr);
    return false;
}

// A repository that was empty is made empty again: what the failed
// download added is erased.
void EraseWhatWasAdded()
{
    SuppressedTrace quiet;
    ToClearSDR();
}

// The records without their IDs, which the BMC chooses.
std::vector<SDRRecordBytes> WithoutIds(std::vector<SDRRecordBytes> asRecords)
{
    for (SDRRecordBytes& sRecord : asRecords) {
        sRecord.erase(0, sRecord.size() < 2 ? sRecord.size() : 2);
    }
    return asRecords;
}

// The repository read back (quietly) and compared with the records written,
// record IDs aside.
bool RepositoryHolds(const std::vector<SDRRecordBytes>& asWritten)
{
    SilencedOutput silenced;
    SuppressedTrace quiet;
    SDRRepositoryInfo info = {};
    if (GetSDRRepositoryInfoCommand(&info, RepositoryMode::FOR_UPLOAD) != CommandResult::SDR_INFO_READ) {
        return false;
    }
    unsigned short u16Read = info.u16RecordCount;
    std::vector<SDRRecordBytes> asRead;
    return u16Read == asWritten.size() &&
           ReadRepositoryRecords(&u16Read, &asRead, RepositoryPass::UPLOAD) == CommandResult::SDR_RECORD_READ &&
           WithoutIds(asRead) == WithoutIds(asWritten);
}

std::vector<SDRRecordBytes> RecordsOfList(const SDRRecordList& list)
{
    std::vector<SDRRecordBytes> asRecords;
    for (const SDREntry& entry : list) {
        asRecords.emplace_back(reinterpret_cast<const char*>(entry.au8RecordData), entry.u8RecordLength);
    }
    return asRecords;
}

// The download with its backup and restore, whatever holds the records:
// uCount of them, u16Required bytes; add() erases the repository and adds
// them, written() gives them as they were to be written.
template <class Add, class Written>
bool AddToBMC(unsigned int uCount, unsigned short u16Required, Add add, Written written, WayBack* psWayBack)
{
    SDRRepositoryInfo info = {};
    if (GetSDRRepositoryInfoCommand(&info, RepositoryMode::FOR_DOWNLOAD) != CommandResult::SDR_INFO_READ) {
        return false;
    }
    const bool bBackupWanted = info.u16RecordCount != 0;
    // A notice only: the free space is the one before the erase.
    if (bBackupWanted && info.u16FreeSpace < u16Required) {
        std::printf("Lack of space in the SDR Repository, required=%d, free space=%d. \n", u16Required,
                    info.u16FreeSpace);
    }
    std::vector<SDRRecordBytes> asBackup;
    const bool bBackedUp = bBackupWanted && BackUpRepository(info.u16RecordCount, &asBackup);
    // A signal before the erase: nothing was changed, nothing to restore.
    if (StopForInterruption("download") || (bBackupWanted && !bBackedUp && !GoOnWithoutWholeBackup())) {
        return false;
    }
    // On disk before the erase: what could be read, whole or not.
    const std::string sCopy = bBackupWanted ? SaveRepositoryCopy(asBackup, !bBackedUp, *psWayBack) : std::string();

    std::printf("There are %Xh SDR records to download! \n", uCount);
    const CommandResult eResult = add();
    DebugMessage("Download finished --- eState = %d \n", static_cast<int>(eResult));
    // Another agent cancelled a reservation half-way: it may have written
    // too. Success only when the repository holds the file.
    const bool bDownloaded =
        eResult != CommandResult::CMD_FAILED && (ReservationsCancelledWhileAdding() == 0 || RepositoryHolds(written()));
    if (bDownloaded) {
        std::printf("Download SDR data Successful. (%Xh SDR records downloaded!) \n", uCount);
        std::printf("Run Initialization Agent Command... ");
        std::fflush(stdout);
        std::puts(RunInitializationAgentCommand() == CommandResult::SDR_INIT_AGENT_COMPLETED ? "Completed! "
                                                                                             : "Failed! ");
        return true;
    }
    std::fputs("Failure to download SDR data!\n\n", stderr);
    if (!bBackupWanted) {
        EraseWhatWasAdded();
    } else if (!bBackedUp || !RestoreRepository(asBackup)) {
        AdviseSavedCopy(psWayBack, sCopy);
    }
    return false;
}

}  // namespace

bool DoSDRAddToBMC(SDRRecordList* pList, WayBack* psWayBack)
{
    return AddToBMC(
        static_cast<unsigned int>(pList->size()), GetRequiredSDRSize(*pList),
        [&] { return DownloadSDRHandler(pList, RepositoryPass::DOWNLOAD); }, [&] { return RecordsOfList(*pList); },
        psWayBack);
}

bool DoSDRRecordsAddToBMC(const std::vector<SDRRecordBytes>& asRecords, WayBack* psWayBack)
{
    unsigned int uRequired = 0;
    for (const SDRRecordBytes& sRecord : asRecords) {
        uRequired += static_cast<unsigned int>(sRecord.size());
    }
    return AddToBMC(
        static_cast<unsigned int>(asRecords.size()), static_cast<unsigned short>(uRequired),
        [&] { return AddRepositoryRecords(asRecords, RepositoryPass::DOWNLOAD); }, [&] { return asRecords; },
        psWayBack);
}
