#include "operations/transfer_operations.h"

#include <cstdio>
#include <vector>

#include "base/interruption.h"
#include "bmc/fru_inventory.h"
#include "bmc/sdr_download.h"
#include "bmc/sdr_repository.h"
#include "bmc/target_lock.h"
#include "encoding/file_probe.h"
#include "encoding/text_output.h"
#include "fru/fru_image.h"
#include "fru/fru_text_reader.h"
#include "fru/fru_text_writer.h"
#include "operations/bmc_session.h"
#include "operations/memory_guard.h"
#include "operations/restore_advice.h"
#include "sdr/sdr_exact_copy.h"
#include "sdr/sdr_text_reader.h"
#include "sdr/sdr_text_writer.h"

namespace {

// -d and -v read a file that must exist; then the session opens. False
// (with the message printed and nothing left open) otherwise.
bool StartLocalFileOperation(const InterfaceChoice& interface, const char* pchFileName, RunResult* psResult)
{
    if (!ReportUnlessFileReadable(pchFileName)) {
        psResult->eOutcome = RunOutcome::REFUSED;
        return false;
    }
    return OpenBMCSession(interface);
}

// The first non-blank character of standard input decides.
bool UserAgreesToReplace()
{
    std::printf("File exists, do you want to replace it, y/n? ");
    std::fflush(stdout);
    const int iAnswer = ReadPromptAnswer(true);
    return iAnswer == 'y' || iAnswer == 'Y';
}

int DownloadSDR(const char* pchFileName, WayBack* psWayBack, RunResult* psResult)
{
    // A saved copy that holds records no SDR file can: they go back as
    // they are.
    std::vector<SDRRecordBytes> asExact;
    switch (ReadExactSDRCopyFile(pchFileName, &asExact)) {
    case ExactCopyFile::READ:
        psResult->lFileRecords = static_cast<long>(asExact.size());
        return DoSDRRecordsAddToBMC(asExact, psWayBack) ? 1 : 0;
    case ExactCopyFile::DAMAGED:
        std::fputs("Failure to download SDR data!\n\n", stderr);
        return 0;
    case ExactCopyFile::NOT_EXACT_COPY:
        break;
    }
    SDRRecordList records;
    if (!WithinMemory(LOCAL_LIST_EXHAUSTED, [&] { return ReadSDRFile(pchFileName, &records) == 1; })) {
        std::fputs("Failure to download SDR data!\n\n", stderr);
        return 0;
    }
    psResult->lFileRecords = static_cast<long>(records.size());
    return DoSDRAddToBMC(&records, psWayBack) ? 1 : 0;
}

int DownloadFRU(const char* pchFileName, unsigned short u16FruID, WayBack* psWayBack, RunResult* psResult)
{
    FRUImage image;
    const int iRead = ReadFRUFile(pchFileName, &image);
    if (iRead != 1) {
        std::fputs("Failure to download FRU data! \n\n", stderr);
        return iRead;
    }
    psResult->lFileBytes = image.u16Size;
    // The status stays the reader's: a failed write is reported and the
    // run still ends with 0, as the tool has always done. The result says
    // what happened.
    if (DoFRUAddToBMC(static_cast<unsigned char>(u16FruID), image, psWayBack)) {
        std::puts("Download FRU data successful. \n");
        psResult->eOutcome = RunOutcome::SUCCESS;
    } else {
        std::fputs("Failure to download FRU data! \n\n", stderr);
    }
    return iRead;
}

// The status of both uploads is the BMC read's: a failed save is reported,
// and the run still ends with 0, as the tool has always done.
// The repository's records, or none when it holds none; false when it
// could not be read.
bool ReadRepository(SDRRecordList* pRecords, RepositoryRead* peRead)
{
    *peRead = RepositoryRead::FAILED;
    return WithinMemory(REPOSITORY_LIST_EXHAUSTED, [&] {
        *peRead = DoSDRGetFromBMC(pRecords);
        return *peRead == RepositoryRead::READ;
    });
}

bool UploadSDR(const char* pchFileName, unsigned int u32Encoding, RunResult* psResult)
{
    SDRRecordList records;
    RepositoryRead eRead;
    if (!ReadRepository(&records, &eRead)) {
        std::fputs("Failure to upload SDR data!\n", stderr);
        return false;
    }
    psResult->lBMCRecords = static_cast<long>(records.size());
    std::printf("Start to save sdr file, %s \n", pchFileName);
    if (SaveSDRFile(pchFileName, records, u32Encoding) == 0) {
        std::fputs("Failure to upload SDR data!\n", stderr);
    } else {
        psResult->eOutcome = RunOutcome::SUCCESS;
    }
    return true;
}

bool UploadFRU(const char* pchFileName, unsigned int u32Encoding, unsigned short u16FruID, RunResult* psResult)
{
    FRUImage inventory;
    if (!DoFRUGetFromBMC(static_cast<unsigned char>(u16FruID), &inventory)) {
        std::fputs("Failure to upload FRU data!\n", stderr);
        return false;
    }
    psResult->lBMCBytes = inventory.u16Size;
    std::printf("Start to save FRU file, %s \n", pchFileName);
    if (SaveFRUFile(pchFileName, inventory, u32Encoding) == 1) {
        std::puts("Upload FRU data successful. \n");
        psResult->eOutcome = RunOutcome::SUCCESS;
    } else {
        std::fputs("Failure to upload FRU data!\n", stderr);
    }
    return true;
}

// The comparison's verdict in the result; the outcome is its verdict too.
bool Judge(bool bSame, RunResult* psResult)
{
    psResult->eComparison = bSame ? Comparison::SAME : Comparison::DIFFERENT;
    psResult->eOutcome = bSame ? RunOutcome::SUCCESS : RunOutcome::FAILURE;
    return bSame;
}

bool VerifySDR(const char* pchFileName, RunResult* psResult)
{
    SDRRecordList fileRecords;
    SDRRecordList repositoryRecords;
    if (!WithinMemory(LOCAL_LIST_EXHAUSTED, [&] { return ReadSDRFile(pchFileName, &fileRecords) == 1; })) {
        std::fputs("Failure to verify the SDR data! (Cannot read SDR from input file)\n", stderr);
        return false;
    }
    psResult->lFileRecords = static_cast<long>(fileRecords.size());
    RepositoryRead eRead;
    if (!ReadRepository(&repositoryRecords, &eRead)) {
        std::fputs("Failure to verify the SDR data! (Cannot Get SDR from BMC)\n", stderr);
        // An empty repository is read, and holds none of the file's records.
        if (eRead == RepositoryRead::EMPTY) {
            psResult->lBMCRecords = 0;
            psResult->asSDRDifferences = SDRDifferences(fileRecords, repositoryRecords);
            Judge(psResult->asSDRDifferences.empty(), psResult);
        }
        return false;
    }
    psResult->lBMCRecords = static_cast<long>(repositoryRecords.size());
    psResult->asSDRDifferences = SDRDifferences(fileRecords, repositoryRecords);
    if (!Judge(SDRCompare(fileRecords, repositoryRecords) == 1, psResult)) {
        std::fputs("Failure to verify the SDR data! (different SDR)\n", stderr);
        return false;
    }
    std::printf("Verify SDR file %s with SDR repository successful! \n\n", pchFileName);
    return true;
}

bool VerifyFRU(const char* pchFileName, unsigned short u16FruID, RunResult* psResult)
{
    FRUImage image;
    FRUImage inventory;
    if (ReadFRUFile(pchFileName, &image) != 1 || !DoFRUGetFromBMC(static_cast<unsigned char>(u16FruID), &inventory)) {
        std::fputs("Verify FRU file failed!\n", stderr);
        return false;
    }
    psResult->lFileBytes = image.u16Size;
    psResult->lBMCBytes = inventory.u16Size;
    psResult->asFRUDifferences = FRUAreaDifferences(image, inventory);
    if (!Judge(FRUCompare(image, inventory) == 1, psResult)) {
        std::fputs("The FRU data in file and FRU inventory are different!\n", stderr);
        std::fputs("Verify FRU file failed!\n", stderr);
        return false;
    }
    std::printf("Verify FRU file %s with FRU inventory successful! \n\n", pchFileName);
    return true;
}

}  // namespace

