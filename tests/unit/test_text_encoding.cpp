#include "encoding/text_encoding.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

using valdrn_test::Bytes;
using valdrn_test::CapturedOutput;
using valdrn_test::TempDir;
using valdrn_test::WriteFile;

using namespace std::string_literals;

namespace {

std::string Utf16(const std::string& sLatin1)
{
    std::string sOut;
    for (unsigned char c : sLatin1) {
        sOut += static_cast<char>(c);
        sOut += '\0';
    }
    return sOut;
}

const std::string S_sUtf8Mark = "\xEF\xBB\xBF";
const std::string S_sUtf16Mark = "\xFF\xFE";

// --- GetFileEncoding ---------------------------------------------------------

struct EncodingCase {
    std::string sContent;
    unsigned int u32Expected;
};

TEST(GetFileEncodingTest, ByteOrderMarkDecides)
{
    TempDir dir;
    const EncodingCase aCases[] = {
        {"_SDR (\n", FILE_ENCODING_ASCII},
        {S_sUtf8Mark + "_FRU (\n", FILE_ENCODING_UTF8},
        {S_sUtf8Mark, FILE_ENCODING_UTF8},
        {S_sUtf16Mark + "x", FILE_ENCODING_UTF16},
        {S_sUtf16Mark + Utf16("_SDR (\n"), FILE_ENCODING_UTF16},
        {"\xFE\xFF\x00"s, FILE_ENCODING_ASCII},    // big-endian mark is not recognised
        {Utf16("_SDR (\n"), FILE_ENCODING_ASCII},  // no mark, no sniffing
        {"\xEF\xBB\xBE", FILE_ENCODING_ASCII},
        {"abc", FILE_ENCODING_ASCII},
    };
    for (const EncodingCase& encodingCase : aCases) {
        WriteFile(dir.File("f"), encodingCase.sContent);
        unsigned int u32Encoding = 99;
        EXPECT_EQ(GetFileEncoding(dir.File("f").c_str(), &u32Encoding), 1);
        EXPECT_EQ(u32Encoding, encodingCase.u32Expected);
    }
}

TEST(GetFileEncodingTest, FewerThanThreeBytesFail)
{
    TempDir dir;
    for (const std::string& sContent : {std::string(S_sUtf16Mark), std::string("ab"), std::string()}) {
        WriteFile(dir.File("short"), sContent);
        unsigned int u32Encoding = 99;
        CapturedOutput output;
        EXPECT_EQ(GetFileEncoding(dir.File("short").c_str(), &u32Encoding), 0);
        output.Finish();
        EXPECT_EQ(output.Err(), "<ERROR> Error reading file, " + dir.File("short") + ".\n");
        EXPECT_EQ(u32Encoding, 99u);
    }
}

TEST(GetFileEncodingTest, MissingFileAndNullArguments)
{
    TempDir dir;
    unsigned int u32Encoding = 0;
    CapturedOutput output;
    EXPECT_EQ(GetFileEncoding(dir.File("missing").c_str(), &u32Encoding), 0);
    EXPECT_EQ(GetFileEncoding(nullptr, &u32Encoding), 0);
    EXPECT_EQ(GetFileEncoding("x", nullptr), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Failure to open file, " + dir.File("missing") +
                                ".\n<ERROR> Internal Error!<ERROR> Internal Error!");
}

// --- conversions -------------------------------------------------------------

class Converter {
public:
    Converter(const char* pchTo, const char* pchFrom) : m_cd(iconv_open(pchTo, pchFrom)) {}
    ~Converter() { iconv_close(m_cd); }
    iconv_t Get() const { return m_cd; }

private:
    iconv_t m_cd;
};

TEST(ConvertEncodingTypeTest, Utf16LineBufferToLatin1)
{
    Converter toLatin1("ISO-8859-1", "UTF-16LE");
    char achIn[ENCODING_LINE_BUFFER_SIZE] = {};
    char achOut[ENCODING_LINE_BUFFER_SIZE];
    const std::string sWide = Utf16("caf\xE9 1A\n");
    std::memcpy(achIn, sWide.data(), sWide.size());
    ConvertEncodingType(toLatin1.Get(), achIn, achOut);
    EXPECT_STREQ(achOut, "caf\xE9 1A\n");
}

TEST(ConvertEncodingTypeTest, UnrepresentableCharacterCutsTheLine)
{
    Converter toLatin1("ISO-8859-1", "UTF-16LE");
    char achIn[ENCODING_LINE_BUFFER_SIZE] = {};
    char achOut[ENCODING_LINE_BUFFER_SIZE];
    const std::string sWide =
        "A\0B\0\xAC\x20"
        "C\0"s;
    std::memcpy(achIn, sWide.data(), sWide.size());
    ConvertEncodingType(toLatin1.Get(), achIn, achOut);
    EXPECT_STREQ(achOut, "AB");
    for (size_t i = 2; i < sizeof achOut; ++i) {
        ASSERT_EQ(achOut[i], '\0') << i;
    }
}

TEST(ConvertEncodingTypeTest, NullBuffers)
{
    Converter toLatin1("ISO-8859-1", "UTF-16LE");
    char achBuffer[ENCODING_LINE_BUFFER_SIZE] = {};
    CapturedOutput output;
    ConvertEncodingType(toLatin1.Get(), nullptr, achBuffer);
    ConvertEncodingType(toLatin1.Get(), achBuffer, nullptr);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error!<ERROR> Internal Error!");
}

TEST(ConvertEncodingBufferTest, OutputStaysTerminated)
{
    Converter toUtf16("UTF-16LE", "ISO-8859-1");
    char achOut[7];
    ConvertEncodingBuffer(toUtf16.Get(), "ABCDEF", 6, achOut, sizeof achOut);
    // Three characters need six bytes; the seventh stays the terminator.
    EXPECT_EQ(std::string(achOut, 7), std::string("A\0B\0C\0\0", 7));
}

// --- line reading ------------------------------------------------------------

class LineReaderTest : public testing::Test {
protected:
    // Opens a file with the content, detects its encoding and skips its mark.
    void Open(const std::string& sContent)
    {
        WriteFile(m_dir.File("text"), sContent);
        unsigned int u32Encoding = 0;
        ASSERT_EQ(GetFileEncoding(m_dir.File("text").c_str(), &u32Encoding), 1);
        FILE* pFile = std::fopen(m_dir.File("text").c_str(), "rb");
        ASSERT_NE(pFile, nullptr);
        ASSERT_EQ(InitTextReader(&m_context, m_dir.File("text").c_str(), pFile, u32Encoding), 1);
        ASSERT_EQ(SkipByteOrderMark(&m_context), 1);
    }
    void TearDown() override { ReleaseTextReader(&m_context); }

