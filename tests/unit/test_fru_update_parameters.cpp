// The -updateFRU parameters: their checks, one by one and together, and
// the request they complete.
#include "cli/fru_update_parameters.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

using namespace valdrn_test;

namespace {

struct Outcome {
    bool bValid = false;
    FRUUpdateRequest request = {};
    std::string sErr;
};

Outcome Validate(std::vector<std::string> asWords)
{
    std::vector<char*> apchArgs;
    for (std::string& sWord : asWords) {
        apchArgs.push_back(&sWord[0]);
    }
    apchArgs.push_back(nullptr);  // as argv ends
    Outcome outcome;
    CapturedOutput output;
    outcome.bValid = ValidateAnalyzeFRUUpdateDataParameters(static_cast<unsigned short>(apchArgs.size() - 1),
                                                            apchArgs.data(), &outcome.request);
    output.Finish();
    outcome.sErr = output.Err();
    return outcome;
}

std::vector<std::string> StringUpdate(const std::string& sType, const std::string& sLength, const std::string& sValue)
{
    return {"fieldName=snBoard",    "fruID=0",           "offset=58", "strType=" + sType,
            "strLength=" + sLength, "strValue=" + sValue};
}

std::string Encoded(const Outcome& outcome, size_t uCount)
{
    return std::string(reinterpret_cast<const char*>(outcome.request.au8EncodedData), uCount);
}

TEST(FruUpdateParameters, EightBitValueIsPaddedToTheLength)
{
    const Outcome outcome = Validate(StringUpdate("3", "A", "ABCDEFG"));
    ASSERT_TRUE(outcome.bValid) << outcome.sErr;
    EXPECT_EQ(outcome.request.u8StringLength, 10);
    EXPECT_EQ(Encoded(outcome, 10), "ABCDEFG   ");
    EXPECT_STREQ(outcome.request.achStringValue, "ABCDEFG   ");
    EXPECT_STREQ(outcome.request.achFieldName, "snBoard");
    EXPECT_EQ(outcome.request.u16Offset, 0x58);
    EXPECT_EQ(outcome.request.u32StringType, 3u);
}

TEST(FruUpdateParameters, SixBitValueIsPaddedWithOneSpace)
{
    const Outcome outcome = Validate(StringUpdate("2", "3", "AB"));
    ASSERT_TRUE(outcome.bValid) << outcome.sErr;
    EXPECT_STREQ(outcome.request.achStringValue, "AB ");
    // "AB ": 0x21 0x22 0x00 packed six bits each, least significant first.
    EXPECT_EQ(Encoded(outcome, 3), std::string("\xA1\x08\x00", 3));
}

TEST(FruUpdateParameters, BcdPlusValueIsPaddedToAnEvenCount)
{
    const Outcome outcome = Validate(StringUpdate("1", "3", "123"));
    ASSERT_TRUE(outcome.bValid) << outcome.sErr;
    EXPECT_STREQ(outcome.request.achStringValue, "123   ");
    EXPECT_EQ(Encoded(outcome, 3), std::string("\x12\x3A\xAA", 3));
}

TEST(FruUpdateParameters, OneEightBitCharacterIsRefused)
{
    const Outcome outcome = Validate(StringUpdate("3", "1", "A"));
    EXPECT_FALSE(outcome.bValid);
    EXPECT_EQ(outcome.sErr, "<ERROR> The string cannot be 1 character long! \n");
}

TEST(FruUpdateParameters, FruIdIsTakenAsEightBits)
{
    std::vector<std::string> asWords = StringUpdate("3", "A", "ABCDEFG");
    asWords[1] = "fruID=1FF";
    Outcome outcome = Validate(asWords);
    EXPECT_FALSE(outcome.bValid);
    EXPECT_EQ(outcome.sErr, "<ERROR> FRU ID specified is reserved! \n");
    asWords[1] = "fruID=100";
    outcome = Validate(asWords);
    EXPECT_TRUE(outcome.bValid) << outcome.sErr;
    EXPECT_EQ(outcome.request.u8FruID, 0);
}

TEST(FruUpdateParameters, FruIdDigitsAboveTheLowestTwoNeverCount)
{
    std::vector<std::string> asWords = StringUpdate("3", "A", "ABCDEFG");
    asWords[1] = "fruID=0x" + std::string(40, 'F') + "01";
    Outcome outcome = Validate(asWords);
    EXPECT_TRUE(outcome.bValid) << outcome.sErr;
    EXPECT_EQ(outcome.request.u8FruID, 1);
    asWords[1] = "fruID=" + std::string(20, '1') + "FF";
    outcome = Validate(asWords);
    EXPECT_FALSE(outcome.bValid);
    EXPECT_EQ(outcome.sErr, "<ERROR> FRU ID specified is reserved! \n");
}

TEST(FruUpdateParameters, OffsetIsTakenAsSixteenBits)
{
    std::vector<std::string> asWords = StringUpdate("3", "A", "ABCDEFG");
    asWords[2] = "offset=0x1" + std::string(20, '0') + "58";
    const Outcome outcome = Validate(asWords);
    ASSERT_TRUE(outcome.bValid) << outcome.sErr;
    EXPECT_EQ(outcome.request.u16Offset, 0x58);
}

// Unlike the numbers taken as so many bits, the length is judged whole.
TEST(FruUpdateParameters, ALongStringLengthIsRefusedNotCut)
{
    const Outcome outcome = Validate(StringUpdate("3", "1" + std::string(20, '0') + "A", "ABCDEFG"));
    EXPECT_FALSE(outcome.bValid);
    EXPECT_EQ(outcome.sErr, "<ERROR> String length must be less than or equal to 63 bytes! \n");
}

TEST(FruUpdateParameters, StringTypeIsItsLeadingNumber)
{
    Outcome outcome = Validate(StringUpdate("0x3", "A", "ABCDEFG"));
    EXPECT_TRUE(outcome.bValid) << outcome.sErr;
    EXPECT_EQ(outcome.request.u32StringType, 3u);
    outcome = Validate(StringUpdate("103", "A", "ABCDEFG"));  // 0x103 taken as 8 bits
    EXPECT_TRUE(outcome.bValid) << outcome.sErr;
    outcome = Validate(StringUpdate("zz", "A", "ABCDEFG"));
    EXPECT_FALSE(outcome.bValid);
    EXPECT_EQ(outcome.sErr, "<ERROR> Invalid string type! \n");
}

TEST(FruUpdateParameters, DateTimeTakesExactlyThreeParameters)
{
    Outcome outcome = Validate({"fieldName=datetime", "offset=33", "fruID=0", "strType=3"});
    EXPECT_FALSE(outcome.bValid);
    EXPECT_EQ(outcome.sErr, "<ERROR> Incorrect number of parameters! \n");
    outcome = Validate({"fieldName=datetime", "offset=33", "strType=3"});
    EXPECT_FALSE(outcome.bValid);
    EXPECT_EQ(outcome.sErr, "<ERROR> Required parameter is not specified! \n");
    outcome = Validate({"fieldName=datetime", "offset=33", "fruID=0"});
    EXPECT_TRUE(outcome.bValid) << outcome.sErr;
}

TEST(FruUpdateParameters, OnlyTheFirstEqualsSignSeparates)
{
    const Outcome outcome = Validate(StringUpdate("3", "8", "A=B=C"));
    ASSERT_TRUE(outcome.bValid) << outcome.sErr;
    EXPECT_EQ(Encoded(outcome, 8), "A=B=C   ");
}

TEST(FruUpdateParameters, NumbersAreHexadecimal)
{
    const Outcome outcome = Validate(StringUpdate("3", "10", "SIXTEEN"));
    ASSERT_TRUE(outcome.bValid) << outcome.sErr;
    EXPECT_EQ(outcome.request.u8StringLength, 16);
}

struct Refusal {
    std::vector<std::string> asWords;
    std::string sMessage;
};

class FruUpdateRefusals : public testing::TestWithParam<Refusal> {};

TEST_P(FruUpdateRefusals, EachRuleHasItsMessage)
{
    const Outcome outcome = Validate(GetParam().asWords);
    EXPECT_FALSE(outcome.bValid);
    EXPECT_EQ(outcome.sErr, GetParam().sMessage);
}

const std::string S_sLongValue(127, 'A');

INSTANTIATE_TEST_SUITE_P(
    Parameters, FruUpdateRefusals,
    testing::Values(
        Refusal{{}, "<ERROR> Please specify the FRU data you wish to update! \n"},
        Refusal{{"a=1", "b=1", "c=1", "d=1", "e=1", "f=1", "g=1"},
                "<ERROR> The number of parameters exceeds the maximum allowed! \n"},
        Refusal{{"fieldName"}, "<ERROR> Parameter has no value! \n"},
        Refusal{{"fieldName="}, "<ERROR> Parameter has no value! \n"},
        Refusal{{"fieldNameXY=snBoard"}, "<ERROR> Parameter name (fieldNameXY) is not allowed! \n"},
        Refusal{{"strValue=" + S_sLongValue},
                "<ERROR> Parameter value (" + S_sLongValue + ") is over the maximum length! \n"},
        Refusal{{"fruID=1", "fruID=2"}, "<ERROR> Duplicated parameters found! \n"},
        Refusal{{"fieldName=snboard"}, "<ERROR> Incorrect field name! \n"},
        Refusal{{"fruID=xy"}, "<ERROR> FRU ID is not a number! \n"},
        Refusal{{"offset=5G"}, "<ERROR> Offset is not a number! \n"},
        Refusal{{"strType=0"}, "<ERROR> Invalid string type! \n"},
        Refusal{{"strType=4"}, "<ERROR> Invalid string type! \n"},
        Refusal{{"strLength=q"}, "<ERROR> String length is not a number! \n"},
        Refusal{{"strLength=40"}, "<ERROR> String length must be less than or equal to 63 bytes! \n"},
        Refusal{{"FieldName=snBoard"}, "<ERROR> Invalid parameter! \n"},
        Refusal{{"fieldName=snBoard", "fruID=0", "offset=58", "strType=3", "strLength=A"},
                "<ERROR> Incorrect number of parameters! \n"},
        Refusal{{"fieldName=snBoard", "fruID=0", "offset=58", "strType=3", "strLength=A", "fieldNam=x"},
                "<ERROR> Invalid parameter! \n"},
        Refusal{{"fruID=0", "offset=58", "strType=3", "strLength=A", "strValue=AB", "fieldName=datetime"},
                "<ERROR> Incorrect number of parameters! \n"},
        Refusal{StringUpdate("3", "3", "ABCD"),
                "The number of string data bytes exceeds the string length specified! \n"},
        Refusal{StringUpdate("3", "3F", std::string(64, 'A')),
                "<ERROR> The string exceeds the maximum number of 63 characters allowed! \n"},
        Refusal{StringUpdate("2", "3", "ABCDE"),
                "The number of string data bytes exceeds the string length specified! \n"},
        Refusal{StringUpdate("2", "3F", std::string(85, 'A')),
                "<ERROR> The string exceeds the maximum number of 84 characters allowed! \n"},
        Refusal{StringUpdate("1", "2", "12345"),
                "The number of string data bytes exceeds the string length specified! \n"},
        Refusal{StringUpdate("1", "3", "12A"),
                "Cannot convert to BCD plus! \nValid characters for BCD plus are: \n"
                "  Digits: 0 1 2 3 4 5 6 7 8 9 \n  Punctuations: space - . : , _ \nFailure to update FRU data! \n"},
        Refusal{StringUpdate("2", "3", "ab"),
                "Cannot convert to 6-bit ASCII, packed! \nValid characters for 6-bit ASCII are: \n"
                "  Alphabets: A B C D E F G H I J K L M N O P Q R S T U V W X Y Z \n"
                "  Digits: 0 1 2 3 4 5 6 7 8 9 \n"
                "  Punctuations: ! \" # $ % & ' ( ) * + , - . / : ; < = > ? @ [ \\ ] ^ _ space \n"
                "Failure to update FRU data! \n"}));

TEST(FruUpdateParameters, NoRequestIsAnInternalError)
{
    char achWord[] = "fruID=0";
    char* apchArgs[] = {achWord};
    CapturedOutput output;
    EXPECT_FALSE(ValidateAnalyzeFRUUpdateDataParameters(1, apchArgs, nullptr));
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error! \n");
}

}  // namespace
