#include "cli/file_arguments.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "encoding/text_encoding.h"
#include "support/test_support.h"

using valdrn_test::CapturedOutput;

namespace {

const std::string S_sFileHint = "\n\rUse VALDRN -h for help.\n";

struct Parsed {
    bool bResult;
    int iIsSDR = 0;
    std::string sFileName;
    unsigned short u16FruID = 0xABCD;
    unsigned int u32Encoding = 99;
    std::string sOut;
    std::string sErr;
};

Parsed Parse(std::vector<std::string> asWords)
{
    std::vector<char*> apchArgs;
    for (auto& sWord : asWords) {
        apchArgs.push_back(sWord.data());
    }
    apchArgs.resize(16, nullptr);  // as the engine hands them over
    Parsed parsed{};
    parsed.u16FruID = 0xABCD;
    char achFileName[FILE_NAME_BUFFER_SIZE] = {};
    CapturedOutput output;
    parsed.bResult = ValidateAnalyzeParameters(static_cast<unsigned short>(asWords.size()), apchArgs.data(),
                                               &parsed.iIsSDR, achFileName, &parsed.u16FruID);
    output.Finish();
    parsed.sFileName = achFileName;
    parsed.sOut = output.Out();
    parsed.sErr = output.Err();
    return parsed;
}

Parsed ParseUpload(std::vector<std::string> asWords)
{
    std::vector<char*> apchArgs;
    for (auto& sWord : asWords) {
        apchArgs.push_back(sWord.data());
    }
    apchArgs.resize(16, nullptr);
    Parsed parsed{};
    parsed.u16FruID = 0xABCD;
    parsed.u32Encoding = 99;
    char achFileName[FILE_NAME_BUFFER_SIZE] = {};
    CapturedOutput output;
    parsed.bResult =
        ValidateAnalyzeUploadParameters(static_cast<unsigned short>(asWords.size()), apchArgs.data(), &parsed.iIsSDR,
                                        achFileName, &parsed.u32Encoding, &parsed.u16FruID);
    output.Finish();
    parsed.sFileName = achFileName;
    parsed.sOut = output.Out();
    parsed.sErr = output.Err();
    return parsed;
}

TEST(FileArguments, OneArgumentIsSDRWhateverTheName)
{
    const Parsed parsed = Parse({"a.fru"});
    EXPECT_TRUE(parsed.bResult);
    EXPECT_EQ(parsed.iIsSDR, 1);
    EXPECT_EQ(parsed.sFileName, "a.fru");
    EXPECT_EQ(parsed.sErr, "");
}

TEST(FileArguments, FruIdMakesItFRU)
{
    const Parsed parsed = Parse({"a.sdr", "fruID=0"});
    EXPECT_TRUE(parsed.bResult);
    EXPECT_EQ(parsed.iIsSDR, 0);
    EXPECT_EQ(parsed.u16FruID, 0);
}

TEST(FileArguments, FruIdValues)
{
    EXPECT_EQ(Parse({"x", "fruID=0x1B"}).u16FruID, 0x1B);
    EXPECT_EQ(Parse({"x", "fruID=fe"}).u16FruID, 0xFE);
    EXPECT_EQ(Parse({"x", "fruID=0X0a"}).u16FruID, 0x0A);
    EXPECT_EQ(Parse({"x", "fruID="}).u16FruID, 0);  // an empty number counts as valid
}

// The number is kept as 16 bits before it is judged: digits above the
// lowest four drop out.
TEST(FileArguments, FruIdIsCutTo16Bits)
{
    Parsed parsed = Parse({"x", "fruID=10000"});
    EXPECT_TRUE(parsed.bResult) << parsed.sErr;
    EXPECT_EQ(parsed.u16FruID, 0);
    parsed = Parse({"x", "fruID=0x1001B"});
    EXPECT_TRUE(parsed.bResult) << parsed.sErr;
    EXPECT_EQ(parsed.u16FruID, 0x1B);
    parsed = Parse({"x", "fruID=FFFFFFFFFFFFFFFFFFFFFFFF0002"});
    EXPECT_TRUE(parsed.bResult) << parsed.sErr;
    EXPECT_EQ(parsed.u16FruID, 2);
    parsed = ParseUpload({"o", "encoding=utf8", "fruID=10001"});
    EXPECT_TRUE(parsed.bResult) << parsed.sErr;
    EXPECT_EQ(parsed.u16FruID, 1);
}

TEST(FileArguments, FruIdRefusals)
{
    struct Case {
        const char* pchWord;
        std::string sMessage;
    } aCases[] = {
        {"fruID=FF", "<ERROR> FRU ID (0xFF) is reserved! \n \n"},
        {"fruID=0xff", "<ERROR> FRU ID (0xFF) is reserved! \n \n"},
        {"fruID=100", "<ERROR> FRU ID (0x100) is limited to 0x00~0xFE! \n \n"},
        {"fruID=1FFFF", "<ERROR> FRU ID (0xFFFF) is limited to 0x00~0xFE! \n \n"},
        {"fruID=100FF", "<ERROR> FRU ID (0xFF) is reserved! \n \n"},
        {"fruID=12345", "<ERROR> FRU ID (0x2345) is limited to 0x00~0xFE! \n \n"},
        {"fruID=zz", "<ERROR> FRU ID is not a number! \n"},
        {"fruID=0x", "<ERROR> FRU ID is not a number! \n"},
        {"fruid=1", "<ERROR> 'fruid=1' is an invalid parameter for -d/-v/-t! \n\n"},
        {"encoding=ascii", "<ERROR> 'encoding=ascii' is an invalid parameter for -d/-v/-t! \n\n"},
    };
    for (const Case& refusal : aCases) {
        const Parsed parsed = Parse({"x.fru", refusal.pchWord});
        EXPECT_FALSE(parsed.bResult) << refusal.pchWord;
        EXPECT_EQ(parsed.sErr, refusal.sMessage) << refusal.pchWord;
        EXPECT_EQ(parsed.u16FruID, 0xABCD);
    }
}

TEST(FileArguments, NoArgumentOrNoToken)
{
    Parsed parsed = Parse({});
    EXPECT_FALSE(parsed.bResult);
    EXPECT_EQ(parsed.sErr, "<ERROR> Please specify a SDR/FRU filename! \n \n");
    parsed = Parse({" , "});
    EXPECT_FALSE(parsed.bResult);
    EXPECT_EQ(parsed.sErr, "<ERROR> Unknown flag: \n \nInvalid operations. \n");
    EXPECT_EQ(parsed.sOut, S_sFileHint);
}

TEST(FileArguments, FirstTokenOfEachArgument)
{
    const Parsed parsed = Parse({"in.fru,ignored", "fruID=2 extra"});
    EXPECT_TRUE(parsed.bResult);
    EXPECT_EQ(parsed.sFileName, "in.fru");
    EXPECT_EQ(parsed.u16FruID, 2);
}

TEST(UploadArguments, SDRAndFRU)
{
    Parsed parsed = ParseUpload({"out.sdr", "encoding=utf16"});
    EXPECT_TRUE(parsed.bResult);
    EXPECT_EQ(parsed.iIsSDR, 1);
    EXPECT_EQ(parsed.u32Encoding, FILE_ENCODING_UTF16);
    parsed = ParseUpload({"out.fru", "encoding=utf8", "fruID=3"});
    EXPECT_TRUE(parsed.bResult);
    EXPECT_EQ(parsed.iIsSDR, 0);
    EXPECT_EQ(parsed.u32Encoding, FILE_ENCODING_UTF8);
    EXPECT_EQ(parsed.u16FruID, 3);
    EXPECT_EQ(ParseUpload({"o", "encoding=ascii"}).u32Encoding, FILE_ENCODING_ASCII);
}

TEST(UploadArguments, EncodingMustComeSecond)
{
    const Parsed parsed = ParseUpload({"out.txt", "fruID=1", "encoding=ascii"});
    EXPECT_FALSE(parsed.bResult);
    EXPECT_EQ(parsed.sErr, "<ERROR> Incorrect command format.\n\rInvalid operations.");
    EXPECT_EQ(parsed.sOut, S_sFileHint);
}

TEST(UploadArguments, EncodingValuesAreCaseSensitive)
{
    const Parsed parsed = ParseUpload({"out.txt", "encoding=UTF8"});
    EXPECT_FALSE(parsed.bResult);
    EXPECT_EQ(parsed.sErr, "<ERROR> Unrecognized encoding type!");
    EXPECT_EQ(parsed.sOut, S_sFileHint);
}

TEST(UploadArguments, MissingEncodingAndBadFruId)
{
    Parsed parsed = ParseUpload({"out.txt"});
    EXPECT_FALSE(parsed.bResult);
    EXPECT_EQ(parsed.sErr, "<ERROR> Please specify a file encoding type!");
    EXPECT_EQ(parsed.sOut, S_sFileHint);
    parsed = ParseUpload({"out.txt", "encoding=utf8", "id=1"});
    EXPECT_EQ(parsed.sErr, "<ERROR> 'id=1' is an invalid parameter for -u! \n\n");
    parsed = ParseUpload({"out.txt", "encoding=utf8", "fruID=FF"});
    EXPECT_EQ(parsed.sErr, "<ERROR> FRU ID (0xFF) is reserved! \n \n");
    parsed = ParseUpload({});
    EXPECT_EQ(parsed.sErr, "<ERROR> Please specify a SDR/FRU filename! \n \n");
}

TEST(UploadArguments, NullPointers)
{
    int iIsSDR = 0;
    unsigned int u32Encoding = 0;
    unsigned short u16FruID = 0;
    char achFileName[FILE_NAME_BUFFER_SIZE];
    CapturedOutput output;
    EXPECT_FALSE(ValidateAnalyzeUploadParameters(1, nullptr, &iIsSDR, achFileName, &u32Encoding, &u16FruID));
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error!");
}

TEST(IsStringNullOrEmptyTest, Values)
{
    EXPECT_TRUE(IsStringNullOrEmpty(nullptr));
    EXPECT_TRUE(IsStringNullOrEmpty(""));
    EXPECT_FALSE(IsStringNullOrEmpty(" "));
}

}  // namespace