    // Reads all lines with a buffer of the given size.
    std::vector<std::string> ReadAll(size_t uSize, std::vector<eTextLineResult>* paeResults = nullptr)
    {
        std::vector<std::string> asLines;
        std::vector<char> achLine(uSize);
        for (;;) {
            const eTextLineResult eResult = ReadTextLine(&m_context, achLine.data(), uSize);
            if (eResult == TEXT_LINE_END_OF_FILE) {
                break;
            }
            asLines.emplace_back(achLine.data());
            if (paeResults != nullptr) {
                paeResults->push_back(eResult);
            }
        }
        return asLines;
    }

    TempDir m_dir;
    TextReaderContext m_context = {};
};

const std::vector<std::string> S_asSample = {"_SDR (\n", "  // comment\n", "\n", "01 02 0A\n", ")"};

TEST_F(LineReaderTest, EightBitLines)
{
    Open("_SDR (\n  // comment\n\n01 02 0A\n)");
    EXPECT_EQ(ReadAll(255), S_asSample);
    EXPECT_EQ(m_context.u16LineNumber, 5);
}

TEST_F(LineReaderTest, Utf8LinesStayUtf8)
{
    Open(S_sUtf8Mark + "'caf\xC3\xA9'\n)\n");
    EXPECT_EQ(ReadAll(258), (std::vector<std::string>{"'caf\xC3\xA9'\n", ")\n"}));
    EXPECT_EQ(m_context.u16LineNumber, 2);
}

TEST_F(LineReaderTest, Utf16LinesBecomeLatin1)
{
    Open(S_sUtf16Mark + Utf16("_SDR (\n  // comment\n\n01 02 0A\n)"));
    EXPECT_EQ(ReadAll(255), S_asSample);
    EXPECT_EQ(m_context.u16LineNumber, 5);
}

TEST_F(LineReaderTest, Utf16LatinCharactersAndCrLf)
{
    Open(S_sUtf16Mark + Utf16("'\xE9t\xE9'\r\n"));
    EXPECT_EQ(ReadAll(258), (std::vector<std::string>{"'\xE9t\xE9'\r\n"}));
}

TEST_F(LineReaderTest, Utf16CharacterWithLowByte0AIsNotALineEnd)
{
    // U+010A's low byte is 0x0A; the line goes on past it. The character
    // itself is not Latin-1, so the converted text ends before it.
    Open(S_sUtf16Mark +
         "A\0\x0A\x01"
         "B\0\n\0"
         "C\0\n\0"s);
    EXPECT_EQ(ReadAll(258), (std::vector<std::string>{"A", "C\n"}));
    EXPECT_EQ(m_context.u16LineNumber, 2);
}

TEST_F(LineReaderTest, Utf16UnrepresentableCharacterCutsTheLine)
{
    Open(S_sUtf16Mark +
         "'\0A\0\xAC\x20'\0\n\0"
         ")\0"s);
    EXPECT_EQ(ReadAll(258), (std::vector<std::string>{"'A", ")"}));
}

TEST_F(LineReaderTest, Utf16OddTrailingByte)
{
    Open(S_sUtf16Mark + "A\0\n\0B"s);
    EXPECT_EQ(ReadAll(258), (std::vector<std::string>{"A\n", ""}));
    EXPECT_EQ(m_context.u16LineNumber, 2);
}

TEST_F(LineReaderTest, EmptyFileAfterMark)
{
    Open(S_sUtf8Mark);
    EXPECT_TRUE(ReadAll(258).empty());
    EXPECT_EQ(m_context.u16LineNumber, 0);
}

TEST_F(LineReaderTest, LineThatFillsTheBufferExactly)
{
    // 254 characters and a line feed fit a 255-byte buffer; the line feed
    // is dropped for lack of room.
    const std::string sLong(254, 'A');
    Open(sLong + "\nB\n");
    std::vector<eTextLineResult> aeResults;
    EXPECT_EQ(ReadAll(255, &aeResults), (std::vector<std::string>{sLong, "B\n"}));
    EXPECT_EQ(aeResults, (std::vector<eTextLineResult>{TEXT_LINE_READ, TEXT_LINE_READ}));
}

TEST_F(LineReaderTest, TooLongLineIsReportedAndSkipped)
{
    const std::string sLong(300, 'A');
    Open("x\n" + sLong + "\nB\n");
    std::vector<eTextLineResult> aeResults;
    const auto asLines = ReadAll(255, &aeResults);
    ASSERT_EQ(asLines.size(), 3u);
    EXPECT_EQ(asLines[1], std::string(254, 'A'));
    EXPECT_EQ(asLines[2], "B\n");
    EXPECT_EQ(aeResults[1], TEXT_LINE_TOO_LONG);
    EXPECT_EQ(aeResults[2], TEXT_LINE_READ);
    EXPECT_EQ(m_context.u16LineNumber, 3);
}

TEST_F(LineReaderTest, Utf16TooLongLineCountsCharacters)
{
    Open(S_sUtf16Mark + Utf16(std::string(254, 'B') + "\n" + std::string(255, 'C') + "\nD"));
    std::vector<eTextLineResult> aeResults;
    const auto asLines = ReadAll(255, &aeResults);
    ASSERT_EQ(asLines.size(), 3u);
    EXPECT_EQ(asLines[0], std::string(254, 'B'));
    EXPECT_EQ(aeResults[0], TEXT_LINE_READ);
    EXPECT_EQ(asLines[1], std::string(254, 'C'));
    EXPECT_EQ(aeResults[1], TEXT_LINE_TOO_LONG);
    EXPECT_EQ(asLines[2], "D");
}

TEST_F(LineReaderTest, NulCharacterIsReported)
{
    Open("_SDR_TYPE 01\0 02\nnext\n"s);
    std::vector<eTextLineResult> aeResults;
    EXPECT_EQ(ReadAll(255, &aeResults), (std::vector<std::string>{"_SDR_TYPE 01", "next\n"}));
    EXPECT_EQ(aeResults, (std::vector<eTextLineResult>{TEXT_LINE_NUL, TEXT_LINE_READ}));
}

TEST_F(LineReaderTest, Utf16NulCharacterIsReported)
{
    Open(S_sUtf16Mark + "A\0\0\0B\0\n\0"s);
    std::vector<eTextLineResult> aeResults;
    EXPECT_EQ(ReadAll(255, &aeResults), (std::vector<std::string>{"A"}));
    EXPECT_EQ(aeResults, (std::vector<eTextLineResult>{TEXT_LINE_NUL}));
}

TEST_F(LineReaderTest, ProblemMessages)
{
    Open("xyz\n");
    m_context.u16LineNumber = 12;
    CapturedOutput output;
    PrintTextLineProblem(stderr, &m_context, TEXT_LINE_TOO_LONG, 255);
    PrintTextLineProblem(stderr, &m_context, TEXT_LINE_NUL, 255);
    PrintTextLineProblem(stderr, &m_context, TEXT_LINE_READ, 255);
    output.Finish();
    EXPECT_EQ(output.Err(), "Line 12 is longer than 254 characters. \nLine 12 holds a NUL character. \n");
}

TEST_F(LineReaderTest, RawLinesKeepUtf16Bytes)
{
    Open(S_sUtf16Mark +
         "'\0\xE9\0'\0\n\0"
         "2\0"s);
    unsigned char au8Raw[16];
    size_t uLength = 0;
    EXPECT_EQ(ReadRawTextLine(&m_context, au8Raw, sizeof au8Raw, &uLength), TEXT_LINE_READ);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(au8Raw), uLength), "'\0\xE9\0'\0\n\0"s);
    EXPECT_EQ(ReadRawTextLine(&m_context, au8Raw, sizeof au8Raw, &uLength), TEXT_LINE_READ);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(au8Raw), uLength), "2\0"s);
    EXPECT_EQ(ReadRawTextLine(&m_context, au8Raw, sizeof au8Raw, &uLength), TEXT_LINE_END_OF_FILE);
    EXPECT_EQ(uLength, 0u);
    EXPECT_EQ(m_context.u16LineNumber, 2);
}

