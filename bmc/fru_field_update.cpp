#include "bmc/fru_field_update.h"

#include <cstdio>
#include <cstring>

#include "base/interruption.h"
#include "base/quiet_output.h"
#include "bmc/fru_device_content.h"
#include "bmc/fru_inventory.h"
#include "encoding/checksum.h"
#include "fru/fru_image.h"

namespace {

constexpr unsigned int DATE_TIME_BYTES = 3;

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
        return pu8Header[FRU_AREA_BOARD];
    }
    if (std::strcmp(pchField, "snChassis") == 0) {
        return pu8Header[FRU_AREA_CHASSIS];
    }
    return pu8Header[FRU_AREA_PRODUCT];
}

// The writes of one field update, worked out from what the device holds:
// the type/length byte (strings only), the data, the area checksum.
struct FieldUpdatePlan {
    bool bHasTypeLength = false;
    unsigned short u16TypeLengthOffset = 0;
    unsigned char u8TypeLength = 0;
    unsigned short u16DataOffset = 0;
    unsigned int uDataCount = 0;
    const unsigned char* pu8Data = nullptr;
    unsigned short u16ChecksumPosition = 0;
    unsigned char u8Checksum = 0;

    unsigned int First() const
    {
        const unsigned int uField = bHasTypeLength ? u16TypeLengthOffset : u16DataOffset;
        return uField < u16ChecksumPosition ? uField : u16ChecksumPosition;
    }
    unsigned int End() const
    {
        const unsigned int uField = u16DataOffset + uDataCount;
        return uField > u16ChecksumPosition + 1u ? uField : u16ChecksumPosition + 1u;
    }
};

bool PlanString(FRUUpdateRequest* psRequest, const unsigned char* pu8Header, FieldUpdatePlan* psPlan)
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
    unsigned char u8Checksum = 0;
    if (!ReadAreaChecksum(u8FruID, SerialNumberArea(psRequest->achFieldName, pu8Header), &psPlan->u16ChecksumPosition,
                          &u8Checksum) ||
        !NewChecksum(u8Checksum, uLength + 1, au8Old, psRequest->au8EncodedData, &psPlan->u8Checksum)) {
        return false;
    }
    psPlan->bHasTypeLength = true;
    psPlan->u16TypeLengthOffset = u16TypeLengthOffset;
    psPlan->u8TypeLength = psRequest->au8EncodedData[uLength];
    psPlan->u16DataOffset = psRequest->u16Offset;
    psPlan->uDataCount = uLength;
    psPlan->pu8Data = psRequest->au8EncodedData;
    return true;
}

// The manufacturing date/time is always in the board area.
bool PlanDateTime(const FRUUpdateRequest* psRequest, const unsigned char* pu8Header, FieldUpdatePlan* psPlan)
{
    const unsigned char u8FruID = psRequest->u8FruID;
    unsigned char au8Old[DATE_TIME_BYTES] = {};
    unsigned char u8Checksum = 0;
    if (!ReadFRUBytes(u8FruID, psRequest->u16Offset, DATE_TIME_BYTES, au8Old) ||
        !ReadAreaChecksum(u8FruID, pu8Header[FRU_AREA_BOARD], &psPlan->u16ChecksumPosition, &u8Checksum) ||
        !NewChecksum(u8Checksum, DATE_TIME_BYTES, au8Old, psRequest->au8EncodedData, &psPlan->u8Checksum)) {
        return false;
    }
    psPlan->u16DataOffset = psRequest->u16Offset;
    psPlan->uDataCount = DATE_TIME_BYTES;
    psPlan->pu8Data = psRequest->au8EncodedData;
    return true;
}

// The order type/length byte, data, checksum is fixed; a signal stops it
// between two writes.
bool PerformPlan(unsigned char u8FruID, const FieldUpdatePlan& plan)
{
    const char* const pchWhat = "update";
    return (!plan.bHasTypeLength || (!StopForInterruption(pchWhat) &&
                                     WriteFRUBytes(u8FruID, plan.u16TypeLengthOffset, 1, &plan.u8TypeLength))) &&
           !StopForInterruption(pchWhat) && WriteFRUBytes(u8FruID, plan.u16DataOffset, plan.uDataCount, plan.pu8Data) &&
           !StopForInterruption(pchWhat) && WriteFRUBytes(u8FruID, plan.u16ChecksumPosition, 1, &plan.u8Checksum);
}

bool PlanHolds(unsigned char u8FruID, const FieldUpdatePlan& plan)
{
    return (!plan.bHasTypeLength || WrittenFRURangeHolds(u8FruID, plan.u16TypeLengthOffset, 1, &plan.u8TypeLength)) &&
           WrittenFRURangeHolds(u8FruID, plan.u16DataOffset, plan.uDataCount, plan.pu8Data) &&
           WrittenFRURangeHolds(u8FruID, plan.u16ChecksumPosition, 1, &plan.u8Checksum);
}

// What the device holds, read and saved before the first write; the area
// size comes from the device itself, asked without a trace.
bool ReadContentBeforeWriting(unsigned char u8FruID, const FieldUpdatePlan& plan, FRUDeviceContent* psContent,
                              const WayBack& wayBack)
{
    CommandResult eAreaInfo = CommandResult::CMD_FAILED;
    unsigned short u16AreaSize = 0;
    {
        SuppressedTrace quiet;
        eAreaInfo = GetFRUInventoryAreaInfoCommand(u8FruID, &u16AreaSize);
    }
    const unsigned int uAreaSize = u16AreaSize > plan.End() ? u16AreaSize : plan.End();
    return eAreaInfo != CommandResult::CMD_FAILED &&
           ReadFRUDeviceContent(u8FruID, uAreaSize, plan.End(), psContent, wayBack);
}

}  // namespace

bool WriteFRUFieldUpdate(FRUUpdateRequest* psRequest, WayBack* psWayBack)
{
    const unsigned char u8FruID = psRequest->u8FruID;
    unsigned char au8Header[FRU_COMMON_HEADER_SIZE] = {};
    if (!ReadFRUBytes(u8FruID, 0, FRU_COMMON_HEADER_SIZE, au8Header)) {
        return false;
    }
    FieldUpdatePlan plan;
    const bool bPlanned = std::strcmp(psRequest->achFieldName, "datetime") == 0
                              ? PlanDateTime(psRequest, au8Header, &plan)
                              : PlanString(psRequest, au8Header, &plan);
    FRUDeviceContent before;
    if (!bPlanned || !ReadContentBeforeWriting(u8FruID, plan, &before, *psWayBack) || StopForInterruption("update")) {
        return false;  // nothing written yet
    }
    const bool bWritten = PerformPlan(u8FruID, plan);
    if (bWritten && PlanHolds(u8FruID, plan)) {
        return true;
    }
    // A field half written leaves the area's checksum wrong: undone.
    PutBackFRUDevice(before, plan.First(), plan.End(), psWayBack);
    return false;
}
