// Zero-sum checksums of FRU areas.
#pragma once

// Updates an area checksum for n bytes that change from old to new without
// reading the rest of the area. 1, or 0 after a message for a null pointer.
int ComputeChecksum(unsigned char u8OldChecksum, unsigned char u8Length, const unsigned char* pu8OldBytes,
                    const unsigned char* pu8NewBytes, unsigned char* pu8NewChecksum);
