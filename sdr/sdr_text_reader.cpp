#include "sdr/sdr_text_reader.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "encoding/fru_field_encoding.h"
#include "encoding/text_tokens.h"
#include "sdr/sdr_binary_reader.h"
#include "sdr/sdr_text_format.h"

namespace {

void ReportFormatError(const char* pchFormat, ...) __attribute__((format(printf, 1, 2)));

// Every text-format error: the lead line, then the message.
void ReportFormatError(const char* pchFormat, ...)
{
    std::fputs("<ERROR> SDR file format error.\n", stderr);
    va_list args;
    va_start(args, pchFormat);
    std::vfprintf(stderr, pchFormat, args);
    va_end(args);
}

int LineNumber(const TextReaderContext* psContext)
{
    return psContext->u16LineNumber;
}

// A line the reader must interpret but could not read whole.
void ReportUnreadableLine(const TextReaderContext* psContext, eTextLineResult eResult)
{
    std::fputs("<ERROR> SDR file format error.\n", stderr);
    PrintTextLineProblem(stderr, psContext, eResult, SDR_LINE_BUFFER_SIZE);
}

enum LineStatus { LINE_READ, LINE_END, LINE_FAILED };

// The next line for a reader that interprets every line.
LineStatus ReadSDRLine(TextReaderContext* psContext, char* pchLine)
{
    const eTextLineResult eResult = ReadTextLine(psContext, pchLine, SDR_LINE_BUFFER_SIZE);
    if (eResult == TEXT_LINE_END_OF_FILE) {
        return LINE_END;
    }
    if (eResult != TEXT_LINE_READ) {
        ReportUnreadableLine(psContext, eResult);
        return LINE_FAILED;
    }
    return LINE_READ;
}

bool HasTokenLeft(const char* pchLine)
{
    char achCopy[SDR_LINE_BUFFER_SIZE];
    std::snprintf(achCopy, sizeof achCopy, "%s", pchLine);
    TrimComment(achCopy);
    TrimSideSpace(achCopy);
    return achCopy[0] != '\0';
}

// --- block scan ---------------------------------------------------------------

struct BlockScan {
    bool bSDROpened = false;
    bool bSDRClosed = false;
    bool bDisabledOpened = false;
    bool bDisabledClosed = false;
    int iOpenings = 0;
    int iClosings = 0;
    long lResumePosition = -1;
    unsigned short u16ResumeLine = 0;

