#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_support.h"
#include "sdr/sdr_binary_reader.h"

using namespace valdrn_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    static const std::string sPath = ScratchFile("in.bin");
    WriteWholeFile(sPath, std::string(reinterpret_cast<const char*>(pu8Data), uSize));
    SDRRecordList list;
    const unsigned int uResult = ReadSDRBinFile(sPath.c_str(), &list);
    if (uResult == SDR_READ_DONE && list.size() > uSize) {
        Finding("more records than input bytes");
    }
    return 0;
}