int DownloadFile(const InterfaceChoice& interface, bool bIsSDR, const char* pchFileName, unsigned short u16FruID,
                 RunResult* psResult)
{
    *psResult = StartRunResult(RunOperation::DOWNLOAD, bIsSDR, pchFileName, u16FruID);
    if (!StartLocalFileOperation(interface, pchFileName, psResult)) {
        return 1;
    }
    TargetLock lock;
    if (!LockBMCForChanges(&lock, interface)) {
        psResult->eOutcome = RunOutcome::REFUSED;
        CloseBMCSession();
        return 1;
    }
    GuardAgainstInterruption();
    WayBack wayBack = NewWayBack(interface);
    const int iStatus =
        bIsSDR ? DownloadSDR(pchFileName, &wayBack, psResult) : DownloadFRU(pchFileName, u16FruID, &wayBack, psResult);
    CloseBMCSession();
    PrintSavedCopyAdvice(wayBack);
    TakeWayBack(wayBack, interface, psResult);
    EndInterruptionGuard();
    // An interrupted run failed, whatever the kind of data.
    const bool bDone = iStatus == 1 && InterruptionSignal() == 0;
    if (bIsSDR || !bDone) {
        psResult->eOutcome = bDone ? RunOutcome::SUCCESS : RunOutcome::FAILURE;
    }
    return bDone ? 0 : 1;
}

int UploadToFile(const InterfaceChoice& interface, bool bIsSDR, const char* pchFileName, unsigned int u32Encoding,
                 unsigned short u16FruID, RunResult* psResult)
{
    *psResult = StartRunResult(RunOperation::UPLOAD, bIsSDR, pchFileName, u16FruID);
    switch (IsFileExist(pchFileName)) {
    case FILE_PROBE_CANNOT_CREATE:
        std::fputs("<ERROR> Directory does not exist or file error.\n", stderr);
        psResult->eOutcome = RunOutcome::REFUSED;
        return 1;
    case FILE_PROBE_EXISTS:
        if (!UserAgreesToReplace()) {
            psResult->eOutcome = RunOutcome::REFUSED;
            return 0;  // nothing done, and that is what was asked
        }
        break;
    default:
        break;  // created empty by the probe
    }
    if (!OpenBMCSession(interface)) {
        return 1;
    }
    const bool bRead = bIsSDR ? UploadSDR(pchFileName, u32Encoding, psResult)
                              : UploadFRU(pchFileName, u32Encoding, u16FruID, psResult);
    CloseBMCSession();
    return bRead ? 0 : 1;
}

int VerifyFile(const InterfaceChoice& interface, bool bIsSDR, const char* pchFileName, unsigned short u16FruID,
               RunResult* psResult)
{
    *psResult = StartRunResult(RunOperation::VERIFY, bIsSDR, pchFileName, u16FruID);
    if (!StartLocalFileOperation(interface, pchFileName, psResult)) {
        return 1;
    }
    const bool bSame = bIsSDR ? VerifySDR(pchFileName, psResult) : VerifyFRU(pchFileName, u16FruID, psResult);
    CloseBMCSession();
    return bSame ? 0 : 1;
}
