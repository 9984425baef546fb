#include "operations/test_operation.h"

#include <cstdio>
#include <vector>

#include "base/working_storage.h"
#include "encoding/file_probe.h"
#include "fru/fru_text_reader.h"
#include "sdr/sdr_exact_copy.h"
#include "sdr/sdr_text_reader.h"

namespace {

int TestSDRFile(const char* pchFileName)
{
    unsigned short u16Records = 0;
    // An exact copy is right when it is whole: its records are the BMC's,
    // whatever an SDR file may hold.
    std::vector<SDRRecordBytes> asExact;
    const ExactCopyFile eExact = ReadExactSDRCopyFile(pchFileName, &asExact);
    const int iResult = eExact == ExactCopyFile::NOT_EXACT_COPY ? ReadSDRFile(pchFileName, &u16Records)
                                                                : (eExact == ExactCopyFile::READ ? 1 : 0);
    if (iResult == 1) {
        std::printf("No error found in SDR file %s! \n \n", pchFileName);
    } else {
        std::fprintf(stderr, "Error found in SDR file %s. \n", pchFileName);
    }
    return iResult;
}

int TestFRUFile(const char* pchFileName)
{
    const int iResult = ReadFRUFile(pchFileName);
    if (iResult == 1) {
        std::printf("No error found in FRU file %s! \n \n", pchFileName);
    } else {
        std::fprintf(stderr, "Error found in FRU file %s. \n", pchFileName);
    }
    return iResult;
}

}  // namespace

int TestFile(bool bIsSDR, const char* pchFileName)
{
    if (!VLInit()) {
        return 1;
    }
    int iResult = 0;
    if (ReportUnlessFileReadable(pchFileName)) {
        iResult = bIsSDR ? TestSDRFile(pchFileName) : TestFRUFile(pchFileName);
    }
    VLExit();
    return iResult == 1 ? 0 : 1;
}
