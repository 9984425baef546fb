#include "fru/fru_image.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <new>

#include "encoding/text_tokens.h"

namespace {

const char* const S_apchTags[FRU_AREA_COUNT] = {"_SEE_COMMON",  "_SEE_INTERNAL",    "_SEE_CHASSIS", "_SEE_BOARD",
                                                "_SEE_PRODUCT", "_SEE_MULTIRECORD", "_SEE_PAD",     "checksum"};

// Every area check starts its message with a line naming the image's source.
void ReportAreaFailure(int iMode, const char* pchFormat, ...) __attribute__((format(printf, 2, 3)));

void ReportAreaFailure(int iMode, const char* pchFormat, ...)
{
    std::fputs(iMode == FRU_CHECK_BMC ? "<ERROR> Incorrect FRU data. \n" : "<ERROR> Incorrect FRU binary file. \n",
               stderr);
    va_list args;
    va_start(args, pchFormat);
    std::vfprintf(stderr, pchFormat, args);
    va_end(args);
}

bool SumsToZero(const unsigned char* pu8Bytes, unsigned int uCount)
{
    return FRUAreaChecksumCorrect(pu8Bytes, static_cast<unsigned short>(uCount), 0) == 1;
}

bool CheckVersion(int iMode, unsigned char u8Version, const char* pchName)
{
    if (u8Version != FRU_FORMAT_VERSION) {
        ReportAreaFailure(iMode, "The version field (0x%02X) in %s Area != 0x%02X. \n", u8Version, pchName,
                          FRU_FORMAT_VERSION);
        return false;
    }
    return true;
}

// Data ends before the bytes [uFrom, uFrom + uCount) do.
bool Beyond(const FRUValidateContext* psContext, unsigned long ulFrom, unsigned long ulCount)
{
    return ulFrom + ulCount > psContext->u16DataSize;
}

int ValidateAreaAt(FRUValidateContext& context, FRUAreaInfo* psTable, int iArea, int iMode)
{
    if (psTable[iArea].u16Offset == 0) {
        return 1;
    }
    switch (iArea) {
    case FRU_AREA_INTERNAL:
        return FRUValidateInternalArea(&context, &psTable[iArea], iMode);
    case FRU_AREA_MULTIRECORD:
        return FRUValidateMultiRecordArea(&context, &psTable[iArea], iMode);
    default:
        return FRUValidateChassisBoardProductArea(&context, &psTable[iArea], iMode);
    }
}

}  // namespace

void InitFRUAreaTable(FRUAreaInfo* psTable)
{
    for (int i = 0; i < FRU_AREA_COUNT; ++i) {
        std::memset(&psTable[i], 0, sizeof psTable[i]);
        std::strcpy(psTable[i].achTagName, S_apchTags[i]);
    }
}

const char* FRUAreaName(const FRUAreaInfo* psArea)
{
    return psArea->achTagName + 5;
}

