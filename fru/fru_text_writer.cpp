#include "fru/fru_text_writer.h"

#include <cstring>
#include <string>

#include "base/trace.h"
#include "encoding/fru_field_encoding.h"
#include "encoding/text_encoding.h"
#include "encoding/text_output.h"
#include "fru/fru_image.h"
#include "fru/fru_text_reader.h"

namespace {

constexpr unsigned char ENGLISH = 0;
constexpr unsigned char ENGLISH_ALTERNATE = 25;
constexpr unsigned char MANAGEMENT_ACCESS_RECORD = 0x03;
constexpr unsigned char MANAGEMENT_ACCESS_SUBTYPE_RAW = 0x07;

bool IsEnglish(unsigned char u8Language)
{
    return u8Language == ENGLISH || u8Language == ENGLISH_ALTERNATE;
}

// A write routine's result; a full disk has closed the file.
bool Written(WriteResult eResult, FRUWriteCursor* psCursor)
{
    if (eResult == WriteResult::WRITE_DISK_FULL) {
        psCursor->bClosed = true;
    }
    return eResult == WriteResult::WRITE_OK;
}

// Refusals close the file themselves.
int Refuse(FILE* pFile, FRUWriteCursor* psCursor, const char* pchFirst, const char* pchSecond)
{
    std::fprintf(stderr, "%s\n", pchFirst);
    if (pchSecond != nullptr) {
        std::fprintf(stderr, "%s\n", pchSecond);
    }
    std::fclose(pFile);
    psCursor->bClosed = true;
    return 0;
}

bool HasRoom(const FRUWriteCursor* psCursor, unsigned int uCount)
{
    return psCursor->u16Position + uCount <= psCursor->u16DataSize;
}

int ReportPastImage()
{
    std::fputs("<ERROR> FRU write - the FRU data ends inside an area\n", stderr);
    return 0;
}

int TagLine(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor, const char* pchTag)
{
    const std::string sLine = std::string(pchTag) + "\n";
    return Written(WriteLatin1BytesToFile(pFile, pchPath, sLine.data(), sLine.size(), psCursor->u32Encoding), psCursor)
               ? 1
               : 0;
}

// A field that a FRU text file cannot carry, named by its offset.
int RefuseField(FILE* pFile, FRUWriteCursor* psCursor, const char* pchWhat, const char* pchWhy)
{
    char achMessage[96];
    std::snprintf(achMessage, sizeof achMessage, "<ERROR> FRU write - the field at offset 0x%04X %s",
                  psCursor->u16Position, pchWhat);
    return Refuse(pFile, psCursor, achMessage, pchWhy);
}

// A quoted string is read back line by line: it cannot hold a line feed.
int QuotedLatin1Line(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor, const std::string& sText)
{
    if (sText.find('\n') != std::string::npos) {
        return RefuseField(pFile, psCursor, "holds a line feed", "A FRU text file cannot carry it in a quoted string");
    }
    const std::string sLine = "'" + sText + "'\n";
    return Written(WriteLatin1BytesToFile(pFile, pchPath, sLine.data(), sLine.size(), psCursor->u32Encoding), psCursor)
               ? 1
               : 0;
}

// iconv rather than UTF16ToUTF8, which leaves out U+0100-U+07FF characters
// with a low byte below 0x80: every character must read back.
bool Utf16ToUtf8(const unsigned char* pu8Utf16, unsigned short u16Count, std::string* psUtf8)
{
    iconv_t pToUtf8 = iconv_open("UTF-8", "UTF-16LE");
    if (pToUtf8 == reinterpret_cast<iconv_t>(-1)) {
        return false;
    }
    char achUtf8[4 * 64 + 4] = {};
    char* pchIn = const_cast<char*>(reinterpret_cast<const char*>(pu8Utf16));
    size_t uInLeft = u16Count;
    char* pchOut = achUtf8;
    size_t uOutLeft = sizeof achUtf8;
    const bool bConverted = iconv(pToUtf8, &pchIn, &uInLeft, &pchOut, &uOutLeft) != static_cast<size_t>(-1);
    iconv_close(pToUtf8);
    psUtf8->assign(achUtf8, static_cast<size_t>(pchOut - achUtf8));
    return bConverted;
}

// UTF-16LE field data, written as UTF-8 or as raw UTF-16LE between quotes.
int QuotedUnicodeLine(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor, unsigned short u16Count)
{
    const unsigned char* pu8Data = psCursor->pu8Data + psCursor->u16Position;
    for (unsigned int i = 0; i + 1 < u16Count; i += 2) {
        if (pu8Data[i] == '\n' && pu8Data[i + 1] == 0) {
            return RefuseField(pFile, psCursor, "holds a line feed",
                               "A FRU text file cannot carry it in a quoted string");
        }
    }
    // Half a character would shift the line's end off the even offsets
    // where a UTF-16 file's line feeds stand.
    if (u16Count % 2 != 0) {
        return RefuseField(pFile, psCursor, "is not valid UTF-16",
                           psCursor->u32Encoding == FILE_ENCODING_UTF16 ? "It cannot be written as UTF-16"
                                                                        : "It cannot be written as UTF-8");
    }
    std::string sLine;
    if (psCursor->u32Encoding == FILE_ENCODING_UTF16) {
        sLine.assign("'\0", 2);
        sLine.append(reinterpret_cast<const char*>(pu8Data), u16Count);
        sLine.append("'\0\n\0", 4);
    } else {
        std::string sUtf8;
        if (!Utf16ToUtf8(pu8Data, u16Count, &sUtf8)) {
            return RefuseField(pFile, psCursor, "is not valid UTF-16", "It cannot be written as UTF-8");
        }
        sLine = "'" + sUtf8 + "'\n";
    }
    return Written(WriteBytesToFile(pFile, pchPath, sLine.data(), sLine.size()), psCursor) ? 1 : 0;
}

bool IsEnglishField(const char* pchAreaTag, int iFieldIndex, unsigned char u8Language)
{
    // Serial number and FRU file ID stay English: board fields 2 and 4,
    // product fields 4 and 6; the chassis area is English throughout.
    return IsEnglish(u8Language) ||
           (std::strstr(pchAreaTag, "_SEE_BOARD") != nullptr && (iFieldIndex == 2 || iFieldIndex == 4)) ||
           (std::strstr(pchAreaTag, "_SEE_PRODUCT") != nullptr && (iFieldIndex == 4 || iFieldIndex == 6)) ||
           std::strstr(pchAreaTag, "_SEE_CHASSIS") != nullptr;
}

struct InfoAreaLayout {
    const char* pchTag;
    unsigned int uLeadingBytes;  // version, length and the area's own bytes
    bool bHasLanguage;
    int iExemptFieldA;  // fields that may stay 8-bit in an 8-bit file
    int iExemptFieldB;
    const char* pchUnicodeMessage;
    const char* pchLengthMessage;
    const char* pchPaddingMessage;
};

const InfoAreaLayout S_ChassisLayout = {"_SEE_CHASSIS",
                                        3,
                                        false,
                                        -1,
                                        -1,
                                        nullptr,
                                        "<ERROR> FRU write - Chassis Info Area length insufficient",
                                        "<ERROR> FRU write - Chassis Info Area has data after its end of fields (C1)"};
const InfoAreaLayout S_BoardLayout = {"_SEE_BOARD",
                                      6,
                                      true,
                                      2,
                                      4,
                                      "<ERROR> Board Info Area contains Unicode data",
                                      "<ERROR> FRU write - Board Info Area length insufficient",
                                      "<ERROR> FRU write - Board Info Area has data after its end of fields (C1)"};
const InfoAreaLayout S_ProductLayout = {"_SEE_PRODUCT",
                                        3,
                                        true,
                                        4,
                                        4,
                                        "<ERROR> Product Info Area contains Unicode data",
                                        "<ERROR> FRU write - Product Info Area length insufficient",
                                        "<ERROR> FRU write - Product Info Area has data after its end of fields (C1)"};

// The reader fills the bytes between C1 and the area checksum with zeros
// itself, so anything else there would not read back.
bool OnlyZerosBetween(const FRUWriteCursor* psCursor, unsigned short u16Tail)
{
    for (unsigned int i = 1; i + 1 < u16Tail && HasRoom(psCursor, i + 1); ++i) {
        if (psCursor->pu8Data[psCursor->u16Position + i] != 0x00) {
            return false;
        }
    }
    return true;
}

int WriteInfoArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor, const InfoAreaLayout& layout)
{
    if (!HasRoom(psCursor, layout.uLeadingBytes)) {
        return ReportPastImage();
    }
    const unsigned char* pu8Area = psCursor->pu8Data + psCursor->u16Position;
    short i16Left = static_cast<short>(pu8Area[1] * 8);
    const unsigned char u8Language = layout.bHasLanguage ? pu8Area[2] : ENGLISH;
    if (!TagLine(pFile, pchPath, psCursor, layout.pchTag) ||
        !FeedData(pFile, pchPath, psCursor, static_cast<unsigned short>(layout.uLeadingBytes))) {
        return 0;
    }
    i16Left = static_cast<short>(i16Left - layout.uLeadingBytes);
    // The fields up to C1; an area without C1 within its length stops at
    // its end and is reported below.
    for (int iField = 0; i16Left >= 1; ++iField) {
        if (!HasRoom(psCursor, 1)) {
            return ReportPastImage();
        }
        const unsigned char u8TypeLength = psCursor->pu8Data[psCursor->u16Position];
        if (u8TypeLength == FRU_END_OF_FIELDS) {
            break;
        }
        if (layout.pchUnicodeMessage != nullptr && (u8TypeLength >> 6) == 3 && !IsEnglish(u8Language) &&
            iField != layout.iExemptFieldA && iField != layout.iExemptFieldB &&
            psCursor->u32Encoding == FILE_ENCODING_ASCII) {
            return Refuse(pFile, psCursor, layout.pchUnicodeMessage, "The file encoding format cannot be ASCII");
        }
        const unsigned short u16FieldBytes = static_cast<unsigned short>((u8TypeLength & 0x3F) + 1);
        if (!FeedBlock(pFile, pchPath, psCursor, u16FieldBytes, u8Language, layout.pchTag, iField)) {
            return 0;
        }
        i16Left = static_cast<short>(i16Left - u16FieldBytes);
    }
    if (i16Left < 1) {
        return Refuse(pFile, psCursor, layout.pchLengthMessage, nullptr);
    }
    if (!OnlyZerosBetween(psCursor, static_cast<unsigned short>(i16Left))) {
        return Refuse(pFile, psCursor, layout.pchPaddingMessage,
                      "The FRU text format holds only zero bytes between C1 and the checksum");
    }
    return FeedData(pFile, pchPath, psCursor, static_cast<unsigned short>(i16Left));
}