TEST_F(LineReaderTest, RawLineTooLong)
{
    Open("ABCDEFGH\nI\n");
    unsigned char au8Raw[4];
    size_t uLength = 0;
    EXPECT_EQ(ReadRawTextLine(&m_context, au8Raw, sizeof au8Raw, &uLength), TEXT_LINE_TOO_LONG);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(au8Raw), uLength), "ABCD");
    EXPECT_EQ(ReadRawTextLine(&m_context, au8Raw, sizeof au8Raw, &uLength), TEXT_LINE_READ);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(au8Raw), uLength), "I\n");
}

TEST_F(LineReaderTest, LineCounterIsSixteenBits)
{
    Open("a\nb\n");
    m_context.u16LineNumber = 0xFFFF;
    char achLine[8];
    EXPECT_EQ(ReadTextLine(&m_context, achLine, sizeof achLine), TEXT_LINE_READ);
    EXPECT_EQ(m_context.u16LineNumber, 0);
}

TEST_F(LineReaderTest, BadArgumentsAreInternalErrors)
{
    Open("abc\n");
    char achLine[8];
    CapturedOutput output;
    EXPECT_EQ(ReadTextLine(nullptr, achLine, sizeof achLine), TEXT_LINE_END_OF_FILE);
    EXPECT_EQ(ReadTextLine(&m_context, nullptr, 8), TEXT_LINE_END_OF_FILE);
    EXPECT_EQ(ReadTextLine(&m_context, achLine, MAX_TEXT_LINE_BUFFER_SIZE + 1), TEXT_LINE_END_OF_FILE);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error!\n<ERROR> Internal Error!\n<ERROR> Internal Error!\n");
}

