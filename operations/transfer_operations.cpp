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
bool StartLocalFileOperation(const char* pchFileName)
{
    return ReportUnlessFileReadable(pchFileName) && OpenBMCSession();
}

// The first non-blank character of standard input decides.
bool UserAgreesToReplace()
{
    std::printf("File exists, do you want to replace it, y/n? ");
    std::fflush(stdout);
    const int iAnswer = ReadPromptAnswer(true);
    return iAnswer == 'y' || iAnswer == 'Y';
}

int DownloadSDR(const char* pchFileName, WayBack* psWayBack)
{
    // A saved copy that holds records no SDR file can: they go back as
    // they are.
    std::vector<SDRRecordBytes> asExact;
    switch (ReadExactSDRCopyFile(pchFileName, &asExact)) {
    case ExactCopyFile::READ:
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
    return DoSDRAddToBMC(&records, psWayBack) ? 1 : 0;
}

int DownloadFRU(const char* pchFileName, unsigned short u16FruID, WayBack* psWayBack)
{
    FRUImage image;
    const int iRead = ReadFRUFile(pchFileName, &image);
    if (iRead != 1) {
        std::fputs("Failure to download FRU data! \n\n", stderr);
        return iRead;
    }
    // The status stays the reader's: a failed write is reported and the
    // run still ends with 0, as the tool has always done.
    if (DoFRUAddToBMC(static_cast<unsigned char>(u16FruID), image, psWayBack)) {
        std::puts("Download FRU data successful. \n");
    } else {
        std::fputs("Failure to download FRU data! \n\n", stderr);
    }
    return iRead;
}

// The status of both uploads is the BMC read's: a failed save is reported,
// and the run still ends with 0, as the tool has always done.
bool UploadSDR(const char* pchFileName, unsigned int u32Encoding)
{
    SDRRecordList records;
    if (!WithinMemory(REPOSITORY_LIST_EXHAUSTED, [&] { return DoSDRGetFromBMC(&records); })) {
        std::fputs("Failure to upload SDR data!\n", stderr);
        return false;
    }
    std::printf("Start to save sdr file, %s \n", pchFileName);
    if (SaveSDRFile(pchFileName, records, u32Encoding) == 0) {
        std::fputs("Failure to upload SDR data!\n", stderr);
    }
    return true;
}

bool UploadFRU(const char* pchFileName, unsigned int u32Encoding, unsigned short u16FruID)
{
    FRUImage inventory;
    if (!DoFRUGetFromBMC(static_cast<unsigned char>(u16FruID), &inventory)) {
        std::fputs("Failure to upload FRU data!\n", stderr);
        return false;
    }
    std::printf("Start to save FRU file, %s \n", pchFileName);
    if (SaveFRUFile(pchFileName, inventory, u32Encoding) == 1) {
        std::puts("Upload FRU data successful. \n");
    } else {
        std::fputs("Failure to upload FRU data!\n", stderr);
    }
    return true;
}

bool VerifySDR(const char* pchFileName)
{
    SDRRecordList fileRecords;
    SDRRecordList repositoryRecords;
    if (!WithinMemory(LOCAL_LIST_EXHAUSTED, [&] { return ReadSDRFile(pchFileName, &fileRecords) == 1; })) {
        std::fputs("Failure to verify the SDR data! (Cannot read SDR from input file)\n", stderr);
        return false;
    }
    if (!WithinMemory(REPOSITORY_LIST_EXHAUSTED, [&] { return DoSDRGetFromBMC(&repositoryRecords); })) {
        std::fputs("Failure to verify the SDR data! (Cannot Get SDR from BMC)\n", stderr);
        return false;
    }
    if (!SDRCompare(fileRecords, repositoryRecords)) {
        std::fputs("Failure to verify the SDR data! (different SDR)\n", stderr);
        return false;
    }
    std::printf("Verify SDR file %s with SDR repository successful! \n\n", pchFileName);
    return true;
}

bool VerifyFRU(const char* pchFileName, unsigned short u16FruID)
{
    FRUImage image;
    FRUImage inventory;
    if (ReadFRUFile(pchFileName, &image) != 1 || !DoFRUGetFromBMC(static_cast<unsigned char>(u16FruID), &inventory)) {
        std::fputs("Verify FRU file failed!\n", stderr);
        return false;
    }
    if (!FRUCompare(image, inventory)) {
        std::fputs("The FRU data in file and FRU inventory are different!\n", stderr);
        std::fputs("Verify FRU file failed!\n", stderr);
        return false;
    }
    std::printf("Verify FRU file %s with FRU inventory successful! \n\n", pchFileName);
    return true;
}

}  // namespace

int DownloadFile(bool bIsSDR, const char* pchFileName, unsigned short u16FruID)
{
    if (!StartLocalFileOperation(pchFileName)) {
        return 1;
    }
    TargetLock lock;
    if (!LockBMCForChanges(&lock)) {
        CloseBMCSession();
        return 1;
    }
    GuardAgainstInterruption();
    WayBack wayBack = NewWayBack();
    const int iStatus = bIsSDR ? DownloadSDR(pchFileName, &wayBack) : DownloadFRU(pchFileName, u16FruID, &wayBack);
    CloseBMCSession();
    PrintSavedCopyAdvice(wayBack);
    EndInterruptionGuard();
    // An interrupted run failed, whatever the kind of data.
    return iStatus == 1 && InterruptionSignal() == 0 ? 0 : 1;
}

int UploadToFile(bool bIsSDR, const char* pchFileName, unsigned int u32Encoding, unsigned short u16FruID)
{
    switch (IsFileExist(pchFileName)) {
    case FILE_PROBE_CANNOT_CREATE:
        std::fputs("<ERROR> Directory does not exist or file error.\n", stderr);
        return 1;
    case FILE_PROBE_EXISTS:
        if (!UserAgreesToReplace()) {
            return 0;  // nothing done, and that is what was asked
        }
        break;
    default:
        break;  // created empty by the probe
    }
    if (!OpenBMCSession()) {
        return 1;
    }
    const bool bRead = bIsSDR ? UploadSDR(pchFileName, u32Encoding) : UploadFRU(pchFileName, u32Encoding, u16FruID);
    CloseBMCSession();
    return bRead ? 0 : 1;
}

int VerifyFile(bool bIsSDR, const char* pchFileName, unsigned short u16FruID)
{
    if (!StartLocalFileOperation(pchFileName)) {
        return 1;
    }
    const bool bSame = bIsSDR ? VerifySDR(pchFileName) : VerifyFRU(pchFileName, u16FruID);
    CloseBMCSession();
    return bSame ? 0 : 1;
}
