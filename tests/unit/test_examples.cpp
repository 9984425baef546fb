// The sample files of examples/ agree with each other: the SDR text file
// and the binary file hold the same records, the FRU text file and the
// binary image the same bytes, and FreeIPMI decodes the image cleanly.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fru/fru_text_reader.h"
#include "sdr/sdr_text_reader.h"
#include "support/fru_fixtures.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

const std::string S_sExamples = EXAMPLES_DIR;

std::vector<std::string> SdrRecordsOf(const std::string& sPath)
{
    SDRRecordList list;
    CapturedOutput output;
    EXPECT_EQ(ReadSDRFile(sPath.c_str(), &list), 1);
    output.Finish();
    std::vector<std::string> asRecords;
    for (const SDREntry& entry : list) {
        asRecords.push_back(RecordOf(entry));
    }
    return asRecords;
}

std::string FruImageOf(const std::string& sPath)
{
    FRUImage image;
    CapturedOutput output;
    EXPECT_EQ(ReadFRUFile(sPath.c_str(), &image), 1);
    output.Finish();
    return std::string(reinterpret_cast<const char*>(image.au8Bytes.data()), image.u16Size);
}

TEST(Examples, SdrTextAndBinaryHoldTheSameRecords)
{
    const std::vector<std::string> asText = SdrRecordsOf(S_sExamples + "/ToBMC.sdr");
    EXPECT_EQ(asText.size(), 9u);
    EXPECT_EQ(SdrRecordsOf(S_sExamples + "/ToBMC.sdr.bin"), asText);
    std::vector<int> aiTypes;
    for (const std::string& sRecord : asText) {
        aiTypes.push_back(static_cast<unsigned char>(sRecord[3]));
    }
    EXPECT_EQ(aiTypes, (std::vector<int>{0x01, 0x01, 0x01, 0x02, 0x02, 0x08, 0x11, 0x12, 0xC0}));
}

TEST(Examples, FruTextAndBinaryHoldTheSameImage)
{
    const std::string sBinary = ReadFile(S_sExamples + "/ServerBoard.fru.bin");
    EXPECT_EQ(FruImageOf(S_sExamples + "/ServerBoard.fru"), sBinary);
    EXPECT_EQ(FruImageOf(S_sExamples + "/ServerBoard.fru.bin"), sBinary);
    const std::string sDecoded = DecodeWithIpmiFru(sBinary);
    EXPECT_EQ(sDecoded.find("rror"), std::string::npos) << sDecoded;
    EXPECT_NE(sDecoded.find("FRU Board Product Name: X99 Server Board"), std::string::npos) << sDecoded;
}

}  // namespace