// The internal-use area runs to the next area; as the last one its end is
// not known and 8 bytes are written.
unsigned short InternalAreaLength(const FRUWriteCursor* psCursor)
{
    FRUAreaInfo asTable[FRU_AREA_COUNT];
    InitFRUAreaTable(asTable);
    const unsigned short u16Length =
        FRUGetAreaInfo(psCursor->pu8Data, FRU_CHECK_BMC, asTable) && asTable[FRU_AREA_INTERNAL].u16Length != 0
            ? asTable[FRU_AREA_INTERNAL].u16Length
            : 8;
    const unsigned int uAvailable = psCursor->u16DataSize - psCursor->u16Position;
    return static_cast<unsigned short>(u16Length < uAvailable ? u16Length : uAvailable);
}

// The reader looks for its start tag anywhere in a line, quoted strings
// included, so a field holding it would read as a second start tag.
bool HoldsStartTag(const std::string& sText)
{
    return sText.find(FRU_TAG_BLOCK_START) != std::string::npos;
}

// Text the reader takes line by line: no line feed, no NUL, which ends a
// line's text early, and no start tag.
bool FitsOnAQuotedLine(const unsigned char* pu8Bytes, unsigned int uCount)
{
    return std::memchr(pu8Bytes, '\n', uCount) == nullptr && std::memchr(pu8Bytes, '\0', uCount) == nullptr &&
           !HoldsStartTag(std::string(reinterpret_cast<const char*>(pu8Bytes), uCount));
}

