#include "bmc/sdr_download.h"

#include <cstdio>
#include <string>

#include "base/interruption.h"
#include "base/quiet_output.h"
#include "base/trace.h"
#include "base/working_storage.h"
#include "bmc/saved_copy.h"
#include "bmc/sdr_repository.h"

namespace {

// The repository's records into the repository list; true when complete.
bool BackUpRepository(unsigned short* pu16BackupCount)
{
    std::puts("Backup data from SDR Repository. ");
    std::puts("The back-up data will restore the SDR Repository if downloading is failed. ");
    if (UploadSDRHandler(pu16BackupCount, G_psRepositorySDREntryList, "backup") == SDR_RECORD_READ) {
        std::puts("Backup data from SDR Repository Successful. \n");
        return true;
    }
    std::puts("Warning: Backup data from SDR Repository Failed. ");
    std::puts("Warning: The SDR Repository may have invalid SDR record if downloading is failed. \n");
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
    const bool bBackedUp = bBackupWanted && BackUpRepository(&u16BackupCount);
    // On disk before the erase: what could be read, whole or not.
    const std::string sCopy =
        bBackupWanted ? SaveRepositoryCopy(RepositorySDRList(), info.u16RecordCount, !bBackedUp) : std::string();

    // A signal before the erase: nothing was changed, nothing to restore.
    if (StopForInterruption("download")) {
        return false;
    }
    std::printf("There are %Xh SDR records to download! \n", u16Count);
    const int iResult = DownloadSDRHandler(u16Count, G_psLocalSDREntryList, "download");
    DebugMessage("Download finished --- eState = %d \n", iResult);
    if (iResult != CMD_FAILED) {
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
