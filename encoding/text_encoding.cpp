#include "encoding/text_encoding.h"

#include <cstring>

namespace {

const iconv_t S_NoConverter = reinterpret_cast<iconv_t>(-1);

unsigned int ByteOrderMarkLength(unsigned int u32Encoding)
{
    switch (u32Encoding) {
    case FILE_ENCODING_UTF8:
        return 3;
    case FILE_ENCODING_UTF16:
        return 2;
    default:
        return 0;
    }
}

}  // namespace

int GetFileEncoding(const char* pchPath, unsigned int* pu32Encoding)
{
    if (pchPath == nullptr || pu32Encoding == nullptr) {
        std::fputs("<ERROR> Internal Error!", stderr);
        return 0;
    }
    FILE* pFile = std::fopen(pchPath, "rb");
    if (pFile == nullptr) {
        std::fprintf(stderr, "<ERROR> Failure to open file, %s.\n", pchPath);
        return 0;
    }
    unsigned char au8Mark[3] = {};
    const size_t uRead = std::fread(au8Mark, 1, sizeof au8Mark, pFile);
    std::fclose(pFile);
    if (uRead < sizeof au8Mark) {
        std::fprintf(stderr, "<ERROR> Error reading file, %s.\n", pchPath);
        return 0;
    }
    // The mark alone decides: no content sniffing, and no big-endian UTF-16.
    if (au8Mark[0] == 0xEF && au8Mark[1] == 0xBB && au8Mark[2] == 0xBF) {
        *pu32Encoding = FILE_ENCODING_UTF8;
    } else if (au8Mark[0] == 0xFF && au8Mark[1] == 0xFE) {
        *pu32Encoding = FILE_ENCODING_UTF16;
    } else {
        *pu32Encoding = FILE_ENCODING_ASCII;
    }
    return 1;
}

int GetReaderFileEncoding(const char* pchPath, unsigned int* pu32Encoding)
{
    if (!GetFileEncoding(pchPath, pu32Encoding)) {
        std::fprintf(stderr, "<ERROR> Failure to get encoding info from file %s.\n", pchPath);
        return 0;
    }
    return 1;
}

void ConvertEncodingBuffer(iconv_t pConverter, const char* pchInput, std::size_t uInputBytes, char* pchOutput,
                           std::size_t uOutputBytes)
{
    if (pchInput == nullptr || pchOutput == nullptr) {
        std::fputs("<ERROR> Internal Error!", stderr);
        return;
    }
    std::memset(pchOutput, 0, uOutputBytes);
    if (uOutputBytes == 0) {
        return;
    }
    iconv(pConverter, nullptr, nullptr, nullptr, nullptr);
    char* pchIn = const_cast<char*>(pchInput);
    size_t uInLeft = uInputBytes;
    char* pchOut = pchOutput;
    size_t uOutLeft = uOutputBytes - 1;  // the last byte stays the terminator
    // Errors are not reported: an unconvertible character simply ends the
    // text, the rest of the output staying zero.
    iconv(pConverter, &pchIn, &uInLeft, &pchOut, &uOutLeft);
}

void ConvertEncodingType(iconv_t pConverter, char* pchInput, char* pchOutput)
{
    ConvertEncodingBuffer(pConverter, pchInput, ENCODING_LINE_BUFFER_SIZE, pchOutput, ENCODING_LINE_BUFFER_SIZE);
}