// Whether the field's data, written as a quoted string, reads back as the
// same bytes. Packed six-bit and BCD-plus text is packed again as the
// reader does; UTF-16 text must be whole characters without a line feed,
// and in UTF-8 without U+0000.
bool QuotedFieldReadsBack(const FRUWriteCursor* psCursor, unsigned short u16Count, bool bEnglish)
{
    const unsigned char* pu8Field = psCursor->pu8Data + psCursor->u16Position + 1;
    const unsigned char u8Type = psCursor->pu8Data[psCursor->u16Position] >> 6;
    if (u8Type == 1 || u8Type == 2) {
        char achText[2 * 64 + 4] = {};
        unsigned char au8Packed[2 * 64 + 4] = {};
        const auto u8Count = static_cast<unsigned char>(u16Count);
        int iPacked = 0;
        if (u8Type == 2) {
            ConvertSixBitASCIIToASCIIStr(pu8Field, u8Count, achText);
            iPacked = ConvertASCIIStrToSixBitASCII(achText, au8Packed) ? (3 * std::strlen(achText) + 3) / 4 : -1;
        } else {
            ConvertBCDPlusToASCIIStr(pu8Field, u8Count, achText);
            iPacked = ConvertASCIIStrToBCDPlus(achText, au8Packed) ? (std::strlen(achText) + 1) / 2 : -1;
        }
        return FitsOnAQuotedLine(reinterpret_cast<const unsigned char*>(achText), std::strlen(achText)) &&
               iPacked == u16Count && std::memcmp(au8Packed, pu8Field, u16Count) == 0;
    }
    if (u8Type != 3 || bEnglish) {
        return u8Type != 3 || FitsOnAQuotedLine(pu8Field, u16Count);
    }
    if (psCursor->u32Encoding == FILE_ENCODING_ASCII) {
        return true;  // refused as Unicode data before anything is written
    }
    if (u16Count % 2 != 0) {
        return false;
    }
    std::string sLatin1;  // the characters below U+0100, others as 0x80
    for (unsigned int i = 0; i < u16Count; i += 2) {
        const bool bLineFeed = pu8Field[i] == '\n' && pu8Field[i + 1] == 0;
        const bool bNul = pu8Field[i] == 0 && pu8Field[i + 1] == 0;
        if (bLineFeed || (bNul && psCursor->u32Encoding == FILE_ENCODING_UTF8)) {
            return false;
        }
        sLatin1 += static_cast<char>(pu8Field[i + 1] == 0 ? pu8Field[i] : 0x80);
    }
    if (HoldsStartTag(sLatin1)) {
        return false;
    }
    std::string sUtf8;
    return psCursor->u32Encoding != FILE_ENCODING_UTF8 || Utf16ToUtf8(pu8Field, u16Count, &sUtf8);
}

