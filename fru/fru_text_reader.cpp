#include "fru/fru_text_reader.h"

#include <cstdio>
#include <cstring>

#include "base/trace.h"
#include "encoding/text_tokens.h"
#include "fru/fru_text_common.h"

namespace {

enum TokenStatus { TOKEN_FOUND, TOKEN_END_OF_FILE, TOKEN_FAILED };

// The next token of the line buffer, comments removed, reading further
// lines while the buffer yields none.
TokenStatus NextToken(TextReaderContext* psContext, char* pchLine, char* pchToken)
{
    for (;;) {
        ParseNonQuotedData(pchLine, pchToken, 0);
        if (pchToken[0] != '\0') {
            return TOKEN_FOUND;
        }
        const eTextLineResult eResult = ReadTextLine(psContext, pchLine, FRU_LINE_BUFFER_SIZE);
        if (eResult == TEXT_LINE_END_OF_FILE) {
            return TOKEN_END_OF_FILE;
        }
        if (eResult != TEXT_LINE_READ) {
            std::fputs("<ERROR> Incorrect FRU file.\n", stderr);
            PrintTextLineProblem(stderr, psContext, eResult, FRU_LINE_BUFFER_SIZE);
            return TOKEN_FAILED;
        }
    }
}

// The rest of the line starts with the delimiter that ended the token, so
// token and rest together are never longer than the line they came from.
void PutTokenBack(char* pchLine, const char* pchToken)
{
    const std::size_t uToken = std::strlen(pchToken);
    const std::size_t uRest = std::strlen(pchLine);
    const std::size_t uKeep = uRest < FRU_LINE_BUFFER_SIZE - 1 - uToken ? uRest : FRU_LINE_BUFFER_SIZE - 1 - uToken;
    std::memmove(pchLine + uToken, pchLine, uKeep);
    pchLine[uToken + uKeep] = '\0';
    std::memcpy(pchLine, pchToken, uToken);
}

// A context that can be read into: the steps' null-pointer check.
bool HasImage(const FRUReaderContext* psContext)
{
    return psContext != nullptr && psContext->psImage != nullptr;
}

bool ReportInternalError()
{
    std::fputs("<ERROR> Internal Error!\n", stderr);
    return false;
}

int LineNumber(const TextReaderContext* psContext)
{
    return psContext->u16LineNumber;
}

const unsigned char* Image(const FRUReaderContext* psContext)
{
    return psContext->psImage->au8Bytes.data();
}

unsigned short ImageSize(const FRUReaderContext* psContext)
{
    return psContext->psImage->u16Size;
}

bool CheckAreaOffset(FRUReaderContext* psContext, const FRUAreaInfo* psArea)
{
    if (psArea->u16Offset != ImageSize(psContext)) {
        ReportFRUFileError("The offset to %s Area is not correct. \n", FRUAreaName(psArea));
        return false;
    }
    return true;
}

int InfoAreaIndex(const FRUAreaInfo* psArea)
{
    if (psArea == nullptr) {
        return -1;
    }
    for (int iArea = FRU_AREA_CHASSIS; iArea <= FRU_AREA_PRODUCT; ++iArea) {
        FRUAreaInfo asTable[FRU_AREA_COUNT];
        InitFRUAreaTable(asTable);
        if (std::strcmp(psArea->achTagName, asTable[iArea].achTagName) == 0) {
            return iArea;
        }
    }
    return -1;
}

// Bytes before the field block of each info area, after version and length.
unsigned int LeadingByteCount(int iArea)
{
    return iArea == FRU_AREA_BOARD ? 4 : 1;
}

bool ReadAreaHeader(FRUReaderContext* psContext, const FRUAreaInfo* psArea, char* pchLine,
                    unsigned char* pu8LengthUnits)
{
    const char* pchName = FRUAreaName(psArea);
    const unsigned short u16Start = ImageSize(psContext);
    if (!FRUReadHexBlock(psContext, pchName, 2, pchLine)) {
        return false;
    }
    const unsigned char u8Version = Image(psContext)[u16Start];
    const unsigned char u8LengthUnits = Image(psContext)[u16Start + 1];
    if (u8Version != FRU_FORMAT_VERSION) {
        ReportFRUFileError("The area version field (0x%02X) in %s Area is not correct. (line %d) \n", u8Version,
                           pchName, LineNumber(psContext));
        return false;
    }
    if (psArea->u16Length != 0 && psArea->u16Length != u8LengthUnits * 8u) {
        ReportFRUFileError(
            "The area length field (0x%02X) in %s Area is not consistent with the information in %s Area. (line %d) \n",
            u8LengthUnits, pchName, "COMMON", LineNumber(psContext));
        return false;
    }
    // An area of no length would leave its field block a negative size.
    if (u8LengthUnits == 0) {
        ReportFRUFileError("The area length field (0x%02X) in %s Area is not correct. (line %d) \n", u8LengthUnits,
                           pchName, LineNumber(psContext));
        return false;
    }
    *pu8LengthUnits = u8LengthUnits;
    return true;
}

bool ReportPosition(bool bOk, const char* pchMessage)
{
    if (!bOk) {
        std::fputs(pchMessage, stderr);
    }
    return bOk;
}

// Looks ahead for a second start tag, then goes back.
bool HasSecondStartTag(TextReaderContext* psContext, bool* pbFailed)
{
    const long lPosition = std::ftell(psContext->pFile);
    const unsigned short u16Line = psContext->u16LineNumber;
    *pbFailed = !ReportPosition(lPosition >= 0, "<ERROR> Get current file-position indicator failed. \n");
    if (*pbFailed) {
        return false;
    }
    int iIgnored = 0;
    const bool bFound = FRUReadBlockStartTag(psContext, &iIgnored) == 1;
    *pbFailed = !ReportPosition(std::fseek(psContext->pFile, lPosition, SEEK_SET) == 0,
                                "<ERROR> Set current file-position indicator failed. \n");
    psContext->u16LineNumber = u16Line;
    return bFound;
}

int ReadBinaryImage(FRUReaderContext* psContext)
{
    std::printf("Recognize FRU File as binary format ");
    std::rewind(psContext->pFile);
    psContext->psImage->u16Size = 0;
    if (!FRUReadRawData(psContext->pFile, psContext->psImage)) {
        std::fprintf(stderr, "<ERROR> %s is not a correct FRU file. \n", psContext->achFilePath);
        return 0;
    }
    return FRUValidateRawData(Image(psContext), ImageSize(psContext), FRU_CHECK_BINARY_FILE);
}

int ReadAreas(FRUReaderContext* psContext, char* pchLine)
{
    FRUAreaInfo asTable[FRU_AREA_COUNT];
    InitFRUAreaTable(asTable);
    pchLine[0] = '\0';
    if (!FRUReadCommonArea(psContext, pchLine) || !FRUGetAreaInfo(Image(psContext), FRU_CHECK_BINARY_FILE, asTable)) {
        return 0;
    }
    if (asTable[FRU_AREA_INTERNAL].u16Offset != 0) {
        DebugMessage("[debug] read internal\n");
        if (!FRUReadInternalArea(psContext, &asTable[FRU_AREA_INTERNAL], pchLine)) {
            return 0;
        }
    }
    for (int iArea = FRU_AREA_CHASSIS; iArea <= FRU_AREA_PRODUCT; ++iArea) {
        if (asTable[iArea].u16Offset == 0) {
            continue;
        }
        DebugMessage("[debug] Current token = `%s'\n", pchLine);
        if (!FRUReadChassisBoardProductArea(psContext, &asTable[iArea], pchLine)) {
            return 0;
        }
    }
    if (asTable[FRU_AREA_MULTIRECORD].u16Offset != 0 && !FRUReadMultiRecordArea(psContext, pchLine)) {
        return 0;
    }
    return 1;
}

int ReadTextImage(FRUReaderContext* psContext, int iDataBefore)
{
    if (iDataBefore) {
        ReportFRUFileError("Find FRU tag/data outside the '_FRU( )' block.\n");
        return 0;
    }
    bool bFailed = false;
    if (HasSecondStartTag(psContext, &bFailed)) {
        ReportFRUFileError("Multiple '%s' tag is NOT allowed. \n", FRU_TAG_BLOCK_START);
        return 0;
    }
    char achLine[FRU_LINE_BUFFER_SIZE] = {};
    if (bFailed || !ReadAreas(psContext, achLine) || !SearchAreaTag(psContext, FRU_TAG_BLOCK_END, achLine)) {
        return 0;
    }
    if (FRUSearchInvalidArea(psContext, achLine)) {
        ReportFRUFileError("Find FRU tag/data outside the '_FRU( )' block. \n");
        return 0;
    }
    if (ImageSize(psContext) == 0) {
        ReportFRUFileError("No FRU data in file %s. \n", psContext->achFilePath);
        return 0;
    }
    return 1;
}

long MeasureFileSize(FILE* pFile)
{
    unsigned char au8Piece[255];
    long lSize = 0;
    size_t uRead = 0;
    while ((uRead = std::fread(au8Piece, 1, sizeof au8Piece, pFile)) > 0) {
        lSize += static_cast<long>(uRead);
    }
    return lSize;
}

}  // namespace