    bool InSDRBlock() const { return bSDROpened && !bSDRClosed; }
    bool InDisabledBlock() const { return bDisabledOpened && !bDisabledClosed; }
};

bool ReportPositionFailure(const TextReaderContext* psContext)
{
    std::fprintf(stderr, "<ERROR> Error occurs while reading SDR file %s. \n", psContext->achFilePath);
    return false;
}

bool ScanBlockStart(BlockScan& scan, TextReaderContext* psContext)
{
    if (scan.InDisabledBlock()) {
        ReportFormatError("Nested '%s' '%s' tag is NOT allowed (line %d) \n", SDR_TAG_DISABLED_START,
                          SDR_TAG_BLOCK_START, LineNumber(psContext));
        return false;
    }
    if (scan.bSDROpened) {
        ReportFormatError("Multiple '%s' tag is NOT allowed. (line %d) \n", SDR_TAG_BLOCK_START, LineNumber(psContext));
        return false;
    }
    scan.lResumePosition = std::ftell(psContext->pFile);
    if (scan.lResumePosition < 0) {
        return ReportPositionFailure(psContext);
    }
    scan.u16ResumeLine = psContext->u16LineNumber;
    scan.bSDROpened = true;
    ++scan.iOpenings;
    return true;
}

bool ScanDisabledStart(BlockScan& scan, const TextReaderContext* psContext)
{
    if (scan.InSDRBlock()) {
        ReportFormatError("Nested '%s' '%s' tag is NOT allowed (line %d) \n", SDR_TAG_BLOCK_START,
                          SDR_TAG_DISABLED_START, LineNumber(psContext));
        return false;
    }
    if (scan.bDisabledOpened) {
        ReportFormatError("Multiple '%s' tag is NOT allowed. (line %d) \n", SDR_TAG_DISABLED_START,
                          LineNumber(psContext));
        return false;
    }
    scan.bDisabledOpened = true;
    ++scan.iOpenings;
    return true;
}

bool ScanBlockEnd(BlockScan& scan, const TextReaderContext* psContext, const char* pchLine)
{
    if (scan.iOpenings == 0) {
        ReportFormatError("Find data before the '%s' or '%s' tag. (line %d) \n", SDR_TAG_BLOCK_START,
                          SDR_TAG_DISABLED_START, LineNumber(psContext));
        return false;
    }
    if (scan.iOpenings != scan.iClosings + 1) {
        ReportFormatError("Multiple '%s' tag is NOT allowed (line %d) \n", SDR_TAG_BLOCK_END, LineNumber(psContext));
        return false;
    }
    if (scan.InSDRBlock()) {
        scan.bSDRClosed = true;
    } else if (scan.InDisabledBlock()) {
        scan.bDisabledClosed = true;
    } else {
        ReportFormatError("Unknown data '%s' (line %d) \n", pchLine, LineNumber(psContext));
        return false;
    }
    ++scan.iClosings;
    return true;
}

bool ScanLine(BlockScan& scan, TextReaderContext* psContext, char* pchLine)
{
    TrimComment(pchLine);
    TrimSideSpace(pchLine);
    if (pchLine[0] == '\0') {
        return true;
    }
    if (std::strcmp(pchLine, SDR_TAG_BLOCK_START) == 0) {
        return ScanBlockStart(scan, psContext);
    }
    if (std::strcmp(pchLine, SDR_TAG_DISABLED_START) == 0) {
        return ScanDisabledStart(scan, psContext);
    }
    if (std::strcmp(pchLine, SDR_TAG_BLOCK_END) == 0) {
        return ScanBlockEnd(scan, psContext, pchLine);
    }
    // Other lines belong inside a block; outside both they are refused.
    if (!scan.InSDRBlock() && !scan.InDisabledBlock()) {
        ReportFormatError("Find data outside the scope of the '%s %s'. (line %d) \n", SDR_TAG_BLOCK_START,
                          SDR_TAG_BLOCK_END, LineNumber(psContext));
        return false;
    }
    return true;
}

bool ScanEnd(const BlockScan& scan, TextReaderContext* psContext)
{
    const char* pchMissing = nullptr;
    if (!scan.bSDROpened) {
        pchMissing = SDR_TAG_BLOCK_START;
    } else if (scan.InDisabledBlock() || scan.InSDRBlock()) {
        pchMissing = SDR_TAG_BLOCK_END;
    }
    if (pchMissing != nullptr) {
        ReportFormatError("Lack '%s' tag (line %d) \n", pchMissing, LineNumber(psContext));
        return false;
    }
    if (std::fseek(psContext->pFile, scan.lResumePosition, SEEK_SET) != 0) {
        return ReportPositionFailure(psContext);
    }
    psContext->u16LineNumber = scan.u16ResumeLine;
    return true;
}

// --- record data --------------------------------------------------------------

// The next line of a record, UTF-8 made 8-bit; a conversion failure ends
// the record like the end of the file.
LineStatus ReadRecordLine(TextReaderContext* psContext, char* pchLine)
{
    const LineStatus eStatus = ReadSDRLine(psContext, pchLine);
    if (eStatus != LINE_READ || psContext->u32Encoding != FILE_ENCODING_UTF8) {
        return eStatus;
    }
    unsigned char au8Latin1[SDR_LINE_BUFFER_SIZE] = {};
    unsigned char u8Count = 0;
    if (!UTF8ToASCII(reinterpret_cast<unsigned char*>(pchLine), static_cast<unsigned char>(std::strlen(pchLine)),
                     au8Latin1, &u8Count)) {
        std::fprintf(stderr, "Fail to convert string (line %d) from UTF-8 to 8-bit ASCII. \n", LineNumber(psContext));
        return LINE_END;
    }
    std::memcpy(pchLine, au8Latin1, u8Count);
    pchLine[u8Count] = '\0';
    return LINE_READ;
}

// What the record reader does with the current line.
enum Step { STEP_NEXT_LINE, STEP_CONTINUE, STEP_COMPLETE, STEP_FAILED };

struct RecordReader {
    TextReaderContext* psContext;
    SDREntry* psEntry;
    unsigned char u8StringStart;
    unsigned char u8TypeLength = 0;
    unsigned int uPosition = 0;  // may pass the record's end; the check at the end says so

