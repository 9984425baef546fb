// The Storage requests for a FRU inventory device, and the loops that
// write the local FRU image into it and read its whole area.
#pragma once

#include "bmc/command_results.h"

extern unsigned short G_u16FRUInventoryAreaSize;

int GetFRUInventoryAreaInfoCommand(unsigned char u8FruID);
int ReadFRUDataCommand(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count);
int ReadFRUDataCommandToLocalBuffer(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                                    unsigned char* pu8Buffer, unsigned short u16BufferOffset);
int WriteFRUDataCommand(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                        const unsigned char* pu8Buffer);
int WriteFRUDataCommandFromLocalBuffer(unsigned char u8FruID, unsigned short u16Offset, unsigned char u8Count,
                                       const unsigned char* pu8Buffer, unsigned short u16BufferOffset);

// The 16-byte chunks of uSize bytes, the last one holding the rest: calls
// step(offset, count) for each until one returns false. False then.
template <typename TChunkStep>
bool ForEachFRUChunk(unsigned int uSize, TChunkStep step)
{
    constexpr unsigned int CHUNK_SIZE = 16;
    for (unsigned int uOffset = 0; uOffset < uSize; uOffset += CHUNK_SIZE) {
        if (!step(uOffset, uSize - uOffset < CHUNK_SIZE ? uSize - uOffset : CHUNK_SIZE)) {
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

int DownloadFRUHandler(unsigned char u8FruID);
int UploadFRUHandler(unsigned char u8FruID, unsigned int* puReadSize);
// -d: the local image into the device; -u and -v: the device's whole area
// into G_pu8InventoryFRUDataBuffer.
bool DoFRUAddToBMC(unsigned char u8FruID);
bool DoFRUGetFromBMC(unsigned char u8FruID);
