// Building the local FRU image from a FRU file: a binary image, or the FRU
// text format that spells every byte out area by area and lets text
// fields be written as quoted strings.
#pragma once

#include "encoding/text_encoding.h"
#include "fru/fru_image.h"

// Tags of the FRU text format.
#define FRU_TAG_BLOCK_START "_FRU ("
#define FRU_TAG_BLOCK_END ")"

// One read of a FRU file: the lines it reads and the image it builds.
struct FRUReaderContext : TextReaderContext {
    FRUImage* psImage = nullptr;
};

// 1 when the image was built (and, for a binary file, validated) into
// *psImage, else 0.
int ReadFRUFile(const char* pchPath, FRUImage* psImage);

// Reads lines until one holds the start tag: 1 found, 0 end of file.
// *piDataBefore is set when a non-empty line precedes the tag line or the
// tag line holds more than the tag.
int FRUReadBlockStartTag(TextReaderContext* psContext, int* piDataBefore);
// 1 when the next token is the tag.
int SearchAreaTag(TextReaderContext* psContext, const char* pchTag, char* pchLine);
int FRUReadCommonArea(FRUReaderContext* psContext, char* pchLine);
int FRUReadInternalArea(FRUReaderContext* psContext, const FRUAreaInfo* psArea, char* pchLine);
int FRUReadChassisBoardProductArea(FRUReaderContext* psContext, const FRUAreaInfo* psArea, char* pchLine);
int FRUReadMultiRecordArea(FRUReaderContext* psContext, char* pchLine);
// Appends up to u16Count hex bytes; stops early (1) at a token starting
// with ")" or "_SEE_", which stays in the line buffer.
int FRUReadHexBlock(FRUReaderContext* psContext, const char* pchAreaName, unsigned short u16Count, char* pchLine);
// The field block: hex lines and quoted-string lines encoded by the
// type/length byte before them, until u16Count bytes are appended.
int FRUReadHexDataQuotedStringMixBlockWithLanguageCode(FRUReaderContext* psContext, const char* pchAreaName,
                                                       unsigned short u16Count, char* pchLine,
                                                       unsigned char u8LanguageCode);
