#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_support.h"
#include "sdr/sdr_binary_reader.h"

using namespace valdrn_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    static const std::string sPath = ScratchFile("in.bin");
    static ScratchSDRList list;
    WriteWholeFile(sPath, std::string(reinterpret_cast<const char*>(pu8Data), uSize));
    unsigned short u16Count = 0;
    const unsigned int uResult = ReadSDRBinFileToList(sPath.c_str(), list.ForInput(uSize), &u16Count);
    if (uResult == SDR_READ_DONE && u16Count > uSize) {
        Finding("more records than input bytes");
    }
    return 0;
}