int FRUReadBlockStartTag(TextReaderContext* psContext, int* piDataBefore)
{
    char achLine[FRU_LINE_BUFFER_SIZE];
    // Whatever the line's state (a binary file has no lines to speak of),
    // only its start is looked at.
    while (ReadTextLine(psContext, achLine, sizeof achLine) != TEXT_LINE_END_OF_FILE) {
        TrimComment(achLine);
        TrimSideSpace(achLine);
        if (std::strstr(achLine, FRU_TAG_BLOCK_START) != nullptr) {
            if (std::strcmp(achLine, FRU_TAG_BLOCK_START) != 0) {
                *piDataBefore = 1;
            }
            return 1;
        }
        if (achLine[0] != '\0') {
            *piDataBefore = 1;
        }
    }
    return 0;
}

int SearchAreaTag(TextReaderContext* psContext, const char* pchTag, char* pchLine)
{
    if (psContext == nullptr || pchTag == nullptr || pchLine == nullptr) {
        return ReportInternalError();
    }
    char achToken[TEXT_TOKEN_BUFFER_SIZE];
    switch (NextToken(psContext, pchLine, achToken)) {
    case TOKEN_END_OF_FILE:
        ReportFRUFileError("Lack '%s' tag in FRU file. \n", pchTag);
        return 0;
    case TOKEN_FAILED:
        return 0;
    default:
        break;
    }
    if (std::strcmp(achToken, pchTag) != 0) {
        ReportFRUFileError("Error data '%s', it should be '%s' in FRU file. (line %d) \n", achToken, pchTag,
                           LineNumber(psContext));
        return 0;
    }
    return 1;
}

