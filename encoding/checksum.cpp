#include "encoding/checksum.h"

#include <cstdio>

int ComputeChecksum(unsigned char u8OldChecksum, unsigned char u8Length, const unsigned char* pu8OldBytes,
                    const unsigned char* pu8NewBytes, unsigned char* pu8NewChecksum)
{
    if (pu8OldBytes == nullptr || pu8NewBytes == nullptr || pu8NewChecksum == nullptr) {
        std::fputs("Internal error! \n", stderr);
        return 0;
    }
    unsigned short u16OldSum = 0;
    unsigned short u16NewSum = 0;
    for (unsigned int i = 0; i < u8Length; ++i) {
        u16OldSum = static_cast<unsigned short>(u16OldSum + pu8OldBytes[i]);
        u16NewSum = static_cast<unsigned short>(u16NewSum + pu8NewBytes[i]);
    }
    // The area keeps summing to zero when the checksum absorbs what the
    // changed bytes lose or gain.
    *pu8NewChecksum = static_cast<unsigned char>(u8OldChecksum + u16OldSum - u16NewSum);
    return 1;
}
