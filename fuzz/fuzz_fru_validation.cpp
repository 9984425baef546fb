// FRU image validation, as a binary file's image and as a BMC's.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "fru/fru_image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    if (uSize > FRU_MAX_IMAGE_SIZE) {
        return -1;  // sizes are 16-bit; the callers never pass more
    }
    // An exact-size copy: reading one byte past the image is caught.
    std::unique_ptr<unsigned char[]> pu8Image(new unsigned char[uSize]);
    std::memcpy(pu8Image.get(), pu8Data, uSize);
    const auto u16Size = static_cast<unsigned short>(uSize);
    FRUValidateRawData(pu8Image.get(), u16Size, FRU_CHECK_BINARY_FILE);
    FRUValidateRawData(pu8Image.get(), u16Size, FRU_CHECK_BMC);
    return 0;
}
