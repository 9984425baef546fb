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

typedef int (*TFileOperation)(const InterfaceChoice& interface, bool bIsSDR, const char* pchFileName,
                              unsigned short u16FruID, RunResult* psResult);

// Arguments the operation never got to see: nothing was begun.
int Refuse(RunOperation eOperation, RunResult* psResult)
{
    psResult->eOperation = eOperation;
    psResult->eOutcome = RunOutcome::REFUSED;
    return 1;
}

// -d, -v and -t: the arguments checked, then the operation run on them.
int RunFileOperation(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount,
                     char* apchArgs[], RunOperation eOperation, TFileOperation pfnOperation)
{
    FileArguments arguments;
    if (!ValidateAnalyzeParameters(u16ArgCount, apchArgs, &arguments.iIsSDR, arguments.achFileName,
                                   &arguments.u16FruID)) {
        return Refuse(eOperation, psResult);
    }
    return pfnOperation(interface, arguments.iIsSDR != 0, arguments.achFileName, arguments.u16FruID, psResult);
}

}  // namespace

int Download(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[])
{
    return RunFileOperation(interface, psResult, u16ArgCount, apchArgs, RunOperation::DOWNLOAD, DownloadFile);
}

int Upload(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[])
{
    FileArguments arguments;
    unsigned int u32Encoding = 0;
    if (!ValidateAnalyzeUploadParameters(u16ArgCount, apchArgs, &arguments.iIsSDR, arguments.achFileName, &u32Encoding,
                                         &arguments.u16FruID)) {
        return Refuse(RunOperation::UPLOAD, psResult);
    }
    return UploadToFile(interface, arguments.iIsSDR != 0, arguments.achFileName, u32Encoding, arguments.u16FruID,
                        psResult);
}

int Verify(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[])
{
    return RunFileOperation(interface, psResult, u16ArgCount, apchArgs, RunOperation::VERIFY, VerifyFile);
}

// The FRU ID is checked, not used: nothing is read from the BMC.
int Test(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[])
{
    return RunFileOperation(interface, psResult, u16ArgCount, apchArgs, RunOperation::TEST,
                            [](const InterfaceChoice&, bool bIsSDR, const char* pchFileName, unsigned short,
                               RunResult* psTested) { return TestFile(bIsSDR, pchFileName, psTested); });
}

int UpdateFRU(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[])
{
    FRUUpdateRequest request = {};
    if (!ValidateAnalyzeFRUUpdateDataParameters(u16ArgCount, apchArgs, &request)) {
        PrintHelpHint(stdout);
        return Refuse(RunOperation::UPDATE_FRU, psResult);
    }
    return UpdateFRUField(interface, &request, psResult);
}