int FRUReadHexBlock(FRUReaderContext* psContext, const char* pchAreaName, unsigned short u16Count, char* pchLine)
{
    if (!HasImage(psContext) || pchAreaName == nullptr || pchLine == nullptr) {
        return ReportInternalError();
    }
    char achToken[TEXT_TOKEN_BUFFER_SIZE];
    for (unsigned int uAppended = 0; uAppended < u16Count; ++uAppended) {
        const TokenStatus eStatus = NextToken(psContext, pchLine, achToken);
        if (eStatus == TOKEN_END_OF_FILE) {
            ReportFRUFileError("%s Area is not complete. \n", pchAreaName);
            return 0;
        }
        if (eStatus == TOKEN_FAILED) {
            return 0;
        }
        // The next area's tag or the end tag ends the block early; the
        // token goes back in front of the rest of its line.
        if (achToken[0] == ')' || std::strncmp(achToken, "_SEE_", 5) == 0) {
            PutTokenBack(pchLine, achToken);
            return 1;
        }
        unsigned char u8Byte = 0;
        if (!ParseHexByteToken(achToken, &u8Byte)) {
            ReportFRUFileError("'%s' is not a Hex byte data in %s Area. (line %d) \n", achToken, pchAreaName,
                               LineNumber(psContext));
            return 0;
        }
        if (!AppendImageBytes(psContext->psImage, &u8Byte, 1, pchAreaName)) {
            return 0;
        }
    }
    return 1;
}

