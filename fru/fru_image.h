// FRU images: the layout of an IPMI FRU information device as the tool
// checks it, the local image built from a file, and the comparison with
// the image read from the BMC.
#pragma once

#include <cstdio>
#include <vector>

#include "encoding/text_encoding.h"

constexpr unsigned int FRU_COMMON_HEADER_SIZE = 8;
constexpr unsigned char FRU_FORMAT_VERSION = 0x01;
constexpr unsigned char FRU_END_OF_FIELDS = 0xC1;
constexpr unsigned int FRU_MULTIRECORD_HEADER_SIZE = 5;
constexpr unsigned int FRU_MAX_IMAGE_SIZE = 0xFFFF;  // sizes are 16-bit

// Rows of the area table, in this fixed order; for the areas, also the
// index of the common header's byte that holds the area's offset (in
// units of 8 bytes).
enum eFRUArea {
    FRU_AREA_COMMON = 0,
    FRU_AREA_INTERNAL = 1,
    FRU_AREA_CHASSIS = 2,
    FRU_AREA_BOARD = 3,
    FRU_AREA_PRODUCT = 4,
    FRU_AREA_MULTIRECORD = 5,
    FRU_AREA_PAD = 6,
    FRU_AREA_CHECKSUM = 7,
    FRU_AREA_COUNT = 8,
};

// Where the image being checked came from.
enum eFRUCheckMode {
    FRU_CHECK_BINARY_FILE = 0,
    FRU_CHECK_BMC = 1,
};

struct FRUAreaInfo {
    char achTagName[17];       // the area's tag in the FRU text format
    unsigned short u16Length;  // from the offsets when known, else 0
    unsigned short u16Offset;  // in bytes, 0 when absent
};

struct FRUValidateContext {
    unsigned short u16ValidatedSize;  // bytes accounted for by the areas checked so far
    unsigned short u16DataSize;
    const unsigned char* pu8Data;
};

// The eight rows with their tags, lengths and offsets 0.
void InitFRUAreaTable(FRUAreaInfo* psTable);
// The area's name in messages: its tag without "_SEE_".
const char* FRUAreaName(const FRUAreaInfo* psArea);

int FRUValidateRawData(const unsigned char* pu8Data, unsigned short u16Size, int iMode);
// psArea is the table's first row for the common area (the routine fills
// the whole table), the area's own row for the others.
int FRUValidateCommonArea(FRUValidateContext* psContext, FRUAreaInfo* psArea, int iMode);
int FRUValidateInternalArea(FRUValidateContext* psContext, const FRUAreaInfo* psArea, int iMode);
int FRUValidateChassisBoardProductArea(FRUValidateContext* psContext, const FRUAreaInfo* psArea, int iMode);
int FRUValidateMultiRecordArea(FRUValidateContext* psContext, const FRUAreaInfo* psArea, int iMode);
int FRUGetAreaInfo(const unsigned char* pu8Header, int iMode, FRUAreaInfo* psTable);
int CanKnowFRULengthFromCommonArea(const FRUAreaInfo* psTable);
int FRUAreaChecksumCorrect(const unsigned char* pu8Bytes, unsigned short u16Count, unsigned char u8Checksum);

// How many leading bytes of a device the image its common header describes
// spans, as far as the first uHave bytes tell. *pbKnown false: read at
// least the returned count and ask again. Known and 0: no image (a blank
// or damaged header, or an internal-use area whose end nothing marks).
unsigned int FRUImageExtent(const unsigned char* pu8Data, unsigned int uHave, bool* pbKnown);

// A FRU image: its bytes are the first u16Size of au8Bytes, which is its
// room. The reader fills one from a file, the BMC loops from a device.
struct FRUImage {
    std::vector<unsigned char> au8Bytes;
    unsigned short u16Size = 0;
};

// The image's size when its bytes hold that many, else 0 (nothing to send).
unsigned short FRUImageSize(const FRUImage& image);

// An image holding exactly these bytes (at most 64 KiB are kept).
FRUImage MakeFRUImage(const unsigned char* pu8Bytes, unsigned long ulCount);

// Gives the image exactly ulBytes of zero-filled room and the size 0; 1, or
// 0 when memory is exhausted (the image then has no room).
int ReserveFRUImageRoom(FRUImage* psImage, unsigned long ulBytes);
// Gives the image zero-filled room for at least the file size and for any
// image (64 KiB); sets its size to 0. 1, or 0 when memory is exhausted.
int AllocateFRUImage(FRUImage* psImage, unsigned long ulFileSize);
// Appends to the image; 0 when it would pass its room or 64 KiB.
int AppendFRUBytes(FRUImage* psImage, const unsigned char* pu8Bytes, unsigned int uCount);
// Room left in the image for bytes written in place (the six-bit and BCD
// plus encoders); the caller then raises the size itself.
unsigned int FRUImageRoom(const FRUImage& image);
// Appends every byte of the open file from its position to its end; 0 when
// the image would pass 64 KiB.
int FRUReadRawData(FILE* pFile, FRUImage* psImage);
// After the block's ")": 1 when the rest of the line or any later line
// holds something besides blanks and comments.
int FRUSearchInvalidArea(TextReaderContext* psContext, char* pchLine);
// 1 when the first bytes of the inventory's image equal the local image's
// bytes; an empty local image equals anything.
int FRUCompare(const FRUImage& local, const FRUImage& inventory);

// Bytes of one area that differ between the file's image and the
// inventory: the area runs from its offset to the next area's (or to the
// end of the local image), so that pads belong to the area before them.
// FRU_AREA_COUNT names the whole image when the header gives no areas.
struct FRUAreaDifference {
    eFRUArea eArea = FRU_AREA_COUNT;
    unsigned short u16Offset = 0;
    std::vector<unsigned char> au8FileBytes;
    std::vector<unsigned char> au8BMCBytes;  // fewer when the inventory ends first
};
// Every area FRUCompare finds different, laid out by the local image's
// common header. Says nothing.
std::vector<FRUAreaDifference> FRUAreaDifferences(const FRUImage& local, const FRUImage& inventory);
