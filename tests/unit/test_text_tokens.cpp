#include "encoding/text_tokens.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

using valdrn_test::CapturedOutput;

namespace {

// A writable copy in a line-sized buffer.
struct Line {
    explicit Line(const std::string& sText)
    {
        std::memset(ach, 0, sizeof ach);
        std::memcpy(ach, sText.data(), sText.size());
    }
    std::string Str() const { return ach; }
    char ach[258];
};

// --- TrimComment / TrimSideSpace / TrimLeadingSpace ---------------------------

TEST(TrimCommentTest, CutsAtFirstDoubleSlash)
{
    Line line("_SDR (   // start of the block");
    TrimComment(line.ach);
    EXPECT_EQ(line.Str(), "_SDR (   ");
    TrimSideSpace(line.ach);
    EXPECT_EQ(line.Str(), "_SDR (");
}

TEST(TrimCommentTest, QuotesDoNotProtect)
{
    Line line("'http://host/x' 01");
    TrimComment(line.ach);
    EXPECT_EQ(line.Str(), "'http:");
}

TEST(TrimCommentTest, SingleSlashAndEdges)
{
    Line single("a/b/c");
    TrimComment(single.ach);
    EXPECT_EQ(single.Str(), "a/b/c");
    Line empty("");
    TrimComment(empty.ach);
    EXPECT_EQ(empty.Str(), "");
    Line trailing("abc/");
    TrimComment(trailing.ach);
    EXPECT_EQ(trailing.Str(), "abc/");
    Line whole("//all comment");
    TrimComment(whole.ach);
    EXPECT_EQ(whole.Str(), "");
}

TEST(TrimSideSpaceTest, BothSides)
{
    Line line(" \t 01 02 \r\n");
    TrimSideSpace(line.ach);
    EXPECT_EQ(line.Str(), "01 02");
    Line blank(" \t\r\n");
    TrimSideSpace(blank.ach);
    EXPECT_EQ(blank.Str(), "");
    Line one("x");
    TrimSideSpace(one.ach);
    EXPECT_EQ(one.Str(), "x");
}

TEST(TrimSideSpaceTest, Latin1BytesAreNotSpace)
{
    Line line("\xA0\xE9 ");
    TrimSideSpace(line.ach);
    EXPECT_EQ(line.Str(), "\xA0\xE9");
}

TEST(TrimLeadingSpaceTest, OnlyTheFront)
{
    Line line("  'abc'  ");
    EXPECT_EQ(TrimLeadingSpace(line.ach), line.ach);
    EXPECT_EQ(line.Str(), "'abc'  ");
}

// --- ParseQuotedData ------------------------------------------------------------

TEST(ParseQuotedDataTest, LastApostropheCloses)
{
    Line line("'ab'c'");
    char achString[TEXT_TOKEN_BUFFER_SIZE];
    ParseQuotedData(line.ach, achString);
    EXPECT_STREQ(achString, "ab'c");
    EXPECT_EQ(line.Str(), "");
}

TEST(ParseQuotedDataTest, RestOfLineIsKept)
{
    Line line("'Board' // name");
    char achString[TEXT_TOKEN_BUFFER_SIZE];
    ParseQuotedData(line.ach, achString);
    EXPECT_STREQ(achString, "Board");
    EXPECT_EQ(line.Str(), " // name");
}

TEST(ParseQuotedDataTest, NoClosingApostrophe)
{
    Line line("'abc");
    char achString[TEXT_TOKEN_BUFFER_SIZE] = "junk";
    ParseQuotedData(line.ach, achString);
    EXPECT_STREQ(achString, "");
    EXPECT_EQ(line.Str(), "'abc");
}

TEST(ParseQuotedDataTest, EmptyStringAndEmptyLine)
{
    Line quotes("''\n");
    char achString[TEXT_TOKEN_BUFFER_SIZE] = "junk";
    ParseQuotedData(quotes.ach, achString);
    EXPECT_STREQ(achString, "");
    EXPECT_EQ(quotes.Str(), "\n");
    Line empty("");
    ParseQuotedData(empty.ach, achString);
    EXPECT_STREQ(achString, "");
}

TEST(ParseQuotedDataTest, LongestLineFitsTheOutput)
{
    // A full 258-byte line buffer holds at most 255 characters between quotes.
    const std::string sText(255, 'Q');
    Line line("'" + sText + "'");
    char achString[TEXT_TOKEN_BUFFER_SIZE];
    ParseQuotedData(line.ach, achString);
    EXPECT_EQ(std::string(achString), sText);
}

// --- ParseNonQuotedData -----------------------------------------------------------

TEST(ParseNonQuotedDataTest, TakesFirstToken)
{
    Line line("  _SDR_TYPE   01 // full sensor\n");
    char achToken[TEXT_TOKEN_BUFFER_SIZE];
    ParseNonQuotedData(line.ach, achToken, 0);
    EXPECT_STREQ(achToken, "_SDR_TYPE");
    EXPECT_EQ(line.Str(), "   01");
    ParseNonQuotedData(line.ach, achToken, 0);
    EXPECT_STREQ(achToken, "01");
    EXPECT_EQ(line.Str(), "");
    ParseNonQuotedData(line.ach, achToken, 0);
    EXPECT_STREQ(achToken, "");
}

TEST(ParseNonQuotedDataTest, KeepingCommentsMakesThemTokens)
{
    Line line("01 //note");
    char achToken[TEXT_TOKEN_BUFFER_SIZE];
    ParseNonQuotedData(line.ach, achToken, 1);
    EXPECT_STREQ(achToken, "01");
    ParseNonQuotedData(line.ach, achToken, 1);
    EXPECT_STREQ(achToken, "//note");
}

TEST(ParseNonQuotedDataTest, TabAndCarriageReturnDelimit)
{
    Line line("A1\tB2\rC3");
    char achToken[TEXT_TOKEN_BUFFER_SIZE];
    ParseNonQuotedData(line.ach, achToken, 0);
    EXPECT_STREQ(achToken, "A1");
    EXPECT_EQ(line.Str(), "\tB2\rC3");
    ParseNonQuotedData(line.ach, achToken, 0);
    EXPECT_STREQ(achToken, "B2");
}

// --- GetNextToken -----------------------------------------------------------------

TEST(GetNextTokenTest, SplitsOnBlanksCommasTabsAndLineFeeds)
{
    char achText[] = "a, b,,c";
    char achToken[TEXT_TOKEN_BUFFER_SIZE];
    EXPECT_EQ(GetNextToken(achText, achToken), 1);
    EXPECT_STREQ(achToken, "a");
    EXPECT_EQ(GetNextToken(nullptr, achToken), 1);
    EXPECT_STREQ(achToken, "b");
    EXPECT_EQ(GetNextToken(nullptr, achToken), 1);
    EXPECT_STREQ(achToken, "c");
    EXPECT_EQ(GetNextToken(nullptr, achToken), 0);
}

TEST(GetNextTokenTest, NoTokenAndNoOutput)
{
    char achEmpty[] = " ,\t\n";
    char achToken[TEXT_TOKEN_BUFFER_SIZE] = "keep";
    EXPECT_EQ(GetNextToken(achEmpty, achToken), 0);
    EXPECT_STREQ(achToken, "keep");
    char achText[] = "fruID=1";
    EXPECT_EQ(GetNextToken(achText, nullptr), 1);
}

TEST(GetNextTokenTest, LongestTokenAndOneMore)
{
    std::string sLongest(255, 'f');
    char achToken[TEXT_TOKEN_BUFFER_SIZE];
    EXPECT_EQ(GetNextToken(sLongest.data(), achToken), 1);
    EXPECT_EQ(std::string(achToken), std::string(255, 'f'));

    std::string sTooLong(256, 'g');
    CapturedOutput output;
    EXPECT_EQ(GetNextToken(sTooLong.data(), achToken), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> '" + std::string(256, 'g') + "' is longer than 255 characters. \n");
}

// --- ValidateHexData --------------------------------------------------------------

TEST(ValidateHexDataTest, PrefixIsRemoved)
{
    char achText[] = "0x1f";
    EXPECT_EQ(ValidateHexData(achText), 1);
    EXPECT_STREQ(achText, "1f");
    char achUpper[] = "0XAB";
    EXPECT_EQ(ValidateHexData(achUpper), 1);
    EXPECT_STREQ(achUpper, "AB");
}

TEST(ValidateHexDataTest, RejectsBarePrefixAndNonHex)
{
    char achPrefix[] = "0x";
    EXPECT_EQ(ValidateHexData(achPrefix), 0);
    char achBad[] = "0xg1";
    EXPECT_EQ(ValidateHexData(achBad), 0);
    char achZz[] = "zz";
    EXPECT_EQ(ValidateHexData(achZz), 0);
    char achSign[] = "-1";
    EXPECT_EQ(ValidateHexData(achSign), 0);
}

TEST(ValidateHexDataTest, AcceptsEmptyAndLongText)
{
    char achEmpty[] = "";
    EXPECT_EQ(ValidateHexData(achEmpty), 1);
    std::string sLong(1000, 'F');
    EXPECT_EQ(ValidateHexData(sLong.data()), 1);
    char achZero[] = "0";
    EXPECT_EQ(ValidateHexData(achZero), 1);
    EXPECT_STREQ(achZero, "0");
}

// --- GetLowerCaseString -----------------------------------------------------------

TEST(GetLowerCaseStringTest, LowersOnlyAsciiLetters)
{
    EXPECT_STREQ(GetLowerCaseString("LANPLUS"), "lanplus");
    EXPECT_STREQ(GetLowerCaseString("KcsIO_1\xC9"), "kcsio_1\xC9");
}

TEST(GetLowerCaseStringTest, NullEmptyAndLong)
{
    EXPECT_STREQ(GetLowerCaseString(nullptr), "");
    EXPECT_STREQ(GetLowerCaseString(""), "");
    EXPECT_STREQ(GetLowerCaseString("ABCDEFGHIJKLMNO"), "abcdefghijklmno");  // 15 fit
    EXPECT_STREQ(GetLowerCaseString("ABCDEFGHIJKLMNOP"), "");                // 16 do not
    EXPECT_STREQ(GetLowerCaseString("lanplusxxxxxxxxxxxxxxxx"), "");
}

TEST(GetLowerCaseStringTest, OneSharedBuffer)
{
    char* pchFirst = GetLowerCaseString("A");
    char* pchSecond = GetLowerCaseString("B");
    EXPECT_EQ(pchFirst, pchSecond);
    EXPECT_STREQ(pchFirst, "b");
}

TEST(TokenFunctions, NullArgumentsAreInternalErrors)
{
    char achBuffer[TEXT_TOKEN_BUFFER_SIZE] = {};
    CapturedOutput output;
    TrimComment(nullptr);
    TrimSideSpace(nullptr);
    EXPECT_EQ(TrimLeadingSpace(nullptr), nullptr);
    ParseQuotedData(nullptr, achBuffer);
    ParseNonQuotedData(achBuffer, nullptr, 0);
    EXPECT_EQ(ValidateHexData(nullptr), 0);
    output.Finish();
    std::string sExpected;
    for (int i = 0; i < 6; ++i) {
        sExpected += "<ERROR> Internal Error!\n";
    }
    EXPECT_EQ(output.Err(), sExpected);
}

// --- HexDigitsValue ---------------------------------------------------------------

TEST(HexDigitsValueTest, EitherCaseAndTheMaskKeepsTheLowBits)
{
    EXPECT_EQ(HexDigitsValue("1b", 0xFFFF), 0x1Bu);
    EXPECT_EQ(HexDigitsValue("1B", 0xFFFF), 0x1Bu);
    EXPECT_EQ(HexDigitsValue("1FF", 0xFF), 0xFFu);
    EXPECT_EQ(HexDigitsValue("100", 0xFF), 0u);
    EXPECT_EQ(HexDigitsValue("12345", 0xFFFF), 0x2345u);
}

// The low bits of the exact number, however long it is: no saturation.
TEST(HexDigitsValueTest, ManyDigitsNeverOverflow)
{
    EXPECT_EQ(HexDigitsValue((std::string(100, 'F') + "0A").c_str(), 0xFFFF), 0xFF0Au);
    EXPECT_EQ(HexDigitsValue((std::string(100, '1') + "0000").c_str(), 0xFFFF), 0u);
}

TEST(HexDigitsValueTest, EmptyNullAndANonDigitEnd)
{
    EXPECT_EQ(HexDigitsValue("", 0xFFFF), 0u);
    EXPECT_EQ(HexDigitsValue(nullptr, 0xFFFF), 0u);
    EXPECT_EQ(HexDigitsValue("2g5", 0xFFFF), 2u);
}

}  // namespace
