// The Storage requests for a FRU inventory device, and the loops that
// write the local FRU image into it and read its whole area.
#pragma once

#include "bmc/command_results.h"
#include "bmc/ipmi_command.h"
#include "bmc/saved_copy.h"
#include "fru/fru_image.h"

// The device's inventory area size into *pu16AreaSize: FRU_AREA_PRESENT,
// or CMD_FAILED when the request fails (reported) or the area is empty.
CommandResult GetFRUInventoryAreaInfoCommand(unsigned char u8FruID, unsigned short* pu16AreaSize);
// One whole 16-byte chunk from u16Offset into the image's room at the same
// offset (the room must hold it; the size is the caller's).
CommandResult ReadFRUDataCommand(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                                 FRUImage* psInventory);
CommandResult ReadFRUDataCommandToLocalBuffer(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                                              unsigned char* pu8Buffer, unsigned short u16BufferOffset);
CommandResult WriteFRUDataCommand(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                                  const unsigned char* pu8Buffer);
CommandResult WriteFRUDataCommandFromLocalBuffer(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                                                 const unsigned char* pu8Buffer, unsigned short u16BufferOffset);

// The 16-byte chunks of uSize bytes, the last one holding the rest: calls
// step(offset, count) for each until one returns false. False then.
template <typename TChunkStep>
bool ForEachFRUChunk(unsigned int uSize, TChunkStep step)
{
    for (unsigned int uOffset = 0; uOffset < uSize; uOffset += STORAGE_CHUNK_SIZE) {
        if (!step(uOffset, uSize - uOffset < STORAGE_CHUNK_SIZE ? uSize - uOffset : STORAGE_CHUNK_SIZE)) {
            return false;
        }
    }
    return true;
}
// uCount bytes of the device from u16Offset on, into or out of a caller's
// buffer, one request per chunk; false at the first failed request (its
// message printed).
bool ReadFRUBytes(unsigned char u8FruID, unsigned short u16Offset, unsigned int uCount, unsigned char* pu8Out);
bool WriteFRUBytes(unsigned char u8FruID, unsigned short u16Offset, unsigned int uCount, const unsigned char* pu8Bytes);

CommandResult DownloadFRUHandler(unsigned char u8FruID, const FRUImage& image, unsigned short u16AreaSize);
CommandResult UploadFRUHandler(unsigned char u8FruID, unsigned short u16AreaSize, FRUImage* psInventory,
                               unsigned int* puReadSize);
// -d: the file's image into the device; -u and -v: the device's whole area
// into *psInventory (its size is what was read, in whole chunks).
bool DoFRUAddToBMC(unsigned char u8FruID, const FRUImage& image, WayBack* psWayBack);
bool DoFRUGetFromBMC(unsigned char u8FruID, FRUImage* psInventory);