int FRUValidateRawData(const unsigned char* pu8Data, unsigned short u16Size, int iMode)
{
    if (pu8Data == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    FRUValidateContext context = {0, u16Size, pu8Data};
    FRUAreaInfo asTable[FRU_AREA_COUNT];
    InitFRUAreaTable(asTable);
    if (!FRUValidateCommonArea(&context, asTable, iMode)) {
        return 0;
    }
    for (int iArea = FRU_AREA_INTERNAL; iArea <= FRU_AREA_MULTIRECORD; ++iArea) {
        if (!ValidateAreaAt(context, asTable, iArea, iMode)) {
            return 0;
        }
    }
    // An image from the BMC is its whole inventory area, longer than what
    // it holds; a file must hold nothing beyond its areas.
    if (iMode == FRU_CHECK_BINARY_FILE && CanKnowFRULengthFromCommonArea(asTable) &&
        context.u16ValidatedSize != u16Size) {
        std::fputs("<ERROR> Incorrect FRU file. \n", stderr);
        std::fputs("Found data outside the scope of a FRU record. \n", stderr);
        return 0;
    }
    return 1;
}

int FRUValidateCommonArea(FRUValidateContext* psContext, FRUAreaInfo* psArea, int iMode)
{
    const unsigned char* pu8Header = psContext->pu8Data;
    const char* pchName = FRUAreaName(psArea);
    if (psContext->u16DataSize < FRU_COMMON_HEADER_SIZE) {
        ReportAreaFailure(iMode, "The FRU data length < %d. \n", FRU_COMMON_HEADER_SIZE);
        return 0;
    }
    if (!CheckVersion(iMode, pu8Header[0], pchName)) {
        return 0;
    }
    if (pu8Header[6] != 0) {
        ReportAreaFailure(iMode, "The PAD field (0x%02X) in %s Area != 0x%02X. \n", pu8Header[6], pchName, 0);
        return 0;
    }
    if (!SumsToZero(pu8Header, FRU_COMMON_HEADER_SIZE)) {
        ReportAreaFailure(iMode, "Error checksum in %s Area. \n", pchName);
        return 0;
    }
    if (!FRUGetAreaInfo(pu8Header, iMode, psArea)) {
        return 0;
    }
    psContext->u16ValidatedSize = static_cast<unsigned short>(psContext->u16ValidatedSize + FRU_COMMON_HEADER_SIZE);
    return 1;
}

int FRUGetAreaInfo(const unsigned char* pu8Header, int iMode, FRUAreaInfo* psTable)
{
    for (int i = FRU_AREA_INTERNAL; i <= FRU_AREA_MULTIRECORD; ++i) {
        psTable[i].u16Offset = static_cast<unsigned short>(pu8Header[i] * 8);
        psTable[i].u16Length = 0;
    }
    for (int i = FRU_AREA_INTERNAL; i <= FRU_AREA_MULTIRECORD; ++i) {
        if (psTable[i].u16Offset == 0) {
            continue;
        }
        int j = i + 1;
        while (j <= FRU_AREA_MULTIRECORD && psTable[j].u16Offset == 0) {
            ++j;
        }
        if (j > FRU_AREA_MULTIRECORD) {
            break;  // the last present area: its length is not known
        }
        if (psTable[i].u16Offset >= psTable[j].u16Offset) {
            std::fputs(iMode == FRU_CHECK_BMC ? "<ERROR> Unable to handle the FRU data. \n"
                                              : "<ERROR> Unable to handle the FRU binary file. \n",
                       stderr);
            std::fprintf(stderr, "In %s Area, the %s offset >= %s offset. \n", FRUAreaName(&psTable[FRU_AREA_COMMON]),
                         FRUAreaName(&psTable[i]), FRUAreaName(&psTable[j]));
            return 0;
        }
        psTable[i].u16Length = static_cast<unsigned short>(psTable[j].u16Offset - psTable[i].u16Offset);
    }
    return 1;
}

int FRUValidateInternalArea(FRUValidateContext* psContext, const FRUAreaInfo* psArea, int iMode)
{
    // As the last area, only its version byte can be accounted for.
    const unsigned short u16Length = psArea->u16Length != 0 ? psArea->u16Length : 1;
    if (Beyond(psContext, psArea->u16Offset, u16Length)) {
        ReportAreaFailure(iMode, "Data is insufficient in %s Area. \n", FRUAreaName(psArea));
        return 0;
    }
    if (!CheckVersion(iMode, psContext->pu8Data[psArea->u16Offset], FRUAreaName(psArea))) {
        return 0;
    }
    psContext->u16ValidatedSize = static_cast<unsigned short>(psContext->u16ValidatedSize + u16Length);
    return 1;
}

int FRUValidateChassisBoardProductArea(FRUValidateContext* psContext, const FRUAreaInfo* psArea, int iMode)
{
    const char* pchName = FRUAreaName(psArea);
    const unsigned short u16Offset = psArea->u16Offset;
    if (Beyond(psContext, u16Offset, 2)) {
        ReportAreaFailure(iMode, "Data is insufficient in %s Area. \n", pchName);
        return 0;
    }
    const unsigned char* pu8Area = psContext->pu8Data + u16Offset;
    if (!CheckVersion(iMode, pu8Area[0], pchName)) {
        return 0;
    }
    const unsigned char u8LengthUnits = pu8Area[1];
    const unsigned int uLength = u8LengthUnits * 8u;
    if (u8LengthUnits == 0) {
        ReportAreaFailure(iMode, "The area length field (0x%02X) in %s Area is not correct. \n", u8LengthUnits,
                          pchName);
        return 0;
    }
    if (psArea->u16Length != 0 && psArea->u16Length != uLength) {
        ReportAreaFailure(iMode,
                          "The area length field (0x%02X) in %s Area is not consistent with the information in %s "
                          "Area. \n",
                          u8LengthUnits, pchName, "COMMON");
        return 0;
    }
    if (Beyond(psContext, u16Offset, uLength)) {
        ReportAreaFailure(iMode, "Data is insufficient in %s Area. \n", pchName);
        return 0;
    }
    if (!SumsToZero(pu8Area, uLength)) {
        ReportAreaFailure(iMode, "Error checksum in %s Area. \n", pchName);
        return 0;
    }
    psContext->u16ValidatedSize = static_cast<unsigned short>(psContext->u16ValidatedSize + uLength);
    return 1;
}

int FRUValidateMultiRecordArea(FRUValidateContext* psContext, const FRUAreaInfo* psArea, int iMode)
{
    const char* pchName = FRUAreaName(psArea);
    const unsigned long ulStart = psArea->u16Offset;
    const unsigned long ulValidated = psContext->u16ValidatedSize;
    unsigned long ulConsumed = 0;
    bool bLastSeen = false;
    // The bounds are taken from the size validated so far (areas stand
    // without gaps); the reads are also kept inside the data.
    for (int iRecord = 1;; ++iRecord) {
        if (bLastSeen) {
            psContext->u16ValidatedSize = static_cast<unsigned short>(ulValidated + ulConsumed);
            return 1;
        }
        if (Beyond(psContext, ulValidated + ulConsumed, FRU_MULTIRECORD_HEADER_SIZE) ||
            Beyond(psContext, ulStart + ulConsumed, FRU_MULTIRECORD_HEADER_SIZE)) {
            ReportAreaFailure(iMode, "Data is insufficient in %s Area record %d's header. \n", pchName, iRecord);
            return 0;
        }
        const unsigned char* pu8Header = psContext->pu8Data + ulStart + ulConsumed;
        bLastSeen = (pu8Header[1] & 0x80) != 0;
        const unsigned char u8DataLength = pu8Header[2];
        const unsigned char u8DataChecksum = pu8Header[3];
        if (!SumsToZero(pu8Header, FRU_MULTIRECORD_HEADER_SIZE)) {
            ReportAreaFailure(iMode, "Error checksum in %s Area record %d's header. \n", pchName, iRecord);
            return 0;
        }
        ulConsumed += FRU_MULTIRECORD_HEADER_SIZE;
        if (Beyond(psContext, ulValidated + ulConsumed, u8DataLength) ||
            Beyond(psContext, ulStart + ulConsumed, u8DataLength)) {
            ReportAreaFailure(iMode, "Data is insufficient in %s Area record %d's record data. \n", pchName, iRecord);
            return 0;
        }
        if (!FRUAreaChecksumCorrect(psContext->pu8Data + ulStart + ulConsumed, u8DataLength, u8DataChecksum)) {
            ReportAreaFailure(iMode, "Error checksum in %s Area record %d's record data. \n", pchName, iRecord);
            return 0;
        }
        ulConsumed += u8DataLength;
    }
}

int CanKnowFRULengthFromCommonArea(const FRUAreaInfo* psTable)
{
    bool bOthers = false;
    for (int i = FRU_AREA_CHASSIS; i <= FRU_AREA_MULTIRECORD; ++i) {
        bOthers = bOthers || psTable[i].u16Offset != 0;
    }
    return (psTable[FRU_AREA_INTERNAL].u16Offset != 0 && !bOthers) ? 0 : 1;
}

int FRUAreaChecksumCorrect(const unsigned char* pu8Bytes, unsigned short u16Count, unsigned char u8Checksum)
{
    unsigned int uSum = u8Checksum;
    for (unsigned int i = 0; i < u16Count; ++i) {
        uSum += pu8Bytes[i];
    }
    return (uSum & 0xFF) == 0 ? 1 : 0;
}

namespace {

unsigned int Larger(unsigned int uA, unsigned int uB)
{
    return uA > uB ? uA : uB;
}

// The multirecord area's end: its records walked to the one marked last.
unsigned int MultiRecordEnd(const unsigned char* pu8Data, unsigned int uHave, unsigned int uStart, bool* pbKnown)
{
    unsigned int uAt = uStart;
    for (;;) {
        if (uHave < uAt + FRU_MULTIRECORD_HEADER_SIZE) {
            *pbKnown = false;
            return uAt + FRU_MULTIRECORD_HEADER_SIZE;
        }
        const unsigned int uEnd = uAt + FRU_MULTIRECORD_HEADER_SIZE + pu8Data[uAt + 2];
        if ((pu8Data[uAt + 1] & 0x80) != 0 || uEnd > FRU_MAX_IMAGE_SIZE) {
            return uEnd;
        }
        uAt = uEnd;
    }
}

}  // namespace

unsigned int FRUImageExtent(const unsigned char* pu8Data, unsigned int uHave, bool* pbKnown)
{
    *pbKnown = false;
    if (uHave < FRU_COMMON_HEADER_SIZE) {
        return FRU_COMMON_HEADER_SIZE;
    }
    *pbKnown = true;
    if (pu8Data[0] != FRU_FORMAT_VERSION || !FRUAreaChecksumCorrect(pu8Data, FRU_COMMON_HEADER_SIZE, 0)) {
        return 0;
    }
    unsigned int uExtent = FRU_COMMON_HEADER_SIZE;
    unsigned int uNeed = 0;
    for (int iArea = FRU_AREA_CHASSIS; iArea <= FRU_AREA_PRODUCT; ++iArea) {
        const unsigned int uStart = pu8Data[iArea] * 8u;
        if (uStart == 0) {
            continue;
        }
        if (uHave < uStart + 2) {
            uNeed = Larger(uNeed, uStart + 2);  // its length byte
            continue;
        }
        uExtent = Larger(uExtent, uStart + pu8Data[uStart + 1] * 8u);
    }
    const unsigned int uInternal = pu8Data[FRU_AREA_INTERNAL] * 8u;
    if (uInternal != 0) {
        // It ends where the next area starts; with none after it, nothing
        // tells where.
        unsigned int uNext = 0;
        for (int iArea = FRU_AREA_CHASSIS; iArea <= FRU_AREA_MULTIRECORD; ++iArea) {
            const unsigned int uStart = pu8Data[iArea] * 8u;
            if (uStart > uInternal && (uNext == 0 || uStart < uNext)) {
                uNext = uStart;
            }
        }
        if (uNext == 0) {
            return 0;
        }
        uExtent = Larger(uExtent, uNext);
    }
    const unsigned int uMultiRecord = pu8Data[FRU_AREA_MULTIRECORD] * 8u;
    if (uMultiRecord != 0) {
        bool bKnown = true;
        const unsigned int uEnd = MultiRecordEnd(pu8Data, uHave, uMultiRecord, &bKnown);
        if (!bKnown) {
            uNeed = Larger(uNeed, uEnd);
        } else {
            uExtent = Larger(uExtent, uEnd);
        }
    }
    if (uNeed != 0) {
        *pbKnown = false;
        return Larger(uNeed, uHave + 1);
    }
    return uExtent;
}

unsigned short FRUImageSize(const FRUImage& image)
{
    return image.u16Size <= image.au8Bytes.size() ? image.u16Size : 0;
}

FRUImage MakeFRUImage(const unsigned char* pu8Bytes, unsigned long ulCount)
{
    FRUImage image;
    const unsigned long ulKept = ulCount < FRU_MAX_IMAGE_SIZE ? ulCount : FRU_MAX_IMAGE_SIZE;
    if (pu8Bytes != nullptr) {
        image.au8Bytes.assign(pu8Bytes, pu8Bytes + ulKept);
        image.u16Size = static_cast<unsigned short>(ulKept);
    }
    return image;
}

int ReserveFRUImageRoom(FRUImage* psImage, unsigned long ulBytes)
{
    psImage->u16Size = 0;
    try {
        psImage->au8Bytes.assign(ulBytes, 0);
    } catch (const std::bad_alloc&) {
        psImage->au8Bytes.clear();
        return 0;
    }
    return 1;
}

int AllocateFRUImage(FRUImage* psImage, unsigned long ulFileSize)
{
    // A text file is longer than the image it spells out, but the padding
    // the reader supplies after C1 is not in the file: room for any image.
    return ReserveFRUImageRoom(psImage, ulFileSize > FRU_MAX_IMAGE_SIZE + 1 ? ulFileSize : FRU_MAX_IMAGE_SIZE + 1);
}

unsigned int FRUImageRoom(const FRUImage& image)
{
    const unsigned long ulCapacity = image.au8Bytes.size();
    if (ulCapacity <= image.u16Size) {
        return 0;
    }
    const unsigned long ulRoom = ulCapacity - image.u16Size;
    const unsigned long ulBelowLimit = FRU_MAX_IMAGE_SIZE - image.u16Size;
    return static_cast<unsigned int>(ulRoom < ulBelowLimit ? ulRoom : ulBelowLimit);
}

int AppendFRUBytes(FRUImage* psImage, const unsigned char* pu8Bytes, unsigned int uCount)
{
    if (uCount > FRUImageRoom(*psImage)) {
        return 0;
    }
    std::memcpy(psImage->au8Bytes.data() + psImage->u16Size, pu8Bytes, uCount);
    psImage->u16Size = static_cast<unsigned short>(psImage->u16Size + uCount);
    return 1;
}

int FRUReadRawData(FILE* pFile, FRUImage* psImage)
{
    unsigned char au8Piece[4096];
    size_t uRead = 0;
    while ((uRead = std::fread(au8Piece, 1, sizeof au8Piece, pFile)) > 0) {
        if (!AppendFRUBytes(psImage, au8Piece, static_cast<unsigned int>(uRead))) {
            return 0;  // no FRU image is larger than 64 KiB
        }
    }
    return 1;
}

int FRUSearchInvalidArea(TextReaderContext* psContext, char* pchLine)
{
    if (psContext == nullptr || pchLine == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    TrimComment(pchLine);
    TrimSideSpace(pchLine);
    while (pchLine[0] == '\0') {
        const eTextLineResult eResult = ReadTextLine(psContext, pchLine, ENCODING_LINE_BUFFER_SIZE);
        if (eResult == TEXT_LINE_END_OF_FILE) {
            return 0;
        }
        TrimLeadingSpace(pchLine);
        // A line not read whole counts as data unless it is a comment.
        if (eResult != TEXT_LINE_READ && std::strncmp(pchLine, "//", 2) != 0) {
            return 1;
        }
        TrimComment(pchLine);
        TrimSideSpace(pchLine);
    }
    return 1;
}

int FRUCompare(const FRUImage& local, const FRUImage& inventory)
{
    if (local.u16Size == 0) {
        return 1;
    }
    // An inventory shorter than the file's image cannot hold the same bytes.
    if (inventory.u16Size < local.u16Size || local.au8Bytes.size() < local.u16Size ||
        inventory.au8Bytes.size() < local.u16Size) {
        return 0;
    }
    return std::memcmp(local.au8Bytes.data(), inventory.au8Bytes.data(), local.u16Size) == 0 ? 1 : 0;
}

namespace {

struct AreaSpan {
    eFRUArea eArea;
    unsigned int uFrom;
    unsigned int uTo;
};

// The areas the local image's header names, in the order of their offsets,
// each up to the next; the whole image when the header names none it holds.
std::vector<AreaSpan> AreaSpans(const unsigned char* pu8Bytes, unsigned int uSize)
{
    std::vector<AreaSpan> asSpans;
    if (uSize < FRU_COMMON_HEADER_SIZE) {
        return {{FRU_AREA_COUNT, 0, uSize}};
    }
    asSpans.push_back({FRU_AREA_COMMON, 0, FRU_COMMON_HEADER_SIZE});
    for (int i = FRU_AREA_INTERNAL; i <= FRU_AREA_MULTIRECORD; ++i) {
        const unsigned int uOffset = pu8Bytes[i] * 8u;
        if (uOffset >= FRU_COMMON_HEADER_SIZE && uOffset < uSize) {
            asSpans.push_back({static_cast<eFRUArea>(i), uOffset, uSize});
        }
    }
    std::stable_sort(asSpans.begin(), asSpans.end(),
                     [](const AreaSpan& a, const AreaSpan& b) { return a.uFrom < b.uFrom; });
    for (size_t i = 0; i + 1 < asSpans.size(); ++i) {
        asSpans[i].uTo = std::max(asSpans[i].uFrom, asSpans[i + 1].uFrom);
    }
    return asSpans;
}

}  // namespace

std::vector<FRUAreaDifference> FRUAreaDifferences(const FRUImage& local, const FRUImage& inventory)
{
    std::vector<FRUAreaDifference> asDifferences;
    const unsigned int uSize = FRUImageSize(local);
    const unsigned int uHave = FRUImageSize(inventory);
    for (const AreaSpan& span : AreaSpans(local.au8Bytes.data(), uSize)) {
        const unsigned int uBMCTo = std::min(span.uTo, std::max(uHave, span.uFrom));
        const auto itFile = local.au8Bytes.begin();
        const auto itBMC = inventory.au8Bytes.begin();
        const bool bSame = uBMCTo == span.uTo && std::equal(itFile + span.uFrom, itFile + span.uTo, itBMC + span.uFrom);
        if (!bSame) {
            FRUAreaDifference difference;
            difference.eArea = span.eArea;
            difference.u16Offset = static_cast<unsigned short>(span.uFrom);
            difference.au8FileBytes.assign(itFile + span.uFrom, itFile + span.uTo);
            difference.au8BMCBytes.assign(itBMC + span.uFrom, itBMC + uBMCTo);
            asDifferences.push_back(std::move(difference));
        }
    }
    return asDifferences;
}