int FRUReadCommonArea(FRUReaderContext* psContext, char* pchLine)
{
    if (!HasImage(psContext)) {
        return ReportInternalError();
    }
    if (!SearchAreaTag(psContext, "_SEE_COMMON", pchLine) || !FRUReadHexBlock(psContext, "COMMON", 1, pchLine)) {
        return 0;
    }
    if (Image(psContext)[0] != FRU_FORMAT_VERSION) {
        ReportFRUFileError("The version field (0x%02X) in %s Area != 0x%02X. (line %d) \n", Image(psContext)[0],
                           "COMMON", FRU_FORMAT_VERSION, LineNumber(psContext));
        return 0;
    }
    if (!FRUReadHexBlock(psContext, "COMMON", 6, pchLine)) {
        return 0;
    }
    if (Image(psContext)[6] != 0) {
        // The expected value prints as "002X": that is how this message has
        // always read.
        ReportFRUFileError("The PAD field (0x%02X) in %s Area != %x02X. (line %d) \n", Image(psContext)[6], "COMMON", 0,
                           LineNumber(psContext));
        return 0;
    }
    if (!FRUReadHexBlock(psContext, "COMMON", 1, pchLine)) {
        return 0;
    }
    if (!FRUAreaChecksumCorrect(Image(psContext), FRU_COMMON_HEADER_SIZE, 0)) {
        ReportFRUFileError("Error checksum in %s Header in FRU file. \n", "COMMON");
        return 0;
    }
    return 1;
}

int FRUReadInternalArea(FRUReaderContext* psContext, const FRUAreaInfo* psArea, char* pchLine)
{
    if (!HasImage(psContext) || psArea == nullptr) {
        return ReportInternalError();
    }
    if (!SearchAreaTag(psContext, psArea->achTagName, pchLine) || !CheckAreaOffset(psContext, psArea)) {
        return 0;
    }
    // As the last area it runs to the next tag or the end tag.
    const unsigned short u16Count = psArea->u16Length != 0 ? psArea->u16Length : 0xFFFF;
    return FRUReadHexBlock(psContext, FRUAreaName(psArea), u16Count, pchLine);
}

int FRUReadChassisBoardProductArea(FRUReaderContext* psContext, const FRUAreaInfo* psArea, char* pchLine)
{
    const int iArea = InfoAreaIndex(psArea);
    if (!HasImage(psContext) || iArea < 0 || pchLine == nullptr) {
        return ReportInternalError();
    }
    const char* pchName = FRUAreaName(psArea);
    unsigned char u8LengthUnits = 0;
    if (!SearchAreaTag(psContext, psArea->achTagName, pchLine) || !CheckAreaOffset(psContext, psArea) ||
        !ReadAreaHeader(psContext, psArea, pchLine, &u8LengthUnits)) {
        return 0;
    }
    // Chassis type, or language code (board, product); then the board's
    // manufacturing date/time. Only board and product fields may be Unicode.
    const unsigned short u16LanguagePosition = ImageSize(psContext);
    if (!FRUReadHexBlock(psContext, pchName, 1, pchLine) ||
        (iArea == FRU_AREA_BOARD && !FRUReadHexBlock(psContext, pchName, 3, pchLine))) {
        return 0;
    }
    const unsigned char u8Language = iArea == FRU_AREA_CHASSIS ? 0 : Image(psContext)[u16LanguagePosition];
    const unsigned int uAreaLength = u8LengthUnits * 8u;
    const unsigned int uFieldBytes = uAreaLength - 2 - LeadingByteCount(iArea);
    if (!FRUReadHexDataQuotedStringMixBlockWithLanguageCode(
            psContext, pchName, static_cast<unsigned short>(uFieldBytes), pchLine, u8Language)) {
        return 0;
    }
    if (ImageSize(psContext) < uAreaLength ||
        !FRUAreaChecksumCorrect(Image(psContext) + ImageSize(psContext) - uAreaLength,
                                static_cast<unsigned short>(uAreaLength), 0)) {
        ReportFRUFileError("Error checksum in %s Area in FRU file. \n", pchName);
        return 0;
    }
    DebugMessage("[debug] FRUAreaChecksumCorrect check sum ok\n");
    return 1;
}

