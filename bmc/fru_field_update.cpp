#include "bmc/fru_field_update.h"

#include <cstdio>
#include <cstring>

#include "bmc/fru_inventory.h"
#include "encoding/checksum.h"

namespace {

constexpr unsigned int DATE_TIME_BYTES = 3;
constexpr unsigned int COMMON_HEADER_BYTES = 8;
// The common header's area offsets, in units of 8 bytes.
constexpr unsigned int CHASSIS_AREA_OFFSET = 2;
constexpr unsigned int BOARD_AREA_OFFSET = 3;
constexpr unsigned int PRODUCT_AREA_OFFSET = 4;

// The area's checksum byte: its position and value.
bool ReadAreaChecksum(unsigned char u8FruID, unsigned char u8AreaOffset, unsigned short* pu16Position,
                      unsigned char* pu8Checksum)
{
    unsigned char u8LengthUnits = 0;
    if (!ReadFRUBytes(u8FruID, static_cast<unsigned short>(u8AreaOffset * 8 + 1), 1, &u8LengthUnits)) {
        return false;
    }
    *pu16Position = static_cast<unsigned short>((u8AreaOffset + u8LengthUnits) * 8 - 1);
    return ReadFRUBytes(u8FruID, *pu16Position, 1, pu8Checksum);
}

bool NewChecksum(unsigned char u8Old, unsigned int uCount, const unsigned char* pu8Old, const unsigned char* pu8New,
                 unsigned char* pu8Checksum)
{
    if (!ComputeChecksum(u8Old, static_cast<unsigned char>(uCount), pu8Old, pu8New, pu8Checksum)) {
        std::fputs("Fail to compute new checksum!", stderr);
        return false;
    }
    return true;
}

// The area a serial number lives in: board, chassis, else product.
unsigned char SerialNumberArea(const char* pchField, const unsigned char* pu8Header)
{
    if (std::strcmp(pchField, "snBoard") == 0) {
        return pu8Header[BOARD_AREA_OFFSET];
    }
    if (std::strcmp(pchField, "snChassis") == 0) {
        return pu8Header[CHASSIS_AREA_OFFSET];
    }
    return pu8Header[PRODUCT_AREA_OFFSET];
}

bool UpdateString(FRUUpdateRequest* psRequest, const unsigned char* pu8Header)
{
    const unsigned char u8FruID = psRequest->u8FruID;
    const unsigned int uLength = psRequest->u8StringLength;
    const auto u16TypeLengthOffset = static_cast<unsigned short>(psRequest->u16Offset - 1);
    unsigned char au8Old[65] = {};
    unsigned char u8OldTypeLength = 0;
    if (!ReadFRUBytes(u8FruID, u16TypeLengthOffset, 1, &u8OldTypeLength)) {
        return false;
    }
    // The type may change, the length may not.
    if ((u8OldTypeLength & 0x3F) != uLength) {
        std::fputs("<ERROR> String length specified must match string length in the FRU Inventory! \n", stderr);
        return false;
    }
    psRequest->au8EncodedData[uLength] = static_cast<unsigned char>((psRequest->u32StringType << 6) + uLength);
    if (!ReadFRUBytes(u8FruID, psRequest->u16Offset, uLength, au8Old)) {
        return false;
    }
    au8Old[uLength] = u8OldTypeLength;
    unsigned short u16ChecksumPosition = 0;
    unsigned char u8Checksum = 0;
    unsigned char u8NewChecksum = 0;
    return ReadAreaChecksum(u8FruID, SerialNumberArea(psRequest->achFieldName, pu8Header), &u16ChecksumPosition,
                            &u8Checksum) &&
           NewChecksum(u8Checksum, uLength + 1, au8Old, psRequest->au8EncodedData, &u8NewChecksum) &&
           WriteFRUBytes(u8FruID, u16TypeLengthOffset, 1, &psRequest->au8EncodedData[uLength]) &&
           WriteFRUBytes(u8FruID, psRequest->u16Offset, uLength, psRequest->au8EncodedData) &&
           WriteFRUBytes(u8FruID, u16ChecksumPosition, 1, &u8NewChecksum);
}

// The manufacturing date/time is always in the board area.
bool UpdateDateTime(const FRUUpdateRequest* psRequest, const unsigned char* pu8Header)
{
    const unsigned char u8FruID = psRequest->u8FruID;
    unsigned char au8Old[DATE_TIME_BYTES] = {};
    unsigned short u16ChecksumPosition = 0;
    unsigned char u8Checksum = 0;
    unsigned char u8NewChecksum = 0;
    return ReadFRUBytes(u8FruID, psRequest->u16Offset, DATE_TIME_BYTES, au8Old) &&
           ReadAreaChecksum(u8FruID, pu8Header[BOARD_AREA_OFFSET], &u16ChecksumPosition, &u8Checksum) &&
           NewChecksum(u8Checksum, DATE_TIME_BYTES, au8Old, psRequest->au8EncodedData, &u8NewChecksum) &&
           WriteFRUBytes(u8FruID, psRequest->u16Offset, DATE_TIME_BYTES, psRequest->au8EncodedData) &&
           WriteFRUBytes(u8FruID, u16ChecksumPosition, 1, &u8NewChecksum);
}

}  // namespace

bool WriteFRUFieldUpdate(FRUUpdateRequest* psRequest)
{
    unsigned char au8Header[COMMON_HEADER_BYTES] = {};
    if (!ReadFRUBytes(psRequest->u8FruID, 0, COMMON_HEADER_BYTES, au8Header)) {
        return false;
    }
    return std::strcmp(psRequest->achFieldName, "datetime") == 0 ? UpdateDateTime(psRequest, au8Header)
                                                                 : UpdateString(psRequest, au8Header);
}