    void Store(unsigned char u8Byte)
    {
        if (uPosition < SDR_RECORD_DATA_SIZE) {
            psEntry->au8RecordData[uPosition] = u8Byte;
        }
        ++uPosition;
    }

    // One hex token; bHeaderChecks for the bytes before the ID string.
    Step TakeHexByte(char* pchLine, bool bHeaderChecks)
    {
        char achToken[TEXT_TOKEN_BUFFER_SIZE];
        ParseNonQuotedData(pchLine, achToken, 1);
        if (achToken[0] == '\0' || std::strncmp(achToken, "//", 2) == 0) {
            return STEP_NEXT_LINE;
        }
        unsigned char u8Byte = 0;
        if (!ParseHexByteToken(achToken, &u8Byte)) {
            ReportFormatError("'%s' is not a Hex byte data in record type %02Xh. (line %d) \n", achToken,
                              psEntry->u8RecordType, LineNumber(psContext));
            return STEP_FAILED;
        }
        if (bHeaderChecks) {
            if (uPosition <= SDR_HEADER_BODY_LENGTH) {
                if (!SDRValidateRecordHeader(SDR_CHECK_TEXT_FILE, LineNumber(psContext), psEntry,
                                             static_cast<unsigned char>(uPosition), u8Byte)) {
                    return STEP_FAILED;
                }
            }
            if (uPosition + 1 == u8StringStart) {
                u8TypeLength = u8Byte;
            }
        }
        Store(u8Byte);
        return STEP_CONTINUE;
    }

    Step TakeQuotedString(char* pchLine)
    {
        TrimSideSpace(pchLine);
        if (pchLine[0] == '\0') {
            return STEP_NEXT_LINE;
        }
        if (pchLine[0] != '\'') {
            ReportFormatError("\"%s\" is not a quoted string in record type %02Xh. (line %d) \n", pchLine,
                              psEntry->u8RecordType, LineNumber(psContext));
            return STEP_FAILED;
        }
        char achString[TEXT_TOKEN_BUFFER_SIZE];
        ParseQuotedData(pchLine, achString);
        const size_t uLength = std::strlen(achString);
        if (uLength != (u8TypeLength & 0x3Fu)) {
            ReportFormatError(
                "String length (%02Xh) is not consistent with Type/Length Code (%02X) in record type %02Xh. (line %d) "
                "\n",
                static_cast<unsigned int>(uLength), u8TypeLength, psEntry->u8RecordType, LineNumber(psContext));
            return STEP_FAILED;
        }
        for (size_t i = 0; i < uLength; ++i) {
            Store(static_cast<unsigned char>(achString[i]));
        }
        return STEP_COMPLETE;
    }

    // Consumes the line as far as it goes.
    Step Consume(char* pchLine)
    {
        for (;;) {
            Step eStep;
            if (uPosition > psEntry->u8RecordLength) {
                return STEP_NEXT_LINE;
            }
            if (uPosition < u8StringStart) {
                eStep = TakeHexByte(pchLine, true);
            } else if (!SDRHasIDString(psEntry->u8RecordType)) {
                return STEP_COMPLETE;
            } else if ((u8TypeLength & 0xC0) == 0xC0) {
                return TakeQuotedString(pchLine);
            } else if (uPosition >= psEntry->u8RecordLength) {
                return STEP_COMPLETE;
            } else {
                eStep = TakeHexByte(pchLine, false);
                if (eStep == STEP_CONTINUE && uPosition == psEntry->u8RecordLength) {
                    return STEP_COMPLETE;
                }
            }
            if (eStep != STEP_CONTINUE) {
                return eStep;
            }
        }
    }

