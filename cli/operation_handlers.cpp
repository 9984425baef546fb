#include "cli/operation_handlers.h"

#include <cstdio>

#include "cli/diagnostics.h"
#include "cli/file_arguments.h"
#include "cli/fru_update_parameters.h"
#include "operations/fru_update.h"
#include "operations/test_operation.h"
#include "operations/transfer_operations.h"

namespace {

// What -d, -v and -t take: a file name and, for FRU data, a FRU ID.
struct FileArguments {
    int iIsSDR = 0;
    char achFileName[FILE_NAME_BUFFER_SIZE] = {};
    unsigned short u16FruID = 0;
};

typedef int (*TFileOperation)(bool bIsSDR, const char* pchFileName, unsigned short u16FruID);

// -d, -v and -t: the arguments checked, then the operation run on them.
int RunFileOperation(unsigned short u16ArgCount, char* apchArgs[], TFileOperation pfnOperation)
{
    FileArguments arguments;
    if (!ValidateAnalyzeParameters(u16ArgCount, apchArgs, &arguments.iIsSDR, arguments.achFileName,
                                   &arguments.u16FruID)) {
        return 1;
    }
    return pfnOperation(arguments.iIsSDR != 0, arguments.achFileName, arguments.u16FruID);
}

}  // namespace

int Download(unsigned short u16ArgCount, char* apchArgs[])
{
    return RunFileOperation(u16ArgCount, apchArgs, DownloadFile);
}

int Upload(unsigned short u16ArgCount, char* apchArgs[])
{
    FileArguments arguments;
    unsigned int u32Encoding = 0;
    if (!ValidateAnalyzeUploadParameters(u16ArgCount, apchArgs, &arguments.iIsSDR, arguments.achFileName, &u32Encoding,
                                         &arguments.u16FruID)) {
        return 1;
    }
    return UploadToFile(arguments.iIsSDR != 0, arguments.achFileName, u32Encoding, arguments.u16FruID);
}

int Verify(unsigned short u16ArgCount, char* apchArgs[])
{
    return RunFileOperation(u16ArgCount, apchArgs, VerifyFile);
}

// The FRU ID is checked, not used: nothing is read from the BMC.
int Test(unsigned short u16ArgCount, char* apchArgs[])
{
    return RunFileOperation(u16ArgCount, apchArgs, [](bool bIsSDR, const char* pchFileName, unsigned short) {
        return TestFile(bIsSDR, pchFileName);
    });
}

int UpdateFRU(unsigned short u16ArgCount, char* apchArgs[])
{
    FRUUpdateRequest request = {};
    if (!ValidateAnalyzeFRUUpdateDataParameters(u16ArgCount, apchArgs, &request)) {
        PrintHelpHint(stdout);
        return 1;
    }
    return UpdateFRUField(&request);
}
