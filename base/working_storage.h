// The working storage of one operation: the two FRU images with their
// sizes.
#pragma once

extern unsigned char* G_pu8LocalFRUDataBuffer;      // FRU image from the local file
extern unsigned char* G_pu8InventoryFRUDataBuffer;  // FRU image from the BMC
extern unsigned short G_u16RawDataSizeFromFRUFile;
extern unsigned short G_u16ReadSizeFromFRUInventory;

// Clears the FRU images.
bool VLInit();
// Releases whatever of the two images is allocated.
void VLExit();

// The FRU images are allocated here, when their size is known, and freed
// by VLExit: (re)allocates the image zero-filled with room for ulBytes;
// false when memory is exhausted (the image is then null, its room 0).
bool AllocateLocalFRUBuffer(unsigned long ulBytes);
bool AllocateInventoryFRUBuffer(unsigned long ulBytes);
// The bytes the local image has room for (0 when none is allocated).
unsigned long LocalFRUBufferCapacity();