// A field whose text would not read back: its type/length byte and data as
// hexadecimal bytes on one line, which the reader counts as one data line,
// like the type/length line of a quoted field, so the fields after it keep
// their numbers. A UTF-16 file's lines hold fewer characters than a long
// field needs; there the field takes several lines, which in an area of
// another language than English would shift the numbers that tell English
// fields from Unicode ones: refused then.
constexpr unsigned int UTF16_HEX_BYTES_PER_LINE = 40;  // 120 characters, 242 bytes with the line feed

// The reader takes a C1 given as a hex byte in an info area for the end of
// the fields and fills zeros up to the checksum at the next non-zero byte:
// a field whose bytes hold C1 cannot go out as hex (found by fuzzing).
int HexFieldLine(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor, unsigned short u16Count,
                 unsigned char u8Language)
{
    if (std::memchr(psCursor->pu8Data + psCursor->u16Position, FRU_END_OF_FIELDS, u16Count) != nullptr) {
        return RefuseField(pFile, psCursor, "cannot be written as text",
                           "Its text does not read back, and as hex bytes its C1 would end the fields");
    }
    const unsigned int uPerLine =
        psCursor->u32Encoding == FILE_ENCODING_UTF16 ? UTF16_HEX_BYTES_PER_LINE : FRU_MAX_IMAGE_SIZE;
    if (u16Count > uPerLine && !IsEnglish(u8Language)) {
        return RefuseField(pFile, psCursor, "cannot be written as text",
                           "It is too long for one line of a UTF-16 file; choose encoding=utf8");
    }
    std::string sLine;
    for (unsigned int i = 0; i < u16Count; ++i) {
        char achByte[4];
        std::snprintf(achByte, sizeof achByte, "%02X", psCursor->pu8Data[psCursor->u16Position + i]);
        sLine += std::string(i % uPerLine == 0 ? "" : " ") + achByte;
        if ((i + 1) % uPerLine == 0 || i + 1 == u16Count) {
            sLine += "\n";
        }
    }
    if (!Written(WriteLatin1BytesToFile(pFile, pchPath, sLine.data(), sLine.size(), psCursor->u32Encoding), psCursor)) {
        return 0;
    }
    psCursor->u16Position = static_cast<unsigned short>(psCursor->u16Position + u16Count);
    return 1;
}

}  // namespace

