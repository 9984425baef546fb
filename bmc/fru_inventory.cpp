#include "bmc/fru_inventory.h"

#include <cstdio>
#include <cstring>

#include "base/interruption.h"
#include "base/trace.h"
#include "bmc/fru_device_content.h"
#include "bmc/ipmi_command.h"

namespace {

// The upload reads whole chunks: up to 15 bytes past the area.
constexpr unsigned int SPARE_BYTES = STORAGE_CHUNK_SIZE;

void PutAddress(IPMICommandRecord& record, unsigned char u8FruID, unsigned short u16Offset)
{
    record.au8RequestData[0] = u8FruID;
    record.au8RequestData[1] = GetLowByteOfWord(u16Offset);
    record.au8RequestData[2] = GetHighByteOfWord(u16Offset);
}

// A Read FRU Data request; the response stays in the record.
bool SendRead(IPMICommandRecord& record, unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count)
{
    DebugMessage("\n=> CMD_READ_FRU_DATA\n");
    PutAddress(record, u8FruID, u16Offset);
    record.au8RequestData[3] = u8Count;
    record.u8RequestLength = 4;
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_READ_FRU_DATA, &record)) {
        ReportCommandFailure("Failure to read data from FRU.", record);
        return false;
    }
    return true;
}

CommandResult SendWrite(IPMICommandRecord& record, unsigned char u8FruID, unsigned short u16Offset,
                        unsigned char u8Count, const unsigned char* pu8Bytes)
{
    DebugMessage("\n=> CMD_WRITE_FRU_DATA\n");
    const unsigned int uCount = u8Count <= IPMI_REQUEST_DATA_SIZE - 3 ? u8Count : IPMI_REQUEST_DATA_SIZE - 3;
    PutAddress(record, u8FruID, u16Offset);
    std::memcpy(record.au8RequestData + 3, pu8Bytes, uCount);
    record.u8RequestLength = static_cast<unsigned char>(uCount + 3);
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_WRITE_FRU_DATA, &record)) {
        ReportCommandFailure("Failure to write data to FRU.", record);
        return CommandResult::CMD_FAILED;
    }
    DebugMessage("   CMD_WRITE_FRU_DATA --- count = %d \n", record.au8ResponseData[0]);
    return CommandResult::FRU_WRITE_DONE;
}

}  // namespace

CommandResult GetFRUInventoryAreaInfoCommand(unsigned char u8FruID, unsigned short* pu16AreaSize)
{
    *pu16AreaSize = 0;
    DebugMessage("\n=> CMD_GET_FRU_INVENTORY_AREA_INFO\n");
    IPMICommandRecord record = NewCommandRecord();
    record.au8RequestData[0] = u8FruID;
    record.u8RequestLength = 1;
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_GET_FRU_INVENTORY_AREA_INFO, &record)) {
        std::fputs("<ERROR> Error in executing IPMI command because of: \n", stderr);
        std::fprintf(stderr, "FRU Device 0x%X error or not exist.\n", u8FruID);
        ReportCompletionCode(record);
        return CommandResult::CMD_FAILED;
    }
    *pu16AreaSize = static_cast<unsigned short>(ParseByIndex(record.au8ResponseData, 0, 2));
    DebugMessage("FRU Inventory area size = 0x%X Bytes \n", *pu16AreaSize);
    return *pu16AreaSize == 0 ? CommandResult::CMD_FAILED : CommandResult::FRU_AREA_PRESENT;
}

CommandResult ReadFRUDataCommand(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                                 FRUImage* psInventory)
{
    IPMICommandRecord record = NewCommandRecord();
    if (psInventory == nullptr || psInventory->au8Bytes.size() < u16Offset + STORAGE_CHUNK_SIZE) {
        std::fputs("<ERROR> Internal Error.", stderr);
        return CommandResult::CMD_FAILED;
    }
    if (!SendRead(record, u8FruID, u16Offset, u8Count)) {
        return CommandResult::CMD_FAILED;
    }
    std::memcpy(psInventory->au8Bytes.data() + u16Offset, record.au8ResponseData + 1, STORAGE_CHUNK_SIZE);
    return CommandResult::FRU_READ_DONE;
}

CommandResult ReadFRUDataCommandToLocalBuffer(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                                              unsigned char* pu8Buffer, unsigned short u16BufferOffset)
{
    IPMICommandRecord record = NewCommandRecord();  // cleared whole
    if (pu8Buffer == nullptr) {
        std::fputs("<ERROR> Internal Error.", stderr);
        return CommandResult::CMD_FAILED;
    }
    if (!SendRead(record, u8FruID, u16Offset, u8Count)) {
        return CommandResult::CMD_FAILED;
    }
    const unsigned int uCount = u8Count < IPMI_RESPONSE_DATA_SIZE - 1 ? u8Count : IPMI_RESPONSE_DATA_SIZE - 1;
    std::memcpy(pu8Buffer + u16BufferOffset, record.au8ResponseData + 1, uCount);
    return CommandResult::FRU_READ_DONE;
}

CommandResult WriteFRUDataCommand(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                                  const unsigned char* pu8Buffer)
{
    IPMICommandRecord record = NewCommandRecord();
    return SendWrite(record, u8FruID, u16Offset, u8Count, pu8Buffer + u16Offset);
}

CommandResult WriteFRUDataCommandFromLocalBuffer(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                                                 const unsigned char* pu8Buffer, unsigned short u16BufferOffset)
{
    IPMICommandRecord record = NewCommandRecord();  // cleared whole
    return SendWrite(record, u8FruID, u16Offset, u8Count, pu8Buffer + u16BufferOffset);
}

