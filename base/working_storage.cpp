#include "base/working_storage.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/trace.h"

SDREntry* G_psLocalSDREntryList = nullptr;
SDREntry* G_psRepositorySDREntryList = nullptr;
unsigned char* G_pu8LocalFRUDataBuffer = nullptr;
unsigned char* G_pu8InventoryFRUDataBuffer = nullptr;
unsigned short G_u16RawDataSizeFromFRUFile = 0;
unsigned short G_u16ReadSizeFromFRUInventory = 0;

namespace {

TWorkingStorageAllocator S_pfnAllocator = std::calloc;
unsigned long S_ulLocalFRUBufferCapacity = 0;

// A zero-filled list with every slot marked free.
SDREntry* AllocateSDRList()
{
    auto* psList = static_cast<SDREntry*>(S_pfnAllocator(SDR_LIST_SLOT_COUNT, sizeof(SDREntry)));
    if (psList != nullptr) {
        MarkSDRSlotsFree(psList, SDR_LIST_SLOT_COUNT);
    }
    return psList;
}

template <typename T>
void Release(T*& pBuffer)
{
    std::free(pBuffer);
    pBuffer = nullptr;
}

void ReleaseAll()
{
    Release(G_psLocalSDREntryList);
    Release(G_psRepositorySDREntryList);
    Release(G_pu8LocalFRUDataBuffer);
    Release(G_pu8InventoryFRUDataBuffer);
    S_ulLocalFRUBufferCapacity = 0;
}

bool AllocateFRUBuffer(unsigned char*& pu8Buffer, unsigned long ulBytes)
{
    Release(pu8Buffer);
    pu8Buffer = static_cast<unsigned char*>(std::calloc(ulBytes != 0 ? ulBytes : 1, 1));
    return pu8Buffer != nullptr;
}

}  // namespace

void MarkSDRSlotsFree(SDREntry* psList, unsigned int uCount)
{
    if (uCount > SDR_LIST_SLOT_COUNT) {
        uCount = SDR_LIST_SLOT_COUNT;
    }
    std::memset(psList, 0, uCount * sizeof(SDREntry));
    for (unsigned int i = 0; i < uCount; ++i) {
        psList[i].u16RecordID = SDR_FREE_SLOT_ID;
    }
}

void SetWorkingStorageAllocator(TWorkingStorageAllocator pfnAllocator)
{
    S_pfnAllocator = pfnAllocator != nullptr ? pfnAllocator : std::calloc;
}

SDRList LocalSDRList()
{
    return {G_psLocalSDREntryList, SDR_LIST_SLOT_COUNT};
}

SDRList RepositorySDRList()
{
    return {G_psRepositorySDREntryList, SDR_LIST_SLOT_COUNT};
}

bool VLInit()
{
    ReleaseAll();  // a second VLInit in one run must not leak the first
    G_psLocalSDREntryList = AllocateSDRList();
    if (G_psLocalSDREntryList == nullptr) {
        std::fputs("Add Memory allocation error!\n", stderr);
        return false;
    }
    G_psRepositorySDREntryList = AllocateSDRList();
    if (G_psRepositorySDREntryList == nullptr) {
        // The local list stays allocated; VLExit releases it.
        std::fputs("Get Memory allocation error!\n", stderr);
        return false;
    }
    G_u16RawDataSizeFromFRUFile = 0;
    G_u16ReadSizeFromFRUInventory = 0;
    return true;
}

void VLExit()
{
    ReleaseAll();
    DebugMessage("memory space deallocation successful\n");
}

bool AllocateLocalFRUBuffer(unsigned long ulBytes)
{
    const bool bAllocated = AllocateFRUBuffer(G_pu8LocalFRUDataBuffer, ulBytes);
    S_ulLocalFRUBufferCapacity = bAllocated ? ulBytes : 0;
    return bAllocated;
}

bool AllocateInventoryFRUBuffer(unsigned long ulBytes)
{
    return AllocateFRUBuffer(G_pu8InventoryFRUDataBuffer, ulBytes);
}

unsigned long LocalFRUBufferCapacity()
{
    return S_ulLocalFRUBufferCapacity;
}