int FRUReadMultiRecordArea(FRUReaderContext* psContext, char* pchLine)
{
    if (!HasImage(psContext)) {
        return ReportInternalError();
    }
    if (!SearchAreaTag(psContext, "_SEE_MULTIRECORD", pchLine)) {
        return 0;
    }
    const char* pchName = "MULTIRECORD";
    bool bLastHadEndOfList = false;
    for (int iRecord = 0;; ++iRecord) {
        const unsigned short u16Start = ImageSize(psContext);
        if (!FRUReadHexBlock(psContext, pchName, FRU_MULTIRECORD_HEADER_SIZE, pchLine)) {
            return 0;
        }
        if (ImageSize(psContext) - u16Start < static_cast<int>(FRU_MULTIRECORD_HEADER_SIZE)) {
            if (TrimLeadingSpace(pchLine)[0] == ')') {
                break;  // the end tag: the list is over
            }
            // Another area's tag: the header is cut short, and its missing
            // bytes must not be taken from whatever lies past the image.
            ReportFRUFileError("Record %d's header in %s Area is not complete. (line %d) \n", iRecord, pchName,
                               LineNumber(psContext));
            return 0;
        }
        const unsigned char* pu8Header = Image(psContext) + u16Start;
        if (!FRUAreaChecksumCorrect(pu8Header, FRU_MULTIRECORD_HEADER_SIZE, 0)) {
            ReportFRUFileError("Error checksum in %s Area record %d's header in FRU file. \n", pchName, iRecord);
            return 0;
        }
        const bool bEndOfList = (pu8Header[1] & 0x80) != 0;
        const unsigned char u8DataLength = pu8Header[2];
        const unsigned char u8DataChecksum = pu8Header[3];
        if (!FRUReadHexDataQuotedStringMixBlockWithLanguageCode(psContext, pchName, u8DataLength, pchLine, 0)) {
            return 0;
        }
        if (!FRUAreaChecksumCorrect(Image(psContext) + u16Start + FRU_MULTIRECORD_HEADER_SIZE, u8DataLength,
                                    u8DataChecksum)) {
            ReportFRUFileError("Error checksum in %s Area record %d's record data in FRU file. \n", pchName, iRecord);
            return 0;
        }
        bLastHadEndOfList = bEndOfList;
    }
    if (!bLastHadEndOfList) {
        ReportFRUFileError("'%s' is found but the record is not the last one in %s Area. \n", FRU_TAG_BLOCK_END,
                           pchName);
        return 0;
    }
    return 1;
}

int ReadFRUFile(const char* pchPath, FRUImage* psImage)
{
    if (pchPath == nullptr || psImage == nullptr) {
        return ReportInternalError();
    }
    psImage->u16Size = 0;
    unsigned int u32Encoding = FILE_ENCODING_ASCII;
    if (!GetReaderFileEncoding(pchPath, &u32Encoding)) {
        return 0;
    }
    FILE* pFile = std::fopen(pchPath, "rb");
    if (pFile == nullptr) {
        std::fprintf(stderr, "<ERROR> Failure to open FRU file %s.", pchPath);
        return 0;
    }
    const long lSize = MeasureFileSize(pFile);
    if (lSize == 0) {
        std::fprintf(stderr, "<ERROR> FRU file empty, %s.", pchPath);
        std::fclose(pFile);
        return 0;
    }
    if (!AllocateFRUImage(psImage, static_cast<unsigned long>(lSize))) {
        std::fputs("<ERROR> FRU Memory allocation error! ", stderr);
        std::fclose(pFile);
        return 0;
    }
    FRUReaderContext context;
    context.psImage = psImage;
    if (!InitTextReader(&context, pchPath, pFile, u32Encoding)) {
        std::fclose(pFile);
        return 0;
    }
    int iResult = 0;
    int iDataBefore = 0;
    if (SkipByteOrderMark(&context)) {
        iResult = FRUReadBlockStartTag(&context, &iDataBefore) ? ReadTextImage(&context, iDataBefore)
                                                               : ReadBinaryImage(&context);
    }
    ReleaseTextReader(&context);
    return iResult;
}