int FeedData(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor, unsigned short u16Count)
{
    if (!HasRoom(psCursor, u16Count)) {
        return ReportPastImage();
    }
    for (unsigned int i = 0; i < u16Count; ++i) {
        char achLine[4];
        std::snprintf(achLine, sizeof achLine, "%02X\n", psCursor->pu8Data[psCursor->u16Position + i]);
        if (!Written(WriteLatin1BytesToFile(pFile, pchPath, achLine, 3, psCursor->u32Encoding), psCursor)) {
            return 0;
        }
    }
    psCursor->u16Position = static_cast<unsigned short>(psCursor->u16Position + u16Count);
    return 1;
}

int FeedBlock(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor, unsigned short u16Count,
              unsigned char u8Language, const char* pchAreaTag, int iFieldIndex)
{
    if (u16Count >= 2 && HasRoom(psCursor, u16Count) &&
        !QuotedFieldReadsBack(psCursor, static_cast<unsigned short>(u16Count - 1),
                              IsEnglishField(pchAreaTag, iFieldIndex, u8Language))) {
        return HexFieldLine(pFile, pchPath, psCursor, u16Count, u8Language);
    }
    if (!FeedData(pFile, pchPath, psCursor, 1)) {
        return 0;
    }
    if (u16Count < 2) {
        return 1;  // an empty field: its type/length byte alone
    }
    return FeedQuotedStringInChassisBoardProductArea(
        pFile, pchPath, psCursor, static_cast<unsigned short>(u16Count - 1), u8Language, pchAreaTag, iFieldIndex);
}

int FeedQuotedStringInChassisBoardProductArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor,
                                              unsigned short u16Count, unsigned char u8Language, const char* pchAreaTag,
                                              int iFieldIndex)
{
    if (pFile == nullptr || pchPath == nullptr || psCursor == nullptr || pchAreaTag == nullptr ||
        psCursor->u16Position == 0) {
        std::fputs("<ERROR> Internal Error! \n", stderr);
        return 0;
    }
    if (!HasRoom(psCursor, u16Count)) {
        return ReportPastImage();
    }
    const unsigned char* pu8Field = psCursor->pu8Data + psCursor->u16Position;
    const unsigned char u8Type = psCursor->pu8Data[psCursor->u16Position - 1] >> 6;
    int iResult = 0;
    if (u8Type == 2 || u8Type == 1) {
        char achText[2 * 64 + 4] = {};
        const auto u8Count = static_cast<unsigned char>(u16Count);
        if (u8Type == 2) {
            ConvertSixBitASCIIToASCIIStr(pu8Field, u8Count, achText);
        } else {
            ConvertBCDPlusToASCIIStr(pu8Field, u8Count, achText);
        }
        iResult = QuotedLatin1Line(pFile, pchPath, psCursor, achText);
    } else if (u8Type == 3) {
        if (IsEnglishField(pchAreaTag, iFieldIndex, u8Language)) {
            iResult = QuotedLatin1Line(pFile, pchPath, psCursor,
                                       std::string(reinterpret_cast<const char*>(pu8Field), u16Count));
        } else if (psCursor->u32Encoding == FILE_ENCODING_ASCII) {
            return Refuse(pFile, psCursor, "<ERROR> FRU contains Unicode data",
                          "The file encoding format cannot be ASCII");
        } else {
            iResult = QuotedUnicodeLine(pFile, pchPath, psCursor, u16Count);
        }
    } else {
        return 0;  // binary field data has no text form
    }
    if (iResult == 1) {
        psCursor->u16Position = static_cast<unsigned short>(psCursor->u16Position + u16Count);
    }
    return iResult;
}

int FeedQuotedStringInMultiRecordArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor,
                                      unsigned short u16Count)
{
    if (pFile == nullptr || pchPath == nullptr || psCursor == nullptr) {
        std::fputs("<ERROR> Internal Error! \n", stderr);
        return 0;
    }
    if (!HasRoom(psCursor, u16Count)) {
        return ReportPastImage();
    }
    const std::string sText(reinterpret_cast<const char*>(psCursor->pu8Data + psCursor->u16Position), u16Count);
    if (!QuotedLatin1Line(pFile, pchPath, psCursor, sText)) {
        return 0;
    }
    psCursor->u16Position = static_cast<unsigned short>(psCursor->u16Position + u16Count);
    return 1;
}

int FRUWriteCommonArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor)
{
    return TagLine(pFile, pchPath, psCursor, "_SEE_COMMON") &&
           FeedData(pFile, pchPath, psCursor, FRU_COMMON_HEADER_SIZE);
}

int FRUWriteInternalArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor)
{
    return TagLine(pFile, pchPath, psCursor, "_SEE_INTERNAL") &&
           FeedData(pFile, pchPath, psCursor, InternalAreaLength(psCursor));
}

int FRUWriteChassisArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor)
{
    return WriteInfoArea(pFile, pchPath, psCursor, S_ChassisLayout);
}

int FRUWriteBoardArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor)
{
    return WriteInfoArea(pFile, pchPath, psCursor, S_BoardLayout);
}

int FRUWriteProductArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor)
{
    return WriteInfoArea(pFile, pchPath, psCursor, S_ProductLayout);
}

int FRUWriteMultiRecordArea(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor)
{
    if (!TagLine(pFile, pchPath, psCursor, "_SEE_MULTIRECORD")) {
        return 0;
    }
    for (;;) {
        if (!HasRoom(psCursor, FRU_MULTIRECORD_HEADER_SIZE)) {
            return ReportPastImage();
        }
        const unsigned char* pu8Header = psCursor->pu8Data + psCursor->u16Position;
        const unsigned int uTotal = pu8Header[2] + FRU_MULTIRECORD_HEADER_SIZE;
        const bool bLast = (pu8Header[1] & 0x80) != 0;
        if (!HasRoom(psCursor, uTotal)) {
            return ReportPastImage();
        }
        // Management access records hold text (a URL, a name...), except
        // sub-record type 0x07, a binary ID.
        // Text that would not read back from a quoted line is written as
        // bytes, as any other record is.
        const bool bText = pu8Header[0] == MANAGEMENT_ACCESS_RECORD && pu8Header[2] >= 1 &&
                           pu8Header[FRU_MULTIRECORD_HEADER_SIZE] != MANAGEMENT_ACCESS_SUBTYPE_RAW &&
                           FitsOnAQuotedLine(pu8Header + FRU_MULTIRECORD_HEADER_SIZE + 1, uTotal - 6);
        const int iWritten = bText ? FeedData(pFile, pchPath, psCursor, FRU_MULTIRECORD_HEADER_SIZE + 1) &&
                                         FeedQuotedStringInMultiRecordArea(pFile, pchPath, psCursor,
                                                                           static_cast<unsigned short>(uTotal - 6))
                                   : FeedData(pFile, pchPath, psCursor, static_cast<unsigned short>(uTotal));
        if (!iWritten) {
            return 0;
        }
        if (bLast) {
            return 1;
        }
    }
}

