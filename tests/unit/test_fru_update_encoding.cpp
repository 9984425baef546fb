// -updateFRU's encoding rules on their own: the padding of a value to its
// field's length, its encoding by string type, and the manufacturing
// date/time of now.
#include "fru/fru_update_encoding.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "support/test_support.h"

using namespace valdrn_test;

namespace {

FRUUpdateRequest Request(unsigned int u32Type, unsigned char u8Length, const char* pchValue)
{
    FRUUpdateRequest request = {};
    request.u32StringType = u32Type;
    request.u8StringLength = u8Length;
    std::strcpy(request.achStringValue, pchValue);
    return request;
}

std::string Encoded(const FRUUpdateRequest& request, size_t uCount)
{
    return std::string(reinterpret_cast<const char*>(request.au8EncodedData), uCount);
}

TEST(FruUpdateEncoding, EightBitValueIsPaddedWithSpacesToTheLength)
{
    FRUUpdateRequest request = Request(FRU_STRING_EIGHT_BIT, 10, "ABCDEFG");
    ASSERT_TRUE(EncodeFRUUpdateString(&request));
    EXPECT_EQ(Encoded(request, 10), "ABCDEFG   ");
    EXPECT_STREQ(request.achStringValue, "ABCDEFG   ");
}

TEST(FruUpdateEncoding, EightBitValueOfExactlyTheLengthIsKept)
{
    FRUUpdateRequest request = Request(FRU_STRING_EIGHT_BIT, 2, "AB");
    ASSERT_TRUE(EncodeFRUUpdateString(&request));
    EXPECT_EQ(Encoded(request, 2), "AB");
}

TEST(FruUpdateEncoding, SixBitValueIsPaddedUntilItFillsTheBytes)
{
    FRUUpdateRequest request = Request(FRU_STRING_SIX_BIT, 3, "AB");
    ASSERT_TRUE(EncodeFRUUpdateString(&request));
    EXPECT_STREQ(request.achStringValue, "AB ");
    EXPECT_EQ(Encoded(request, 3), std::string("\xA1\x08\x00", 3));
}

TEST(FruUpdateEncoding, BcdPlusPaddingRoundsDownToAnEvenCount)
{
    FRUUpdateRequest request = Request(FRU_STRING_BCD_PLUS, 3, "123");
    ASSERT_TRUE(EncodeFRUUpdateString(&request));
    EXPECT_STREQ(request.achStringValue, "123   ");
    EXPECT_EQ(Encoded(request, 3), std::string("\x12\x3A\xAA", 3));
}

// Any type but 6-bit and 8-bit ASCII is taken as BCD plus.
TEST(FruUpdateEncoding, AnUnknownTypeIsBcdPlus)
{
    FRUUpdateRequest request = Request(0, 1, "95");
    ASSERT_TRUE(EncodeFRUUpdateString(&request));
    EXPECT_EQ(Encoded(request, 1), std::string("\x95", 1));
}

TEST(FruUpdateEncoding, AnEmptyValueBecomesSpaces)
{
    FRUUpdateRequest request = Request(FRU_STRING_EIGHT_BIT, 4, "");
    ASSERT_TRUE(EncodeFRUUpdateString(&request));
    EXPECT_EQ(Encoded(request, 4), "    ");
}

TEST(FruUpdateEncoding, ALengthOfZeroTakesOnlyAnEmptyValue)
{
    FRUUpdateRequest request = Request(FRU_STRING_BCD_PLUS, 0, "");
    EXPECT_TRUE(EncodeFRUUpdateString(&request));
    request = Request(FRU_STRING_BCD_PLUS, 0, "1");
    CapturedOutput output;
    EXPECT_FALSE(EncodeFRUUpdateString(&request));
    output.Finish();
    EXPECT_EQ(output.Err(), "The number of string data bytes exceeds the string length specified! \n");
}

TEST(FruUpdateEncoding, TheLongestValueOfEachTypeFits)
{
    FRUUpdateRequest request = Request(FRU_STRING_EIGHT_BIT, 63, std::string(63, 'x').c_str());
    EXPECT_TRUE(EncodeFRUUpdateString(&request));
    request = Request(FRU_STRING_SIX_BIT, 63, std::string(84, 'X').c_str());
    EXPECT_TRUE(EncodeFRUUpdateString(&request));
    request = Request(FRU_STRING_BCD_PLUS, 63, std::string(126, '5').c_str());
    EXPECT_TRUE(EncodeFRUUpdateString(&request));
    EXPECT_EQ(Encoded(request, 63), std::string(63, '\x55'));
}

TEST(FruDateTime, MinutesSince1996InLocalTime)
{
    const char* pchSaved = std::getenv("TZ");
    const std::string sSaved = pchSaved != nullptr ? pchSaved : "";
    for (const char* pchZone : {"UTC0", "EST5"}) {
        setenv("TZ", pchZone, 1);
        tzset();
        std::tm epoch = {};
        epoch.tm_year = 96;
        epoch.tm_mday = 1;
        epoch.tm_isdst = -1;
        const long lBase = static_cast<long>(std::mktime(&epoch));
        const long lBefore = static_cast<long>(std::time(nullptr)) / 60 - lBase / 60;
        unsigned char au8Bytes[3] = {};
        ASSERT_TRUE(ConvertCurrentDateTimeToHex(au8Bytes));
        const long lAfter = static_cast<long>(std::time(nullptr)) / 60 - lBase / 60;
        const long lMinutes = au8Bytes[0] | au8Bytes[1] << 8 | au8Bytes[2] << 16;
        EXPECT_GE(lMinutes, lBefore) << pchZone;
        EXPECT_LE(lMinutes, lAfter) << pchZone;
    }
    if (pchSaved != nullptr) {
        setenv("TZ", sSaved.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}

TEST(FruDateTime, NoOutputIsAnInternalError)
{
    CapturedOutput output;
    EXPECT_FALSE(ConvertCurrentDateTimeToHex(nullptr));
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error! \n");
}

}  // namespace
