#include "operations/test_operation.h"

#include <cstdio>
#include <vector>

#include "encoding/file_probe.h"
#include "fru/fru_text_reader.h"
#include "operations/memory_guard.h"
#include "operations/run_frame.h"
#include "sdr/sdr_exact_copy.h"
#include "sdr/sdr_text_reader.h"

namespace {

int TestSDRFile(const char* pchFileName, RunResult* psResult)
{
    SDRRecordList records;
    // An exact copy is right when it is whole: its records are the BMC's,
    // whatever an SDR file may hold.
    std::vector<SDRRecordBytes> asExact;
    const ExactCopyFile eExact = ReadExactSDRCopyFile(pchFileName, &asExact);
    const bool bRead = eExact == ExactCopyFile::NOT_EXACT_COPY
                           ? WithinMemory(LOCAL_LIST_EXHAUSTED, [&] { return ReadSDRFile(pchFileName, &records) == 1; })
                           : eExact == ExactCopyFile::READ;
    if (bRead) {
        // Counted only when read: a file with errors has no count to give.
        psResult->lFileRecords = static_cast<long>(eExact == ExactCopyFile::READ ? asExact.size() : records.size());
        std::printf("No error found in SDR file %s! \n \n", pchFileName);
    } else {
        std::fprintf(stderr, "Error found in SDR file %s. \n", pchFileName);
    }
    return bRead ? 1 : 0;
}

int TestFRUFile(const char* pchFileName, RunResult* psResult)
{
    FRUImage image;
    const int iResult = ReadFRUFile(pchFileName, &image);
    if (iResult == 1) {
        psResult->lFileBytes = image.u16Size;
        std::printf("No error found in FRU file %s! \n \n", pchFileName);
    } else {
        std::fprintf(stderr, "Error found in FRU file %s. \n", pchFileName);
    }
    return iResult;
}

}  // namespace

int TestFile(bool bIsSDR, const char* pchFileName, RunResult* psResult)
{
    *psResult = StartRunResult(RunOperation::TEST, bIsSDR, pchFileName, -1);
    if (!VLInit()) {
        return 1;
    }
    // A missing file ends the run before the storage is released: the
    // trace of such a run has never had the release line.
    if (!ReportUnlessFileReadable(pchFileName)) {
        psResult->eOutcome = RunOutcome::REFUSED;
        return 1;
    }
    const int iResult = bIsSDR ? TestSDRFile(pchFileName, psResult) : TestFRUFile(pchFileName, psResult);
    VLExit();
    // A file with errors is the test's finding, not a failure to test: the
    // result says so by its exit status and its outcome "failure".
    psResult->eOutcome = iResult == 1 ? RunOutcome::SUCCESS : RunOutcome::FAILURE;
    return iResult == 1 ? 0 : 1;
}
