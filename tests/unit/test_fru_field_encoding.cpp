#include "encoding/fru_field_encoding.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

using valdrn_test::CapturedOutput;

namespace {

using Bytes = std::vector<unsigned char>;

Bytes PackSixBit(const char* pchText, int* piResult = nullptr)
{
    Bytes au8Out(64, 0);
    const int iResult = ConvertASCIIStrToSixBitASCII(pchText, au8Out.data());
    if (piResult != nullptr) {
        *piResult = iResult;
    }
    au8Out.resize((std::string(pchText).size() * 6 + 7) / 8);
    return au8Out;
}

std::string UnpackSixBit(const Bytes& au8Packed)
{
    std::string sText(4 * ((au8Packed.size() + 2) / 3) + 1, '\0');
    const unsigned char u8None = 0;
    const unsigned char* pu8Packed = au8Packed.empty() ? &u8None : au8Packed.data();
    EXPECT_EQ(ConvertSixBitASCIIToASCIIStr(pu8Packed, static_cast<unsigned char>(au8Packed.size()), &sText[0]), 1);
    return sText.c_str();
}

// --- six-bit ASCII ---------------------------------------------------------

TEST(SixBit, SingleLetterPacksToOneByte)
{
    EXPECT_EQ(PackSixBit("A"), (Bytes{0x21}));
}

TEST(SixBit, FourLettersPackToThreeBytes)
{
    // A=0x21 B=0x22 C=0x23 D=0x24, least significant bits first.
    EXPECT_EQ(PackSixBit("ABCD"), (Bytes{0xA1, 0x38, 0x92}));
}

TEST(SixBit, TwoLettersPackToTwoBytes)
{
    EXPECT_EQ(PackSixBit("AB"), (Bytes{0xA1, 0x08}));
}

TEST(SixBit, DecodesGroupsAndRemainders)
{
    EXPECT_EQ(UnpackSixBit({0xA1, 0x38, 0x92}), "ABCD");
    EXPECT_EQ(UnpackSixBit({0xA1, 0x08}), "AB");
    EXPECT_EQ(UnpackSixBit({0x21}), "A");
    EXPECT_EQ(UnpackSixBit({}), "");
}

TEST(SixBit, RoundTripOfTheWholeSet)
{
    std::string sAll;
    for (char c = 0x20; c <= 0x5F; ++c) {
        sAll += c;
    }
    // 64 characters fit 48 bytes exactly.
    EXPECT_EQ(UnpackSixBit(PackSixBit(sAll.c_str())), sAll);
    EXPECT_EQ(UnpackSixBit(PackSixBit("SN-0042_X")), "SN-0042_X");
    // Seven characters fill six bytes, which decode as eight: the last one
    // is made of zero bits, a space.
    EXPECT_EQ(UnpackSixBit(PackSixBit("ABCDEFG")), "ABCDEFG ");
}

TEST(SixBit, LowerCaseAndHighBytesFail)
{
    int iResult = 1;
    PackSixBit("Abc", &iResult);
    EXPECT_EQ(iResult, 0);
    for (int c : {0x60, 0x61, 0x7A, 0x7F, 0x80, 0xE9, 0x1F, 0x0A}) {
        const char achText[] = {'A', static_cast<char>(c), '\0'};
        PackSixBit(achText, &iResult);
        EXPECT_EQ(iResult, 0) << c;
    }
    PackSixBit(" _", &iResult);
    EXPECT_EQ(iResult, 1);
}

TEST(SixBit, FailureKeepsCharactersBeforeTheBadOne)
{
    unsigned char au8Out[4] = {};
    EXPECT_EQ(ConvertASCIIStrToSixBitASCII("Ab", au8Out), 0);
    EXPECT_EQ(au8Out[0], 0x21);
}

TEST(SixBit, OverlongTextIsRefused)
{
    const std::string sLong(256, 'A');
    unsigned char au8Out[256] = {};
    CapturedOutput output;
    EXPECT_EQ(ConvertASCIIStrToSixBitASCII(sLong.c_str(), au8Out), 0);
    output.Finish();
    EXPECT_EQ(au8Out[0], 0);
}

TEST(SixBit, NullPointers)
{
    unsigned char au8Out[4] = {};
    char achText[8] = {};
    CapturedOutput output;
    EXPECT_EQ(ConvertASCIIStrToSixBitASCII(nullptr, au8Out), 0);
    EXPECT_EQ(ConvertASCIIStrToSixBitASCII("A", nullptr), 0);
    EXPECT_EQ(ConvertSixBitASCIIToASCIIStr(nullptr, 1, achText), 0);
    EXPECT_EQ(ConvertSixBitASCIIToASCIIStr(au8Out, 1, nullptr), 0);
    output.Finish();
    EXPECT_EQ(output.Err(),
              "<ERROR> Internal Error! \n<ERROR> Internal Error! \n"
              "<ERROR> Internal Error! \n<ERROR> Internal Error! \n");
}

// --- BCD plus --------------------------------------------------------------

TEST(BCDPlus, CharacterTable)
{
    const std::string sCharacters = "0123456789 -.:,_";
    for (unsigned int i = 0; i < sCharacters.size(); ++i) {
        EXPECT_EQ(ConvertCharToBCDPlus(sCharacters[i]), i);
        EXPECT_EQ(ConvertBCDPlusToChar(static_cast<unsigned char>(i)), sCharacters[i]);
    }
    for (char c : {'A', 'a', '/', '+', '\0', static_cast<char>(0xB0)}) {
        EXPECT_EQ(ConvertCharToBCDPlus(c), 0xFF);
    }
}

TEST(BCDPlus, InvalidCodeHasMessage)
{
    CapturedOutput output;
    EXPECT_EQ(ConvertBCDPlusToChar(0x10), 0);
    EXPECT_EQ(ConvertBCDPlusToChar(0xFF), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Invalid BCD number!\n<ERROR> Invalid BCD number!\n");
}

TEST(BCDPlus, OddLengthGainsAZero)
{
    unsigned char au8Out[3] = {};
    EXPECT_EQ(ConvertASCIIStrToBCDPlus("12:30", au8Out), 1);
    EXPECT_EQ((Bytes{au8Out, au8Out + 3}), (Bytes{0x12, 0xD3, 0x00}));
    char achText[7] = {};
    EXPECT_EQ(ConvertBCDPlusToASCIIStr(au8Out, 3, achText), 1);
    EXPECT_STREQ(achText, "12:300");
}

TEST(BCDPlus, EncoderAddsIntoZeroedOutput)
{
    unsigned char au8Out[2] = {};
    EXPECT_EQ(ConvertASCIIStrToBCDPlus("_,", au8Out), 1);
    EXPECT_EQ(au8Out[0], 0xFE);
    EXPECT_EQ(au8Out[1], 0x00);
}

TEST(BCDPlus, EncoderRefusesOtherCharacters)
{
    unsigned char au8Out[4] = {};
    CapturedOutput output;
    EXPECT_EQ(ConvertASCIIStrToBCDPlus("12A4", au8Out), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "");  // callers print their own message
    EXPECT_EQ(au8Out[0], 0x12);
}

TEST(BCDPlus, EmptyTextAndEmptyData)
{
    unsigned char au8Out[1] = {0};
    EXPECT_EQ(ConvertASCIIStrToBCDPlus("", au8Out), 1);
    char achText[2] = {'x', '\0'};
    EXPECT_EQ(ConvertBCDPlusToASCIIStr(au8Out, 0, achText), 1);
    EXPECT_STREQ(achText, "x");  // nothing written, not even a terminator
}

TEST(BCDPlus, NullPointers)
{
    unsigned char au8Out[2] = {};
    char achText[4] = {};
    CapturedOutput output;
    EXPECT_EQ(ConvertASCIIStrToBCDPlus(nullptr, au8Out), 0);
    EXPECT_EQ(ConvertBCDPlusToASCIIStr(au8Out, 1, nullptr), 0);
    EXPECT_EQ(ConvertBCDPlusToASCIIStr(nullptr, 1, achText), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error! \n<ERROR> Internal Error! \n<ERROR> Internal Error! \n");
}

// --- Latin-1 / UTF-8 / UTF-16LE ---------------------------------------------

struct Converted {
    int iResult;
    Bytes au8Out;
};

template <typename F>
Converted Convert(F pfn, const Bytes& au8In)
{
    Bytes au8Out(3 * au8In.size() + 4, 0xEE);
    unsigned char u8Count = 0xAA;
    const unsigned char u8None = 0;
    const unsigned char* pu8In = au8In.empty() ? &u8None : au8In.data();
    const int iResult = pfn(pu8In, static_cast<unsigned char>(au8In.size()), au8Out.data(), &u8Count);
    EXPECT_EQ(iResult == 0, u8Count == 0xAA) << "the count is written exactly on success";
    au8Out.resize(iResult ? u8Count : 0);
    return {iResult, au8Out};
}

TEST(Latin1ToUtf8, AsciiStaysAndHighBytesDouble)
{
    EXPECT_EQ(Convert(ASCIIToUTF8, {0x41, 0xE9, 0x7F, 0x80, 0xFF}).au8Out,
              (Bytes{0x41, 0xC3, 0xA9, 0x7F, 0xC2, 0x80, 0xC3, 0xBF}));
    const Converted empty = Convert(ASCIIToUTF8, {});
    EXPECT_EQ(empty.iResult, 1);
    EXPECT_EQ(empty.au8Out, Bytes{});
}

TEST(Latin1ToUtf8, OutputCountWrapsAt256)
{
    const Bytes au8In(200, 0xE9);
    Bytes au8Out(400, 0);
    unsigned char u8Count = 0;
    EXPECT_EQ(ASCIIToUTF8(au8In.data(), 200, au8Out.data(), &u8Count), 1);
    EXPECT_EQ(u8Count, 400 % 256);
    EXPECT_EQ(au8Out[398], 0xC3);  // all 400 bytes are written
    EXPECT_EQ(au8Out[399], 0xA9);
}

TEST(Utf8ToLatin1, TwoByteLeadsBackToLatin1)
{
    EXPECT_EQ(Convert(UTF8ToASCII, {0xC3, 0xA9}).au8Out, (Bytes{0xE9}));
    EXPECT_EQ(Convert(UTF8ToASCII, {0x41, 0xC2, 0xA0, 0x42}).au8Out, (Bytes{0x41, 0xA0, 0x42}));
}

TEST(Utf8ToLatin1, OverlongLeadsAreTakenAsTheyAre)
{
    EXPECT_EQ(Convert(UTF8ToASCII, {0xC1, 0x81}).au8Out, (Bytes{0x41}));
    EXPECT_EQ(Convert(UTF8ToASCII, {0xC0, 0x41}).au8Out, (Bytes{0x01}));  // continuation not checked
}

TEST(Utf8ToLatin1, BeyondLatin1IsRejected)
{
    for (const Bytes& au8In :
         {Bytes{0xC4, 0x80}, Bytes{0xE2, 0x82, 0xAC}, Bytes{0xF0, 0x9F, 0x98, 0x80}, Bytes{0x80}, Bytes{0x41, 0xC3}}) {
        Bytes au8Out(8, 0);
        unsigned char u8Count = 0x55;
        CapturedOutput output;
        EXPECT_EQ(UTF8ToASCII(au8In.data(), static_cast<unsigned char>(au8In.size()), au8Out.data(), &u8Count), 0);
        output.Finish();
        EXPECT_EQ(output.Err(), "<ERROR> Invalid UTF-8 data found.\n");
        EXPECT_EQ(u8Count, 0x55);  // the count is not written on failure
    }
}

TEST(Utf16ToUtf8, CodeUnitsByRange)
{
    EXPECT_EQ(Convert(UTF16ToUTF8, {0x41, 0x00}).au8Out, (Bytes{0x41}));
    EXPECT_EQ(Convert(UTF16ToUTF8, {0xE9, 0x00}).au8Out, (Bytes{0xC3, 0xA9}));
    EXPECT_EQ(Convert(UTF16ToUTF8, {0xAC, 0x20}).au8Out, (Bytes{0xE2, 0x82, 0xAC}));
    EXPECT_EQ(Convert(UTF16ToUTF8, {0x93, 0x07}).au8Out, (Bytes{0xDE, 0x93}));  // U+0793
}

TEST(Utf16ToUtf8, LowPartOfTwoByteRangeIsDropped)
{
    const Converted dropped = Convert(UTF16ToUTF8, {0x41, 0x01});
    EXPECT_EQ(dropped.iResult, 1);
    EXPECT_EQ(dropped.au8Out, Bytes{});
    EXPECT_EQ(Convert(UTF16ToUTF8, {0x41, 0x00, 0x41, 0x01, 0x42, 0x00}).au8Out, (Bytes{0x41, 0x42}));
}

TEST(Utf16ToUtf8, SurrogatesAreConvertedOneByOne)
{
    // U+1F600 as D83D DE00: two three-byte sequences.
    EXPECT_EQ(Convert(UTF16ToUTF8, {0x3D, 0xD8, 0x00, 0xDE}).au8Out, (Bytes{0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}));
}

TEST(Utf16ToUtf8, OddTrailingByteIsNotRead)
{
    EXPECT_EQ(Convert(UTF16ToUTF8, {0x41, 0x00, 0x42}).au8Out, (Bytes{0x41}));
}

TEST(Utf8ToUtf16, OneTwoAndThreeByteSequences)
{
    EXPECT_EQ(Convert(UTF8ToUTF16, {0x41}).au8Out, (Bytes{0x41, 0x00}));
    EXPECT_EQ(Convert(UTF8ToUTF16, {0xC3, 0xA9}).au8Out, (Bytes{0xE9, 0x00}));
    EXPECT_EQ(Convert(UTF8ToUTF16, {0xC5, 0x81}).au8Out, (Bytes{0x41, 0x01}));
    EXPECT_EQ(Convert(UTF8ToUTF16, {0xE2, 0x82, 0xAC}).au8Out, (Bytes{0xAC, 0x20}));
}

TEST(Utf8ToUtf16, LongerOrBrokenSequencesAreRejected)
{
    for (const Bytes& au8In : {Bytes{0xF0, 0x9F, 0x98, 0x80}, Bytes{0x80}, Bytes{0xC3}, Bytes{0xE2, 0x82}}) {
        CapturedOutput output;
        EXPECT_EQ(Convert(UTF8ToUTF16, au8In).iResult, 0);
        output.Finish();
        EXPECT_EQ(output.Err(), "<ERROR> Invalid UTF-8 data found.\n");
    }
}

TEST(Utf8RoundTrips, Latin1ThroughUtf8AndUtf16)
{
    Bytes au8Latin1;
    for (int c = 1; c < 256; ++c) {
        au8Latin1.push_back(static_cast<unsigned char>(c));
    }
    const Bytes au8First(au8Latin1.begin(), au8Latin1.begin() + 100);
    const Bytes au8Utf8 = Convert(ASCIIToUTF8, au8First).au8Out;
    EXPECT_EQ(Convert(UTF8ToASCII, au8Utf8).au8Out, au8First);
    const Bytes au8Utf16 = Convert(UTF8ToUTF16, au8Utf8).au8Out;
    EXPECT_EQ(Convert(UTF16ToUTF8, au8Utf16).au8Out, au8Utf8);
}

TEST(UnicodeConversions, NullPointers)
{
    unsigned char au8Buf[4] = {};
    unsigned char u8Count = 0;
    CapturedOutput output;
    EXPECT_EQ(ASCIIToUTF8(nullptr, 1, au8Buf, &u8Count), 0);
    EXPECT_EQ(UTF8ToASCII(au8Buf, 1, nullptr, &u8Count), 0);
    EXPECT_EQ(UTF16ToUTF8(au8Buf, 2, au8Buf, nullptr), 0);
    EXPECT_EQ(UTF8ToUTF16(nullptr, 1, au8Buf, &u8Count), 0);
    output.Finish();
    EXPECT_EQ(output.Err(),
              "<ERROR> Internal Error!\n<ERROR> Internal Error!\n<ERROR> Internal Error!\n"
              "<ERROR> Internal Error!\n");
}

}  // namespace