    int Finish(const char* pchLine)
    {
        const unsigned char u8Type = psEntry->u8RecordType;
        if (HasTokenLeft(pchLine) || uPosition > psEntry->u8RecordLength) {
            ReportFormatError("In record type %02Xh, record length > _REC_LEN (line %d) \n", u8Type,
                              LineNumber(psContext));
            return SDR_TEXT_ERROR;
        }
        if (uPosition < psEntry->u8RecordLength) {
            ReportFormatError("In record type %02Xh, record length < _REC_LEN (line %d) \n", u8Type,
                              LineNumber(psContext));
            return SDR_TEXT_ERROR;
        }
        psEntry->u8Cursor = static_cast<unsigned char>(uPosition);
        psEntry->u16RecordID =
            static_cast<unsigned short>(psEntry->au8RecordData[0] | (psEntry->au8RecordData[1] << 8));
        return SDR_TEXT_RECORD_READ;
    }
};

}  // namespace

int SDRValidateStartEndTag(TextReaderContext* psContext)
{
    if (psContext == nullptr || psContext->pFile == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    BlockScan scan;
    char achLine[SDR_LINE_BUFFER_SIZE];
    for (;;) {
        const eTextLineResult eResult = ReadTextLine(psContext, achLine, sizeof achLine);
        if (eResult == TEXT_LINE_END_OF_FILE) {
            break;
        }
        if (eResult != TEXT_LINE_READ) {
            // A disabled block is skipped unread; anywhere else the line
            // would have to be understood.
            if (scan.InDisabledBlock()) {
                continue;
            }
            ReportUnreadableLine(psContext, eResult);
            return 0;
        }
        if (!ScanLine(scan, psContext, achLine)) {
            return 0;
        }
    }
    return ScanEnd(scan, psContext) ? 1 : 0;
}

int SDRReadRecordTypeLength(TextReaderContext* psContext, const char* pchTag, unsigned char* pu8Value)
{
    if (psContext == nullptr || pchTag == nullptr || pu8Value == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    char achLine[SDR_LINE_BUFFER_SIZE];
    char achToken[TEXT_TOKEN_BUFFER_SIZE] = "";
    while (achToken[0] == '\0') {
        if (ReadSDRLine(psContext, achLine) != LINE_READ) {
            return 0;
        }
        ParseNonQuotedData(achLine, achToken, 0);
    }
    if (std::strcmp(achToken, pchTag) != 0) {
        if (std::strcmp(pchTag, SDR_TAG_TYPE) == 0 && std::strcmp(achToken, SDR_TAG_BLOCK_END) == 0) {
            return SDR_TEXT_BLOCK_END;
        }
        ReportFormatError("\"%s\" is not the '%s' tag (line %d) \n", achToken, pchTag, LineNumber(psContext));
        return 0;
    }
    ParseNonQuotedData(achLine, achToken, 0);
    unsigned char u8Value = 0;
    if (HasTokenLeft(achLine)) {
        ReportFormatError("More than one Hex data follow the '%s' tag. (line %d) \n", pchTag, LineNumber(psContext));
        return 0;
    }
    if (achToken[0] == '\0') {
        ReportFormatError("Hex byte data does not follow the '%s' tag. (line %d) \n", pchTag, LineNumber(psContext));
        return 0;
    }
    if (!ParseHexByteToken(achToken, &u8Value)) {
        ReportFormatError("'%s' is not a Hex byte data. (line %d) \n", achToken, LineNumber(psContext));
        return 0;
    }
    *pu8Value = u8Value;
    return 1;
}

int SDRReadRecordData(TextReaderContext* psContext, SDREntry* psEntry)
{
    if (psContext == nullptr || psEntry == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return SDR_TEXT_ERROR;
    }
    RecordReader reader{psContext, psEntry, SDRStringStart(psEntry->u8RecordType, psEntry->u8RecordLength)};
    psEntry->u8Cursor = 0;
    char achLine[SDR_LINE_BUFFER_SIZE];
    for (;;) {
        const LineStatus eStatus = ReadRecordLine(psContext, achLine);
        if (eStatus == LINE_FAILED) {
            return SDR_TEXT_ERROR;
        }
        if (eStatus == LINE_END) {
            ReportFormatError("Record type (%02Xh) is not complete. (line %d) \n", psEntry->u8RecordType,
                              LineNumber(psContext));
            return SDR_TEXT_ERROR;
        }
        const Step eStep = reader.Consume(achLine);
        if (eStep == STEP_FAILED) {
            return SDR_TEXT_ERROR;
        }
        if (eStep == STEP_COMPLETE) {
            return reader.Finish(achLine);
        }
    }
}

int SDRReadOneRecord(TextReaderContext* psContext, SDREntry* psEntry)
{
    if (psContext == nullptr || psEntry == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return SDR_TEXT_ERROR;
    }
    const int iTypeResult = SDRReadRecordTypeLength(psContext, SDR_TAG_TYPE, &psEntry->u8RecordType);
    if (iTypeResult != 1) {
        return iTypeResult;
    }
    if (!SDRValidateRecordType(SDR_CHECK_TEXT_FILE, LineNumber(psContext), psEntry->u8RecordType) ||
        SDRReadRecordTypeLength(psContext, SDR_TAG_LENGTH, &psEntry->u8RecordLength) != 1 ||
        !SDRValidateRecordLength(SDR_CHECK_TEXT_FILE, LineNumber(psContext), psEntry)) {
        return SDR_TEXT_ERROR;
    }
    return SDRReadRecordData(psContext, psEntry);
}

namespace {

// A list holds one record less than SDR_LIST_SLOT_COUNT: the limit the
// message has always named.
int ReportCountExceeded()
{
    std::fprintf(stderr, "The SDR record count exceeds %Xh records. \n", SDR_LIST_SLOT_COUNT);
    return 0;
}

int ReadSDRTextRecords(TextReaderContext* psContext, SDRRecordList* pList)
{
    if (!SkipByteOrderMark(psContext) || !SDRValidateStartEndTag(psContext)) {
        return 0;
    }
    unsigned int uRead = 0;
    for (;;) {
        if (pList->size() >= SDR_LIST_SLOT_COUNT) {
            return ReportCountExceeded();
        }
        SDREntry entry = FreeSDRSlot();
        const int iResult = SDRReadOneRecord(psContext, &entry);
        if (iResult == SDR_TEXT_ERROR) {
            return 0;
        }
        if (iResult == SDR_TEXT_BLOCK_END) {
            if (uRead > 0) {
                return 1;
            }
            ReportFormatError("There is no SDR record in the scope of \"%s %s\". \n", SDR_TAG_BLOCK_START,
                              SDR_TAG_BLOCK_END);
            return 0;
        }
        ++uRead;
        pList->push_back(entry);
        if (pList->size() >= SDR_LIST_SLOT_COUNT) {
            return ReportCountExceeded();
        }
    }
}

}  // namespace

int ReadSDRFile(const char* pchPath, SDRRecordList* pList)
{
    if (pchPath == nullptr || pList == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    unsigned int u32Encoding = FILE_ENCODING_ASCII;
    if (!GetReaderFileEncoding(pchPath, &u32Encoding)) {
        return 0;
    }
    FILE* pFile = std::fopen(pchPath, "rb");
    if (pFile == nullptr) {
        std::fprintf(stderr, "<ERROR> Failure to open SDR file %s. \n", pchPath);
        return 0;
    }
    switch (ReadSDRBinFile(pchPath, pList)) {
    case SDR_READ_DONE:
        std::fclose(pFile);
        return 1;
    case SDR_NOT_BINARY:
        break;
    default:
        std::fclose(pFile);
        return 0;
    }
    TextReaderContext context;
    if (!InitTextReader(&context, pchPath, pFile, u32Encoding)) {
        std::fclose(pFile);
        return 0;
    }
    const int iResult = ReadSDRTextRecords(&context, pList);
    ReleaseTextReader(&context);
    return iResult;
}