namespace {

int WriteImage(FILE* pFile, const char* pchPath, FRUWriteCursor* psCursor)
{
    static const unsigned char au8Utf8Mark[] = {0xEF, 0xBB, 0xBF};
    static const unsigned char au8Utf16Mark[] = {0xFF, 0xFE};
    if (psCursor->u32Encoding == FILE_ENCODING_UTF8 &&
        !Written(WriteBytesToFile(pFile, pchPath, au8Utf8Mark, sizeof au8Utf8Mark), psCursor)) {
        return 0;
    }
    if (psCursor->u32Encoding == FILE_ENCODING_UTF16 &&
        !Written(WriteBytesToFile(pFile, pchPath, au8Utf16Mark, sizeof au8Utf16Mark), psCursor)) {
        return 0;
    }
    if (!TagLine(pFile, pchPath, psCursor, FRU_TAG_BLOCK_START) || !FRUWriteCommonArea(pFile, pchPath, psCursor)) {
        return 0;
    }
    // The areas follow one another from the cursor on, in header order: the
    // image stands without gaps (the validation made sure of it).
    typedef int (*AreaWriter)(FILE*, const char*, FRUWriteCursor*);
    const AreaWriter apfnWriters[] = {FRUWriteInternalArea, FRUWriteChassisArea, FRUWriteBoardArea, FRUWriteProductArea,
                                      FRUWriteMultiRecordArea};
    for (int iArea = FRU_AREA_INTERNAL; iArea <= FRU_AREA_MULTIRECORD; ++iArea) {
        if (psCursor->pu8Data[iArea] != 0 && !apfnWriters[iArea - FRU_AREA_INTERNAL](pFile, pchPath, psCursor)) {
            return 0;
        }
    }
    return TagLine(pFile, pchPath, psCursor, FRU_TAG_BLOCK_END);
}

}  // namespace

int SaveFRUFile(const char* pchPath, const FRUImage& image, unsigned int u32Encoding)
{
    const unsigned short u16Size = image.u16Size;
    if (pchPath == nullptr || image.au8Bytes.empty() || FRUImageSize(image) != u16Size ||
        u32Encoding > FILE_ENCODING_UTF16) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    const unsigned char* pu8Image = image.au8Bytes.data();
    if (!FRUValidateRawData(pu8Image, u16Size, FRU_CHECK_BMC)) {
        return 0;
    }
    FILE* pFile = std::fopen(pchPath, "wb");
    if (pFile == nullptr) {
        std::fprintf(stderr, "<ERROR> Cannot open file %s! \n", pchPath);
        return 0;
    }
    FRUWriteCursor cursor = {pu8Image, 0, u32Encoding, u16Size, false};
    if (!WriteImage(pFile, pchPath, &cursor)) {
        if (!cursor.bClosed) {
            std::fclose(pFile);
        }
        return 0;
    }
    DebugMessage("\n*** FRU written ***\n");
    DebugMessage("%s", FRU_TAG_BLOCK_END "\n");
    DebugMessage("\n*** End of FRU written ***\n");
    std::fclose(pFile);
    std::printf("The FRU data has been saved in file %s! \n", pchPath);
    return 1;
}
