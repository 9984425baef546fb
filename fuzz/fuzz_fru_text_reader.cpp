#include <cstddef>
#include <cstdint>
#include <string>

#include "fru/fru_image.h"
#include "fru/fru_text_reader.h"
#include "fuzz/fuzz_support.h"

using namespace valdrn_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    static const std::string sPath = ScratchFile("in.fru");
    WriteWholeFile(sPath, TextFileFromInput(pu8Data, uSize));
    FRUImage image;
    if (ReadFRUFile(sPath.c_str(), &image) == 1) {
        // What the reader accepted must pass the check it was made against.
        if (FRUValidateRawData(image.au8Bytes.data(), image.u16Size, FRU_CHECK_BINARY_FILE) != 1) {
            Finding("an accepted FRU file whose image does not validate");
        }
    }
    return 0;
}