bool ReadFRUBytes(unsigned char u8FruID, unsigned short u16Offset, unsigned int uCount, unsigned char* pu8Out)
{
    return ForEachFRUChunk(uCount, [&](unsigned int uDone, unsigned int uChunk) {
        return ReadFRUDataCommandToLocalBuffer(u8FruID, static_cast<unsigned short>(u16Offset + uDone),
                                               static_cast<unsigned char>(uChunk), pu8Out,
                                               static_cast<unsigned short>(uDone)) != CommandResult::CMD_FAILED;
    });
}

bool WriteFRUBytes(unsigned char u8FruID, unsigned short u16Offset, unsigned int uCount, const unsigned char* pu8Bytes)
{
    return ForEachFRUChunk(uCount, [&](unsigned int uDone, unsigned int uChunk) {
        return WriteFRUDataCommandFromLocalBuffer(u8FruID, static_cast<unsigned short>(u16Offset + uDone),
                                                  static_cast<unsigned char>(uChunk), pu8Bytes,
                                                  static_cast<unsigned short>(uDone)) != CommandResult::CMD_FAILED;
    });
}

CommandResult DownloadFRUHandler(unsigned char u8FruID, const FRUImage& image, unsigned short u16AreaSize)
{
    const unsigned int uSize = FRUImageSize(image);
    if (u16AreaSize < uSize) {
        std::fputs("FRU file size too big, can not download. \n", stderr);
        return CommandResult::CMD_FAILED;
    }
    CommandResult eResult = CommandResult::FRU_AREA_PRESENT;
    ForEachFRUChunk(uSize, [&](unsigned int uOffset, unsigned int uChunk) {
        if (StopForInterruption("download")) {
            eResult = CommandResult::CMD_FAILED;
            return false;
        }
        eResult = WriteFRUDataCommand(u8FruID, static_cast<unsigned short>(uOffset), static_cast<unsigned char>(uChunk),
                                      image.au8Bytes.data());
        return eResult != CommandResult::CMD_FAILED;
    });
    if (eResult == CommandResult::CMD_FAILED) {
        return CommandResult::CMD_FAILED;
    }
    // An empty image leaves "area present", which the caller counts as failure.
    return eResult == CommandResult::FRU_WRITE_DONE ? CommandResult::FRU_DOWNLOAD_COMPLETE : eResult;
}

bool DoFRUAddToBMC(unsigned char u8FruID, const FRUImage& image, WayBack* psWayBack)
{
    unsigned short u16AreaSize = 0;
    if (GetFRUInventoryAreaInfoCommand(u8FruID, &u16AreaSize) == CommandResult::CMD_FAILED) {
        return false;
    }
    std::puts("Start to download FRU data! ");
    const unsigned int uSize = FRUImageSize(image);
    // An image that does not fit, or none, is refused before any write.
    if (uSize == 0 || uSize > u16AreaSize) {
        return DownloadFRUHandler(u8FruID, image, u16AreaSize) == CommandResult::FRU_DOWNLOAD_COMPLETE;
    }
    FRUDeviceContent before;
    if (!ReadFRUDeviceContent(u8FruID, u16AreaSize, uSize, &before, *psWayBack) || StopForInterruption("download")) {
        return false;  // nothing written yet
    }
    // Written, then read back: a device that ignores or refuses a write is
    // put back, never reported as written.
    const bool bWritten = DownloadFRUHandler(u8FruID, image, u16AreaSize) == CommandResult::FRU_DOWNLOAD_COMPLETE;
    if (bWritten && WrittenFRURangeHolds(u8FruID, 0, uSize, image.au8Bytes.data())) {
        return true;
    }
    PutBackFRUDevice(before, 0, uSize, psWayBack);
    return false;
}

CommandResult UploadFRUHandler(unsigned char u8FruID, unsigned short u16AreaSize, FRUImage* psInventory,
                               unsigned int* puReadSize)
{
    unsigned int uOffset = 0;
    for (;; uOffset += STORAGE_CHUNK_SIZE) {
        if (ReadFRUDataCommand(u8FruID, static_cast<unsigned short>(uOffset), STORAGE_CHUNK_SIZE, psInventory) ==
            CommandResult::CMD_FAILED) {
            *puReadSize = uOffset + STORAGE_CHUNK_SIZE;
            return CommandResult::CMD_FAILED;
        }
        if (uOffset + STORAGE_CHUNK_SIZE >= u16AreaSize) {
            break;
        }
    }
    // Rounded up to whole chunks: up to 15 bytes past the area.
    *puReadSize = uOffset + STORAGE_CHUNK_SIZE;
    return CommandResult::FRU_UPLOAD_COMPLETE;
}

bool DoFRUGetFromBMC(unsigned char u8FruID, FRUImage* psInventory)
{
    unsigned short u16AreaSize = 0;
    if (GetFRUInventoryAreaInfoCommand(u8FruID, &u16AreaSize) == CommandResult::CMD_FAILED) {
        std::fputs("Failure to check the FRU Inventory device.\n", stderr);
        return false;
    }
    // Zero-filled, so that a chunk that could not be read holds no garbage.
    if (!ReserveFRUImageRoom(psInventory, u16AreaSize + SPARE_BYTES)) {
        std::fputs("FRU read Memory allocation error! \n", stderr);
        return false;
    }
    unsigned int uReadSize = 0;
    // A failed read shows only in the read size; the image's validation
    // judges what was read.
    UploadFRUHandler(u8FruID, u16AreaSize, psInventory, &uReadSize);
    psInventory->u16Size = static_cast<unsigned short>(uReadSize > 0xFFFF ? 0xFFFF : uReadSize);
    return true;
}
