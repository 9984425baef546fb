#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_support.h"
#include "sdr/sdr_text_reader.h"

using namespace valdrn_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    static const std::string sPath = ScratchFile("in.sdr");
    const std::string sFile = TextFileFromInput(pu8Data, uSize);
    WriteWholeFile(sPath, sFile);
    SDRRecordList list;
    ReadSDRFile(sPath.c_str(), &list);
    return 0;
}
