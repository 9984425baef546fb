// Saving the FRU image read from the BMC as a FRU text file.
#pragma once

#include <cstdio>

#include "fru/fru_image.h"

struct FRUWriteCursor {
    const unsigned char* pu8Data;
    unsigned short u16Position;  // index of the next byte to write
    unsigned int u32Encoding;    // 0 8-bit, 1 UTF-8, 2 UTF-16LE
    unsigned short u16DataSize;  // the image's size: nothing past it is read
    bool bClosed;                // a write or a refusal has closed the file
};

// Writes the image (one read from the BMC) as a FRU text file. 1 on
// success, 0 on failure (reported, except for a non-empty binary field in
// an info area).
int SaveFRUFile(const char* pchPath, const FRUImage& image, unsigned int u32Encoding);

int FRUWriteCommonArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor);
int FRUWriteInternalArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor);
int FRUWriteChassisArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor);
int FRUWriteBoardArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor);
int FRUWriteProductArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor);
int FRUWriteMultiRecordArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor);

// u16Count byte lines ("%02X\n"); the position moves past them.
int FeedData(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor, unsigned short u16Count);
// One field of u16Count bytes, its type/length byte included.
int FeedBlock(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor, unsigned short u16Count,
              unsigned char u8Language, const char* pchAreaTag, int iFieldIndex);
int FeedQuotedStringInChassisBoardProductArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor,
                                              unsigned short u16Count, unsigned char u8Language, const char* pchAreaTag,
                                              int iFieldIndex);
int FeedQuotedStringInMultiRecordArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor,
                                      unsigned short u16Count);
