#include "cli/transfer_operations.h"

#include <cctype>
#include <cstdio>

#include "base/working_storage.h"
#include "bmc/fru_inventory.h"
#include "bmc/ipmi_command.h"
#include "bmc/sdr_download.h"
#include "bmc/sdr_repository.h"
#include "bmc/talk_to_bmc.h"
#include "cli/file_arguments.h"
#include "encoding/file_probe.h"
#include "encoding/text_output.h"
#include "fru/fru_image.h"
#include "fru/fru_text_reader.h"
#include "fru/fru_text_writer.h"
#include "sdr/sdr_text_reader.h"
#include "sdr/sdr_text_writer.h"

namespace {

bool ReportMissingFile(const char* pchFileName)
{
    std::fprintf(stderr, "<ERROR> File %s does not exist.\n", pchFileName);
    return false;
}

// Opens the interface and the working storage; false (all released) when
// either fails.
bool OpenSession()
{
    if (!InitializeInterface()) {
        return false;
    }
    if (!VLInit()) {
        TerminateConnSession();
        return false;
    }
    return true;
}

void CloseSession()
{
    VLExit();
    TerminateConnSession();
}

// What -d and -v work on: a local file that exists.
struct LocalFileRequest {
    int iIsSDR = 0;
    char achFileName[FILE_NAME_BUFFER_SIZE] = {};
    unsigned short u16FruID = 0;
};

// The arguments checked, the file found and the session open; false (with
// the message printed and nothing left open) otherwise.
bool StartLocalFileOperation(unsigned short u16ArgCount, char* apchArgs[], LocalFileRequest* psRequest)
{
    if (!ValidateAnalyzeParameters(u16ArgCount, apchArgs, &psRequest->iIsSDR, psRequest->achFileName,
                                   &psRequest->u16FruID)) {
        return false;
    }
    if (IsFileExistReadOnly(psRequest->achFileName) == FILE_PROBE_CANNOT_OPEN) {
        return ReportMissingFile(psRequest->achFileName);
    }
    return OpenSession();
}

// The first non-blank character of standard input decides.
bool UserAgreesToReplace()
{
    std::printf("File exists, do you want to replace it, y/n? ");
    std::fflush(stdout);
    const int iAnswer = ReadPromptAnswer(true);
    return iAnswer == 'y' || iAnswer == 'Y';
}

int DownloadSDR(const char* pchFileName)
{
    unsigned short u16Records = 0;
    if (!ReadSDRFile(pchFileName, &u16Records)) {
        std::fputs("Failure to download SDR data!\n\n", stderr);
        return 0;
    }
    return DoSDRAddToBMC(u16Records) ? 1 : 0;
}

int DownloadFRU(const char* pchFileName, unsigned short u16FruID)
{
    const int iRead = ReadFRUFile(pchFileName);
    if (iRead != 1) {
        std::fputs("Failure to download FRU data! \n\n", stderr);
        return iRead;
    }
    // The status stays the reader's: a failed write is reported and the
    // run still ends with 0, as the tool has always done.
    if (DoFRUAddToBMC(static_cast<unsigned char>(u16FruID))) {
        std::puts("Download FRU data successful. \n");
    } else {
        std::fputs("Failure to download FRU data! \n\n", stderr);
    }
    return iRead;
}

}  // namespace

int Download(unsigned short u16ArgCount, char* apchArgs[])
{
    LocalFileRequest request;
    if (!StartLocalFileOperation(u16ArgCount, apchArgs, &request)) {
        return 1;
    }
    const int iStatus =
        request.iIsSDR ? DownloadSDR(request.achFileName) : DownloadFRU(request.achFileName, request.u16FruID);
    CloseSession();
    return iStatus == 1 ? 0 : 1;
}

int Upload(unsigned short u16ArgCount, char* apchArgs[])
{
    int iIsSDR = 0;
    char achFileName[FILE_NAME_BUFFER_SIZE] = {};
    unsigned int u32Encoding = 0;
    unsigned short u16FruID = 0;
    if (!ValidateAnalyzeUploadParameters(u16ArgCount, apchArgs, &iIsSDR, achFileName, &u32Encoding, &u16FruID)) {
        return 1;
    }
    switch (IsFileExist(achFileName)) {
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
    if (!OpenSession()) {
        return 1;
    }
    // The status is the BMC read's: a failed save is reported, and the run
    // still ends with 0, as the tool has always done.
    bool bRead = false;
    if (iIsSDR) {
        unsigned short u16Records = 0;
        bRead = DoSDRGetFromBMC(&u16Records);
        if (!bRead) {
            std::fputs("Failure to upload SDR data!\n", stderr);
        } else {
            std::printf("Start to save sdr file, %s \n", achFileName);
            if (SaveSDRFile(achFileName, u32Encoding) == 0) {
                std::fputs("Failure to upload SDR data!\n", stderr);
            }
        }
    } else {
        bRead = DoFRUGetFromBMC(static_cast<unsigned char>(u16FruID));
        if (!bRead) {
            std::fputs("Failure to upload FRU data!\n", stderr);
        } else {
            std::printf("Start to save FRU file, %s \n", achFileName);
            if (SaveFRUFile(achFileName, u32Encoding) == 1) {
                std::puts("Upload FRU data successful. \n");
            } else {
                std::fputs("Failure to upload FRU data!\n", stderr);
            }
        }
    }
    CloseSession();
    return bRead ? 0 : 1;
}

int Verify(unsigned short u16ArgCount, char* apchArgs[])
{
    LocalFileRequest request;
    if (!StartLocalFileOperation(u16ArgCount, apchArgs, &request)) {
        return 1;
    }
    const char* const achFileName = request.achFileName;
    bool bSame = false;
    if (request.iIsSDR) {
        unsigned short u16LocalCount = 0;
        unsigned short u16RepositoryCount = 0;
        if (!ReadSDRFile(achFileName, &u16LocalCount)) {
            std::fputs("Failure to verify the SDR data! (Cannot read SDR from input file)\n", stderr);
        } else if (!DoSDRGetFromBMC(&u16RepositoryCount)) {
            std::fputs("Failure to verify the SDR data! (Cannot Get SDR from BMC)\n", stderr);
        } else if (!SDRCompare(u16LocalCount, u16RepositoryCount)) {
            std::fputs("Failure to verify the SDR data! (different SDR)\n", stderr);
        } else {
            std::printf("Verify SDR file %s with SDR repository successful! \n\n", achFileName);
            bSame = true;
        }
    } else {
        if (ReadFRUFile(achFileName) != 1) {
            std::fputs("Verify FRU file failed!\n", stderr);
        } else if (!DoFRUGetFromBMC(static_cast<unsigned char>(request.u16FruID))) {
            std::fputs("Verify FRU file failed!\n", stderr);
        } else if (!FRUCompare()) {
            std::fputs("The FRU data in file and FRU inventory are different!\n", stderr);
            std::fputs("Verify FRU file failed!\n", stderr);
        } else {
            std::printf("Verify FRU file %s with FRU inventory successful! \n\n", achFileName);
            bSame = true;
        }
    }
    CloseSession();
    return bSame ? 0 : 1;
}
