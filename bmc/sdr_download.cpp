#include "bmc/sdr_download.h"

#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/interruption.h"
#include "base/quiet_output.h"
#include "base/trace.h"
#include "base/working_storage.h"
#include "bmc/saved_copy.h"
#include "bmc/sdr_repository.h"
#include "sdr/sdr_record.h"

namespace {

// A backup that failed is read again from its first record, under new
// reservations, after a pause: a BMC busy for a moment must not cost the
// copy.
constexpr int BACKUP_READS = 3;
constexpr unsigned int BACKUP_PAUSE_MS = 1000;

// The repository's records into the repository list; true when complete.
bool BackUpRepository(unsigned short u16Expected, unsigned short* pu16BackupCount)
{
    std::puts("Backup data from SDR Repository. ");
    std::puts("The back-up data will restore the SDR Repository if downloading is failed. ");
    // A read again goes into a list of its own: should it fail sooner, the
    // records the first read got whole stay for a partial copy.
    std::vector<SDREntry> aAgain;
    for (int iRead = 1; iRead <= BACKUP_READS && !StopForInterruption("download"); ++iRead) {
        if (iRead == 2) {
            aAgain.resize(SDR_LIST_SLOT_COUNT);
            MarkSDRSlotsFree(aAgain.data(), SDR_LIST_SLOT_COUNT);
        }
        SDREntry* psInto = iRead == 1 ? G_psRepositorySDREntryList : aAgain.data();
        *pu16BackupCount = u16Expected;
        const int iResult = UploadSDRHandler(pu16BackupCount, psInto, "backup");
        if (iResult == SDR_RECORD_READ) {
            if (psInto != G_psRepositorySDREntryList) {
                std::copy(psInto, psInto + *pu16BackupCount + 1, G_psRepositorySDREntryList);
            }
            std::puts("Backup data from SDR Repository Successful. \n");
            return true;
        }
        if (iResult == SDR_RECORD_LEFT_OUT) {
            break;  // reading again cannot make the record shorter
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
bool RestoreRepository(unsigned short u16BackupCount)
{
    std::puts("Restore SDR Repository. ");
    std::printf("There are %Xh SDR records to restore! \n", u16BackupCount);
    if (DownloadSDRHandler(u16BackupCount, G_psRepositorySDREntryList, "restore") != CMD_FAILED) {
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

// The repository read back (quietly) and compared with the file's records.
bool RepositoryHoldsTheFile(unsigned short u16Count)
{
    std::vector<SDREntry> aRead(SDR_LIST_SLOT_COUNT);
    MarkSDRSlotsFree(aRead.data(), SDR_LIST_SLOT_COUNT);
    SilencedOutput silenced;
    SuppressedTrace quiet;
    SDRRepositoryInfo info = {};
    unsigned short u16Read = 0;
    if (GetSDRRepositoryInfoCommand(&info, REPOSITORY_FOR_UPLOAD) != 0) {
        return false;
    }
    u16Read = info.u16RecordCount;
    return UploadSDRHandler(&u16Read, aRead.data(), "upload") == SDR_RECORD_READ &&
           CompareSDRLists(LocalSDRList(), u16Count, {aRead.data(), SDR_LIST_SLOT_COUNT}, u16Read) == 1;
}

}  // namespace

bool DoSDRAddToBMC(unsigned short u16Count)
{
    SDRRepositoryInfo info = {};
    if (GetSDRRepositoryInfoCommand(&info, REPOSITORY_FOR_DOWNLOAD) != 0) {
        return false;
    }
    const unsigned short u16Required = GetRequiredSDRSize(u16Count);
    const bool bBackupWanted = info.u16RecordCount != 0;
    // A notice only: the free space is the one before the erase.
    if (bBackupWanted && info.u16FreeSpace < u16Required) {
        std::printf("Lack of space in the SDR Repository, required=%d, free space=%d. \n", u16Required,
                    info.u16FreeSpace);
    }
    unsigned short u16BackupCount = info.u16RecordCount;
    const bool bBackedUp = bBackupWanted && BackUpRepository(info.u16RecordCount, &u16BackupCount);
    // A signal before the erase: nothing was changed, nothing to restore.
    if (StopForInterruption("download") || (bBackupWanted && !bBackedUp && !GoOnWithoutWholeBackup())) {
        return false;
    }
    // On disk before the erase: what could be read, whole or not. Records
    // the copy cannot hold would be lost with a run that dies: no erase.
    bool bCannotHold = false;
    const std::string sCopy =
        bBackupWanted ? SaveRepositoryCopy(RepositorySDRList(), info.u16RecordCount, !bBackedUp, &bCannotHold)
                      : std::string();
    if (bBackedUp && bCannotHold && !GoOnWithoutWholeBackup()) {
        return false;
    }
    std::printf("There are %Xh SDR records to download! \n", u16Count);
    const int iResult = DownloadSDRHandler(u16Count, G_psLocalSDREntryList, "download");
    DebugMessage("Download finished --- eState = %d \n", iResult);
    // Another agent cancelled a reservation half-way: it may have written
    // too. Success only when the repository holds the file.
    const bool bDownloaded =
        iResult != CMD_FAILED && (ReservationsCancelledWhileAdding() == 0 || RepositoryHoldsTheFile(u16Count));
    if (bDownloaded) {
        std::printf("Download SDR data Successful. (%Xh SDR records downloaded!) \n", u16Count);
        std::printf("Run Initialization Agent Command... ");
        std::fflush(stdout);
        std::puts(RunInitializationAgentCommand() == SDR_INIT_AGENT_COMPLETED ? "Completed! " : "Failed! ");
        return true;
    }
    std::fputs("Failure to download SDR data!\n\n", stderr);
    if (!bBackupWanted) {
        EraseWhatWasAdded();
    } else if (!bBackedUp || !RestoreRepository(u16BackupCount)) {
        AdviseSavedCopy(sCopy);
    }
    return false;
}