int InitTextReader(TextReaderContext* psContext, const char* pchPath, FILE* pFile, unsigned int u32Encoding)
{
    if (psContext == nullptr || pchPath == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    std::memset(psContext, 0, sizeof *psContext);
    psContext->pToLatin1 = S_NoConverter;
    if (std::strlen(pchPath) >= READER_PATH_BUFFER_SIZE) {
        std::fprintf(stderr, "<ERROR> File path is longer than %zu characters: %s\n", READER_PATH_BUFFER_SIZE - 1,
                     pchPath);
        return 0;
    }
    std::strcpy(psContext->achFilePath, pchPath);
    psContext->pFile = pFile;
    psContext->u32Encoding = u32Encoding;
    if (u32Encoding == FILE_ENCODING_UTF16) {
        psContext->pToLatin1 = iconv_open("ISO-8859-1", "UTF-16LE");
        if (psContext->pToLatin1 == S_NoConverter) {
            std::fputs("<ERROR> Cannot convert text from UTF-16LE to ISO-8859-1.\n", stderr);
            return 0;
        }
    }
    return 1;
}

void ReleaseTextReader(TextReaderContext* psContext)
{
    if (psContext == nullptr) {
        return;
    }
    if (psContext->pToLatin1 != S_NoConverter) {
        iconv_close(psContext->pToLatin1);
        psContext->pToLatin1 = S_NoConverter;
    }
    if (psContext->pFile != nullptr) {
        std::fclose(psContext->pFile);
        psContext->pFile = nullptr;
    }
}

int SkipByteOrderMark(TextReaderContext* psContext)
{
    if (psContext == nullptr || psContext->pFile == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    return std::fseek(psContext->pFile, ByteOrderMarkLength(psContext->u32Encoding), SEEK_SET) == 0;
}

eTextLineResult ReadRawTextLine(TextReaderContext* psContext, unsigned char* pu8Line, std::size_t uBufferSize,
                                std::size_t* puLength)
{
    if (psContext == nullptr || psContext->pFile == nullptr || pu8Line == nullptr || puLength == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return TEXT_LINE_END_OF_FILE;
    }
    FILE* pFile = psContext->pFile;
    const bool bWide = psContext->u32Encoding == FILE_ENCODING_UTF16;
    const std::size_t uUnitSize = bWide ? 2 : 1;
    std::size_t uLength = 0;
    bool bTooLong = false;
    bool bAnyByte = false;
    bool bSawLineEnd = false;
    for (;;) {
        const int iFirst = getc_unlocked(pFile);  // single-threaded: no stream locking per byte
        if (iFirst == EOF) {
            break;
        }
        bAnyByte = true;
        int iSecond = 0;
        if (bWide) {
            iSecond = getc_unlocked(pFile);
            if (iSecond == EOF) {
                // Half a code unit at the end of the file: keep the byte.
                if (uLength < uBufferSize) {
                    pu8Line[uLength++] = static_cast<unsigned char>(iFirst);
                } else {
                    bTooLong = true;
                }
                break;
            }
        }
        const bool bLineEnd = iFirst == 0x0A && (!bWide || iSecond == 0x00);
        if (uLength + uUnitSize <= uBufferSize) {
            pu8Line[uLength++] = static_cast<unsigned char>(iFirst);
            if (bWide) {
                pu8Line[uLength++] = static_cast<unsigned char>(iSecond);
            }
        } else if (!bLineEnd) {
            bTooLong = true;  // read on to the line end, so the next line starts clean
        }
        if (bLineEnd) {
            bSawLineEnd = true;
            break;
        }
    }
    *puLength = uLength;
    psContext->bLineEndSeen = bSawLineEnd;
    if (!bAnyByte) {
        return TEXT_LINE_END_OF_FILE;
    }
    ++psContext->u16LineNumber;
    return bTooLong ? TEXT_LINE_TOO_LONG : TEXT_LINE_READ;
}

namespace {

bool HasNulUnit(const unsigned char* pu8Raw, std::size_t uLength, std::size_t uUnitSize)
{
    for (std::size_t i = 0; i + uUnitSize <= uLength; i += uUnitSize) {
        if (pu8Raw[i] == 0 && (uUnitSize == 1 || pu8Raw[i + 1] == 0)) {
            return true;
        }
    }
    return false;
}

}  // namespace

eTextLineResult ReadTextLine(TextReaderContext* psContext, char* pchLine, std::size_t uBufferSize)
{
    if (psContext == nullptr || pchLine == nullptr || uBufferSize < 2 || uBufferSize > MAX_TEXT_LINE_BUFFER_SIZE) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return TEXT_LINE_END_OF_FILE;
    }
    const std::size_t uCharacters = uBufferSize - 1;
    std::size_t uLength = 0;
    eTextLineResult eResult;
    if (psContext->u32Encoding != FILE_ENCODING_UTF16) {
        auto* pu8Line = reinterpret_cast<unsigned char*>(pchLine);
        eResult = ReadRawTextLine(psContext, pu8Line, uCharacters, &uLength);
        pchLine[uLength] = '\0';
        if (eResult == TEXT_LINE_READ && HasNulUnit(pu8Line, uLength, 1)) {
            eResult = TEXT_LINE_NUL;
        }
        return eResult;
    }
    unsigned char au8Raw[2 * MAX_TEXT_LINE_BUFFER_SIZE];
    eResult = ReadRawTextLine(psContext, au8Raw, 2 * uCharacters, &uLength);
    if (eResult == TEXT_LINE_END_OF_FILE) {
        return eResult;
    }
    ConvertEncodingBuffer(psContext->pToLatin1, reinterpret_cast<const char*>(au8Raw), uLength, pchLine, uBufferSize);
    if (eResult == TEXT_LINE_READ && HasNulUnit(au8Raw, uLength, 2)) {
        eResult = TEXT_LINE_NUL;
    }
    return eResult;
}

void PrintTextLineProblem(FILE* pStream, const TextReaderContext* psContext, eTextLineResult eResult,
                          std::size_t uBufferSize)
{
    if (pStream == nullptr || psContext == nullptr) {
        return;
    }
    if (eResult == TEXT_LINE_TOO_LONG) {
        std::fprintf(pStream, "Line %d is longer than %d characters. \n", psContext->u16LineNumber,
                     static_cast<int>(uBufferSize - 1));
    } else if (eResult == TEXT_LINE_NUL) {
        std::fprintf(pStream, "Line %d holds a NUL character. \n", psContext->u16LineNumber);
    }
}
