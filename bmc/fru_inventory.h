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

int DownloadFRUHandler(unsigned char u8FruID);
int UploadFRUHandler(unsigned char u8FruID, unsigned int* puReadSize);
// -d: the local image into the device; -u and -v: the device's whole area
// into G_pu8InventoryFRUDataBuffer.
bool DoFRUAddToBMC(unsigned char u8FruID);
bool DoFRUGetFromBMC(unsigned char u8FruID);
