#include "base/working_storage.h"

#include <cstdlib>

#include "base/trace.h"

unsigned char* G_pu8LocalFRUDataBuffer = nullptr;
unsigned char* G_pu8InventoryFRUDataBuffer = nullptr;
unsigned short G_u16RawDataSizeFromFRUFile = 0;
unsigned short G_u16ReadSizeFromFRUInventory = 0;

namespace {

unsigned long S_ulLocalFRUBufferCapacity = 0;

template <typename T>
void Release(T*& pBuffer)
{
    std::free(pBuffer);
    pBuffer = nullptr;
}

void ReleaseAll()
{
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

bool VLInit()
{
    ReleaseAll();  // a second VLInit in one run must not leak the first
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
