// The FRU text writer on BMC images: whatever it writes must read back as
// the same image, in each encoding.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/working_storage.h"
#include "fru/fru_image.h"
#include "fru/fru_text_reader.h"
#include "fru/fru_text_writer.h"
#include "fuzz/fuzz_support.h"

using namespace valdrn_fuzz;

namespace {

void ReportFirstDifference(const uint8_t* pu8Image, std::size_t uSize)
{
    for (unsigned int i = 0; i < G_u16RawDataSizeFromFRUFile && i < uSize; ++i) {
        if (G_pu8LocalFRUDataBuffer[i] != pu8Image[i]) {
            std::fprintf(stderr, "first difference at %u: %02X read back, %02X written\n", i,
                         G_pu8LocalFRUDataBuffer[i], pu8Image[i]);
            return;
        }
    }
    std::fprintf(stderr, "%u bytes read back of %zu written\n", G_u16RawDataSizeFromFRUFile, uSize);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    InitWorkingStorage();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    if (uSize == 0 || uSize > FRU_MAX_IMAGE_SIZE) {
        return -1;
    }
    const auto u16Size = static_cast<unsigned short>(uSize);
    if (FRUValidateRawData(pu8Data, u16Size, FRU_CHECK_BMC) != 1) {
        return 0;  // the writer refuses these itself; nothing to compare
    }
    static const std::string sPath = ScratchFile("out.fru");
    for (unsigned int u32Encoding = 0; u32Encoding < 3; ++u32Encoding) {
        // The inventory as read from the BMC, in a buffer of exactly its size.
        std::free(G_pu8InventoryFRUDataBuffer);
        G_pu8InventoryFRUDataBuffer = static_cast<unsigned char*>(std::malloc(uSize));
        std::memcpy(G_pu8InventoryFRUDataBuffer, pu8Data, uSize);
        G_u16ReadSizeFromFRUInventory = u16Size;
        if (SaveFRUFile(sPath.c_str(), u32Encoding) != 1) {
            continue;  // refused (a Unicode field in an 8-bit file), reported
        }
        const bool bRead = ReadFRUFile(sPath.c_str()) == 1;
        if (!bRead || G_u16RawDataSizeFromFRUFile == 0 || FRUCompare() != 1) {
            ReportFirstDifference(pu8Data, uSize);
            Finding(bRead ? "a written FRU file reads back as another image" : "a written FRU file does not read back");
        }
    }
    return 0;
}
