#include "cli/test_operation.h"

#include <cstdio>

#include "base/working_storage.h"
#include "cli/file_arguments.h"
#include "encoding/file_probe.h"
#include "fru/fru_text_reader.h"
#include "sdr/sdr_text_reader.h"

int Test(unsigned short u16ArgCount, char* apchArgs[])
{
    int iIsSDR = 0;
    char achFileName[FILE_NAME_BUFFER_SIZE] = {};
    unsigned short u16FruID = 0;  // checked, not used: nothing is read from the BMC
    if (!ValidateAnalyzeParameters(u16ArgCount, apchArgs, &iIsSDR, achFileName, &u16FruID) || !VLInit()) {
        return 1;
    }
    if (IsFileExistReadOnly(achFileName) == FILE_PROBE_CANNOT_OPEN) {
        std::fprintf(stderr, "<ERROR> File %s does not exist.\n", achFileName);
        return 1;
    }
    int iResult = 0;
    if (iIsSDR) {
        unsigned short u16Records = 0;
        iResult = ReadSDRFile(achFileName, &u16Records);
        if (iResult == 1) {
            std::printf("No error found in SDR file %s! \n \n", achFileName);
        } else {
            std::fprintf(stderr, "Error found in SDR file %s. \n", achFileName);
        }
    } else {
        iResult = ReadFRUFile(achFileName);
        if (iResult == 1) {
            std::printf("No error found in FRU file %s! \n \n", achFileName);
        } else {
            std::fprintf(stderr, "Error found in FRU file %s. \n", achFileName);
        }
    }
    VLExit();
    return iResult == 1 ? 0 : 1;
}
