// Building the local FRU image from a FRU file: a binary image, or the FRU
// text format that spells every byte out area by area and lets text
// fields be written as quoted strings.
#pragma once

#include "encoding/text_encoding.h"
#include "fru/fru_image.h"

// Tags of the FRU text format.
#define FRU_TAG_BLOCK_START "_FRU ("
#define FRU_TAG_BLOCK_END ")"

// 1 when the image was built (and, for a binary file, validated), else 0:
// into the working storage's local image (ReadFRUFile) or a caller's.
int ReadFRUFile(const char* pchPath);
int ReadFRUFileToImage(const char* pchPath, FRUImage* psImage);

// Reads lines until one holds the start tag: 1 found, 0 end of file.
// *piDataBefore is set when a non-empty line precedes the tag line or the
// tag line holds more than the tag.
int FRUReadBlockStartTag(TextReaderContext* psContext, int* piDataBefore);
// 1 when the next token is the tag.
int SearchAreaTag(TextReaderContext* psContext, const char* pchTag, char* pchLine);
int FRUReadCommonArea(TextReaderContext* psContext, char* pchLine);
int FRUReadInternalArea(TextReaderContext* psContext, const FRUAreaInfo* psArea, char* pchLine);
int FRUReadChassisBoardProductArea(TextReaderContext* psContext, const FRUAreaInfo* psArea, char* pchLine);
int FRUReadMultiRecordArea(TextReaderContext* psContext, char* pchLine);
// Appends up to u16Count hex bytes; stops early (1) at a token starting
// with ")" or "_SEE_", which stays in the line buffer.
int FRUReadHexBlock(TextReaderContext* psContext, const char* pchAreaName, unsigned short u16Count, char* pchLine);
// The field block: hex lines and quoted-string lines encoded by the
// type/length byte before them, until u16Count bytes are appended.
int FRUReadHexDataQuotedStringMixBlockWithLanguageCode(TextReaderContext* psContext, const char* pchAreaName,
                                                       unsigned short u16Count, char* pchLine,
                                                       unsigned char u8LanguageCode);
