#include "cli/file_arguments.h"

#include <cstdio>
#include <cstring>

#include "cli/diagnostics.h"
#include "encoding/text_encoding.h"

namespace {

// The hint of the file operations starts with "\n\r" and goes to
// standard output.
void PrintFileHint()
{
    std::printf("\n\rUse %s -h for help.\n", VALDRN_PROGRAM_NAME);
}

bool ReportMissingFileName()
{
    std::fputs("<ERROR> Please specify a SDR/FRU filename! \n \n", stderr);
    return false;
}

// The first token of the argument, or false after the "Unknown flag" lines.
bool TakeFileName(char* pchArgument, char* pchFileName)
{
    if (pchArgument == nullptr || GetNextToken(pchArgument, pchFileName) == 0) {
        std::fputs("<ERROR> Unknown flag: \n \n", stderr);
        PrintInvalidOperations(stderr);
        PrintFileHint();
        return false;
    }
    return true;
}

// The first token of an optional argument, empty when there is none.
void TakeOptionalToken(char* pchArgument, char* pchToken)
{
    pchToken[0] = '\0';
    if (pchArgument != nullptr && GetNextToken(pchArgument, pchToken) == 0) {
        pchToken[0] = '\0';
    }
}

// "fruID=<hex>": 0x00 to 0xFE. The number is kept as 16 bits and judged
// after the cut, so 10000 is FRU 0 and 1FFFF is refused as 0xFFFF: the
// digits above the lowest four never count, however many there are.
bool ParseFruID(char* pchToken, const char* pchOperations, unsigned short* pu16FruID)
{
    if (std::strncmp(pchToken, "fruID=", 6) != 0) {
        std::fprintf(stderr, "<ERROR> '%s' is an invalid parameter for %s! \n\n", pchToken, pchOperations);
        return false;
    }
    char* pchDigits = pchToken + 6;
    if (!ValidateHexData(pchDigits)) {
        std::fputs("<ERROR> FRU ID is not a number! \n", stderr);
        return false;
    }
    const unsigned int uValue = HexDigitsValue(pchDigits, 0xFFFF);
    if (uValue == 0xFF) {
        std::fprintf(stderr, "<ERROR> FRU ID (0x%02X) is reserved! \n \n", uValue);
        return false;
    }
    if (uValue > 0xFF) {
        std::fprintf(stderr, "<ERROR> FRU ID (0x%02X) is limited to 0x00~0xFE! \n \n", uValue);
        return false;
    }
    *pu16FruID = static_cast<unsigned short>(uValue);
    return true;
}

}  // namespace

bool IsStringNullOrEmpty(const char* pchText)
{
    return pchText == nullptr || pchText[0] == '\0';
}

bool CheckArgument(char* apchArgs[], unsigned short* pu16Cursor, char* pchFileName, unsigned short* pu16FruID)
{
    const unsigned short i = *pu16Cursor;
    if (!TakeFileName(apchArgs[i], pchFileName)) {
        return false;
    }
    char achSecond[TEXT_TOKEN_BUFFER_SIZE];
    TakeOptionalToken(apchArgs[i + 1], achSecond);
    if (IsStringNullOrEmpty(pchFileName)) {
        return ReportMissingFileName();
    }
    if (!IsStringNullOrEmpty(achSecond) && !ParseFruID(achSecond, "-d/-v/-t", pu16FruID)) {
        return false;
    }
    *pu16Cursor = static_cast<unsigned short>(i + 2);
    return true;
}

bool ValidateAnalyzeParameters(unsigned short u16ArgCount, char* apchArgs[], int* piIsSDR, char* pchFileName,
                               unsigned short* pu16FruID)
{
    if (u16ArgCount == 0) {
        return ReportMissingFileName();
    }
    if (u16ArgCount < 2) {
        *piIsSDR = 1;
    }
    unsigned short u16Cursor = 0;
    bool bResult = false;
    do {
        bResult = CheckArgument(apchArgs, &u16Cursor, pchFileName, pu16FruID);
    } while (bResult && u16Cursor < u16ArgCount);
    return bResult;
}

bool CheckUploadArgument(char* apchArgs[], unsigned short* pu16Cursor, char* pchFileName, unsigned int* pu32Encoding,
                         unsigned short* pu16FruID)
{
    const unsigned short i = *pu16Cursor;
    if (!TakeFileName(apchArgs[i], pchFileName)) {
        return false;
    }
    char achSecond[TEXT_TOKEN_BUFFER_SIZE];
    char achThird[TEXT_TOKEN_BUFFER_SIZE];
    TakeOptionalToken(apchArgs[i + 1], achSecond);
    TakeOptionalToken(achSecond[0] != '\0' ? apchArgs[i + 2] : nullptr, achThird);
    if (achSecond[0] == '\0') {
        std::fputs("<ERROR> Please specify a file encoding type!", stderr);
        PrintFileHint();
        return false;
    }
    if (std::strncmp(achSecond, "encoding=", 9) != 0) {
        std::fputs("<ERROR> Incorrect command format.", stderr);
        std::fputs("\n\rInvalid operations.", stderr);
        PrintFileHint();
        return false;
    }
    const char* pchEncoding = achSecond + 9;
    if (std::strcmp(pchEncoding, "utf16") == 0) {
        *pu32Encoding = FILE_ENCODING_UTF16;
    } else if (std::strcmp(pchEncoding, "utf8") == 0) {
        *pu32Encoding = FILE_ENCODING_UTF8;
    } else if (std::strcmp(pchEncoding, "ascii") == 0) {
        *pu32Encoding = FILE_ENCODING_ASCII;
    } else {
        std::fputs("<ERROR> Unrecognized encoding type!", stderr);
        PrintFileHint();
        return false;
    }
    if (IsStringNullOrEmpty(pchFileName)) {
        return ReportMissingFileName();
    }
    if (!IsStringNullOrEmpty(achThird)) {
        if (!ParseFruID(achThird, "-u", pu16FruID)) {
            return false;
        }
        *pu16Cursor = static_cast<unsigned short>(i + 3);
    } else {
        *pu16Cursor = static_cast<unsigned short>(i + 2);
    }
    return true;
}

bool ValidateAnalyzeUploadParameters(unsigned short u16ArgCount, char* apchArgs[], int* piIsSDR, char* pchFileName,
                                     unsigned int* pu32Encoding, unsigned short* pu16FruID)
{
    if (apchArgs == nullptr || piIsSDR == nullptr || pchFileName == nullptr || pu32Encoding == nullptr ||
        pu16FruID == nullptr) {
        std::fputs("<ERROR> Internal Error!", stderr);
        return false;
    }
    if (u16ArgCount == 0) {
        return ReportMissingFileName();
    }
    if (u16ArgCount < 3) {
        *piIsSDR = 1;
    }
    unsigned short u16Cursor = 0;
    bool bResult = false;
    do {
        bResult = CheckUploadArgument(apchArgs, &u16Cursor, pchFileName, pu32Encoding, pu16FruID);
    } while (bResult && u16Cursor < u16ArgCount);
    return bResult;
}