TEST(TextReaderContextTest, PathLimit)
{
    TextReaderContext context;
    const std::string sPath255(255, 'p');
    EXPECT_EQ(InitTextReader(&context, sPath255.c_str(), nullptr, FILE_ENCODING_ASCII), 1);
    EXPECT_EQ(std::string(context.achFilePath), sPath255);
    ReleaseTextReader(&context);
    const std::string sPath256(256, 'p');
    CapturedOutput output;
    EXPECT_EQ(InitTextReader(&context, sPath256.c_str(), nullptr, FILE_ENCODING_ASCII), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> File path is longer than 255 characters: " + sPath256 + "\n");
    ReleaseTextReader(&context);
}

TEST(TextReaderContextTest, SkipsEachMark)
{
    TempDir dir;
    const struct {
        std::string sContent;
        unsigned int u32Encoding;
        long lExpected;
    } aCases[] = {{"abc", FILE_ENCODING_ASCII, 0},
                  {S_sUtf8Mark + "a", FILE_ENCODING_UTF8, 3},
                  {S_sUtf16Mark + "a\0"s, FILE_ENCODING_UTF16, 2}};
    for (const auto& markCase : aCases) {
        WriteFile(dir.File("m"), markCase.sContent);
        TextReaderContext context;
        ASSERT_EQ(InitTextReader(&context, "m", std::fopen(dir.File("m").c_str(), "rb"), markCase.u32Encoding), 1);
        std::fgetc(context.pFile);
        EXPECT_EQ(SkipByteOrderMark(&context), 1);
        EXPECT_EQ(std::ftell(context.pFile), markCase.lExpected);
        ReleaseTextReader(&context);
        EXPECT_EQ(context.pFile, nullptr);
    }
}

}  // namespace
