// The exact copy of a repository: every record byte for byte, and nothing
// damaged taken for a copy.
#include "sdr/sdr_exact_copy.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

std::vector<std::string> OddRecords()
{
    std::string sVersion2 = SdrFixedRecord(3, 0x08, 0x10);
    sVersion2[2] = '\x02';
    return {SdrNamedRecord(1, 0x01, "Fan 1"), SdrRecord(2, 0xC1, std::string(255, '\0')), sVersion2,
            SdrRecordWithIdBytes(4, 0x02, 0xC4, std::string("A\n\0B", 4))};
}

// Reads the bytes back; the error line, if any, into *psErr.
bool ReadBack(const std::string& sBytes, std::vector<std::string>* pasRecords, std::string* psErr = nullptr)
{
    CapturedOutput output;
    const bool bRead = ReadExactSDRCopy(sBytes, "c.bin", pasRecords);
    output.Finish();
    if (psErr != nullptr) {
        *psErr = output.Err();
    }
    return bRead;
}

TEST(ExactSDRCopyTest, EveryRecordComesBackByteForByte)
{
    const std::string sBytes = ExactSDRCopyBytes(OddRecords());
    EXPECT_TRUE(IsExactSDRCopy(sBytes));
    EXPECT_EQ(sBytes.substr(0, 5), "KRNW\x02");
    EXPECT_EQ(sBytes.substr(8, 8), "VALDRNEX");
    std::vector<std::string> asRead;
    ASSERT_TRUE(ReadBack(sBytes, &asRead));
    EXPECT_EQ(asRead, OddRecords());
}

// The layout is SDR binary format 2: the fixtures' writer of that format,
// given the marker, writes the same bytes.
TEST(ExactSDRCopyTest, TheLayoutIsBinaryFormatTwo)
{
    const std::vector<std::string> asRecords = {SdrNamedRecord(1, 0x01, "Fan 1"), SdrFixedRecord(2, 0x08, 0x10)};
    std::string sFormat2 = SdrBinaryFormat2(asRecords);
    sFormat2.replace(8, 8, "VALDRNEX");
    unsigned int uSum = 0;
    for (size_t i = 8; i < 20; ++i) {
        uSum += static_cast<unsigned char>(sFormat2[i]);
    }
    sFormat2[20] = static_cast<char>((0x100 - (uSum & 0xFF)) & 0xFF);
    EXPECT_EQ(ExactSDRCopyBytes(asRecords), sFormat2);
}

TEST(ExactSDRCopyTest, OtherFilesAreNoExactCopy)
{
    EXPECT_FALSE(IsExactSDRCopy(SdrBinaryFormat2({SdrFixedRecord(2, 0x08, 0x10)})));
    EXPECT_FALSE(IsExactSDRCopy(""));
    EXPECT_FALSE(IsExactSDRCopy(ExactSDRCopyBytes({}).substr(0, 20)));
}

TEST(ExactSDRCopyTest, DamageIsNamedAndNothingIsTaken)
{
    const std::string sGood = ExactSDRCopyBytes(OddRecords());
    struct Damage {
        std::string sBytes;
        std::string sWhat;
    };
    std::string sCrc = sGood;
    sCrc[40] = static_cast<char>(sCrc[40] ^ 0x80);
    std::string sHeader = sGood;
    sHeader[6] = static_cast<char>(sHeader[6] + 1);
    std::string sMore = sGood + std::string(1, '\0');
    const std::vector<Damage> aDamage = {
        {sCrc, "a record's CRC does not match (file offset 0x4A)"},
        {sHeader, "its header is not whole (file offset 0x0)"},
        {sGood.substr(0, sGood.size() - 1), "its size is not the one its header gives (file offset 0x12)"},
        {sMore, "its size is not the one its header gives (file offset 0x12)"},
    };
    for (const Damage& damage : aDamage) {
        std::vector<std::string> asRead = {"left over"};
        std::string sErr;
        EXPECT_FALSE(ReadBack(damage.sBytes, &asRead, &sErr)) << damage.sWhat;
        EXPECT_EQ(sErr, "<ERROR> The exact SDR copy c.bin is damaged: " + damage.sWhat + ".\n");
    }
}

// A copy larger than the size field can say holds the size modulo 65536.
TEST(ExactSDRCopyTest, ACopyOverSixtyFourKibibytesReadsBack)
{
    std::vector<std::string> asRecords;
    for (unsigned int i = 0; i < 1200; ++i) {
        asRecords.push_back(SdrFixedRecord(static_cast<uint16_t>(i), 0xC0, 0x40));
    }
    const std::string sBytes = ExactSDRCopyBytes(asRecords);
    ASSERT_GT(sBytes.size(), 65536u);
    std::vector<std::string> asRead;
    ASSERT_TRUE(ReadBack(sBytes, &asRead));
    EXPECT_EQ(asRead, asRecords);
}

TEST(ExactSDRCopyTest, TotalLengthNeverWraps)
{
    EXPECT_EQ(SDRRecordTotalLength(SdrRecord(1, 0xC0, std::string(255, 'x'))), 260u);
    EXPECT_EQ(SDRRecordTotalLength("\x01\x00\x51"), 0u);
}

}  // namespace
