#include "encoding/text_output.h"

#include <cctype>

#include <cstring>
#include <string>

#include "encoding/fru_field_encoding.h"
#include "encoding/text_encoding.h"

namespace {

const iconv_t S_NoConverter = reinterpret_cast<iconv_t>(-1);

std::string Latin1ToUtf8(const void* pData, std::size_t uCount)
{
    // ASCIIToUTF8 counts in 8 bits; pieces of 127 bytes keep its output
    // count exact, so a long text loses nothing.
    constexpr std::size_t uPieceSize = 127;
    std::string sUtf8;
    const auto* pu8Text = static_cast<const unsigned char*>(pData);
    std::size_t uLeft = uCount;
    unsigned char au8Piece[2 * uPieceSize];
    while (uLeft > 0) {
        const auto u8Count = static_cast<unsigned char>(uLeft < uPieceSize ? uLeft : uPieceSize);
        unsigned char u8OutCount = 0;
        ASCIIToUTF8(pu8Text, u8Count, au8Piece, &u8OutCount);
        sUtf8.append(reinterpret_cast<const char*>(au8Piece), u8OutCount);
        pu8Text += u8Count;
        uLeft -= u8Count;
    }
    return sUtf8;
}

}  // namespace

int ReadPromptAnswer(bool bSkipBlanks)
{
    int iAnswer = std::getchar();
    // With blanks skipped, an empty line is no answer yet either.
    while (bSkipBlanks && iAnswer != EOF && std::isspace(iAnswer)) {
        iAnswer = std::getchar();
    }
    // The rest of the answer's line goes with it: the next prompt waits for
    // its own answer instead of taking this line's end.
    for (int iRest = iAnswer; iRest != EOF && iRest != '\n';) {
        iRest = std::getchar();
    }
    return iAnswer;
}

WriteResult HoldDiskFullDialogue(FILE* pStream, const char* pchPath)
{
    std::fprintf(stderr, "<ERROR> Disk Full! %s may be corrupt or incomplete.\n", pchPath);
    std::printf("Would you like to delete %s? (y='YES')", pchPath);
    std::fflush(stdout);
    const int iAnswer = ReadPromptAnswer(false);
    std::fclose(pStream);
    if (iAnswer == 'y' || iAnswer == 'Y') {
        if (std::remove(pchPath) == 0) {
            std::printf("%s has been deleted.\n", pchPath);
        } else {
            std::printf("%s could not be deleted.\n", pchPath);
        }
    } else {
        std::printf("%s was not deleted.\n", pchPath);
    }
    std::fflush(stdout);
    return WriteResult::WRITE_DISK_FULL;
}

WriteResult WriteBytesToFile(FILE* pStream, const char* pchPath, const void* pData, std::size_t uCount)
{
    if (pStream == nullptr || pchPath == nullptr || pData == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return WriteResult::WRITE_INTERNAL_ERROR;
    }
    // Flushing every write costs a system call a line, but a buffered
    // stream would only fail at fclose, after the file was reported saved.
    if (std::fwrite(pData, 1, uCount, pStream) != uCount || std::fflush(pStream) != 0) {
        return HoldDiskFullDialogue(pStream, pchPath);
    }
    return WriteResult::WRITE_OK;
}

WriteResult WriteToFile(FILE* pStream, const char* pchPath, const char* pchText)
{
    if (pStream == nullptr || pchPath == nullptr || pchText == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return WriteResult::WRITE_INTERNAL_ERROR;
    }
    return WriteBytesToFile(pStream, pchPath, pchText, std::strlen(pchText));
}

WriteResult WriteWideCharToFile(FILE* pStream, const char* pchPath, const char* pchText, iconv_t pToUtf16)
{
    if (pStream == nullptr || pchPath == nullptr || pchText == nullptr || pToUtf16 == S_NoConverter) {
        std::fputs("<ERROR> Internal Error!", stderr);
        return WriteResult::WRITE_INTERNAL_ERROR;
    }
    const std::size_t uLength = std::strlen(pchText);
    // Every ISO-8859-1 character is one UTF-16 code unit; one more unit
    // keeps the converted text terminated.
    std::string sWide(2 * uLength + 2, '\0');
    ConvertEncodingBuffer(pToUtf16, pchText, uLength, &sWide[0], sWide.size());
    return WriteBytesToFile(pStream, pchPath, sWide.data(), 2 * uLength);
}

int WriteStringToFile(FILE* pStream, const char* pchPath, const char* pchText, unsigned int u32Encoding)
{
    if (pStream == nullptr || pchPath == nullptr || pchText == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    WriteResult eResult = WriteResult::WRITE_INTERNAL_ERROR;
    if (u32Encoding == FILE_ENCODING_UTF8) {
        const std::string sUtf8 = Latin1ToUtf8(pchText, std::strlen(pchText));
        eResult = WriteBytesToFile(pStream, pchPath, sUtf8.data(), sUtf8.size());
    } else if (u32Encoding == FILE_ENCODING_UTF16) {
        iconv_t pToUtf16 = iconv_open("UTF-16LE", "ISO-8859-1");
        if (pToUtf16 == S_NoConverter) {
            std::fputs("<ERROR> Cannot convert text from ISO-8859-1 to UTF-16LE.\n", stderr);
            return 0;
        }
        eResult = WriteWideCharToFile(pStream, pchPath, pchText, pToUtf16);
        iconv_close(pToUtf16);
    } else if (u32Encoding == FILE_ENCODING_ASCII) {
        eResult = WriteToFile(pStream, pchPath, pchText);
    } else {
        std::fputs("<ERROR> Internal Error!\n", stderr);
    }
    return eResult == WriteResult::WRITE_OK ? 1 : 0;
}

WriteResult WriteLatin1BytesToFile(FILE* pStream, const char* pchPath, const void* pData, std::size_t uCount,
                                   unsigned int u32Encoding)
{
    if (pStream == nullptr || pchPath == nullptr || pData == nullptr || u32Encoding > FILE_ENCODING_UTF16) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return WriteResult::WRITE_INTERNAL_ERROR;
    }
    if (u32Encoding == FILE_ENCODING_UTF8) {
        const std::string sUtf8 = Latin1ToUtf8(pData, uCount);
        return WriteBytesToFile(pStream, pchPath, sUtf8.data(), sUtf8.size());
    }
    if (u32Encoding == FILE_ENCODING_UTF16) {
        // Every ISO-8859-1 byte is the UTF-16 code unit of the same value.
        std::string sWide;
        for (std::size_t i = 0; i < uCount; ++i) {
            sWide += static_cast<const char*>(pData)[i];
            sWide += '\0';
        }
        return WriteBytesToFile(pStream, pchPath, sWide.data(), sWide.size());
    }
    return WriteBytesToFile(pStream, pchPath, pData, uCount);
}
