// The working storage of one operation: the two SDR record lists and the
// two FRU images with their sizes.
#pragma once

#include <cstddef>

#include "base/sdr_entry.h"

extern SDREntry* G_psLocalSDREntryList;             // records from the local file
extern SDREntry* G_psRepositorySDREntryList;        // records from the BMC's repository
extern unsigned char* G_pu8LocalFRUDataBuffer;      // FRU image from the local file
extern unsigned char* G_pu8InventoryFRUDataBuffer;  // FRU image from the BMC
extern unsigned short G_u16RawDataSizeFromFRUFile;
extern unsigned short G_u16ReadSizeFromFRUInventory;

// The two record lists as the readers, writers and comparison take them.
SDRList LocalSDRList();
SDRList RepositorySDRList();

// Allocates both record lists with every slot free and clears the FRU
// images; false (with a message) when memory is exhausted.
bool VLInit();
// Empties the first uCount slots of a list (at most the whole list): zero
// bytes, free record ID. A long-lived process (the fuzz targets) reuses
// its lists this way instead of allocating them for every run.
void MarkSDRSlotsFree(SDREntry* psList, unsigned int uCount);
// Releases whatever of the four buffers is allocated.
void VLExit();

// The FRU images are allocated here, when their size is known, and freed
// by VLExit: (re)allocates the image zero-filled with room for ulBytes;
// false when memory is exhausted (the image is then null, its room 0).
bool AllocateLocalFRUBuffer(unsigned long ulBytes);
bool AllocateInventoryFRUBuffer(unsigned long ulBytes);
// The bytes the local image has room for (0 when none is allocated).
unsigned long LocalFRUBufferCapacity();

// The allocator VLInit uses for the record lists; tests replace it to
// simulate memory exhaustion. Null restores the default.
typedef void* (*TWorkingStorageAllocator)(std::size_t uCount, std::size_t uSize);
void SetWorkingStorageAllocator(TWorkingStorageAllocator pfnAllocator);
