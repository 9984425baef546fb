// The result document (VALDRN_RESULT) of real runs against the test BMC:
// what differs under -v, the way back of a failed write, and the schema.
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/e2e_support.h"
#include "support/fru_fixtures.h"
#include "support/sdr_fixtures.h"

using namespace valdrn_test;

namespace {

const std::vector<std::string> S_asFew = {SdrNamedRecord(0x0101, 0x01, "Fan 1"), SdrFixedRecord(0x0102, 0x08, 0x10),
                                          SdrNamedRecord(0x0103, 0x02, "PSU")};

std::string Hex(const std::string& sBytes)
{
    static const char S_achDigits[] = "0123456789ABCDEF";
    std::string sOut;
    for (unsigned char u8 : sBytes) {
        sOut += S_achDigits[u8 >> 4];
        sOut += S_achDigits[u8 & 0x0F];
    }
    return sOut;
}

class ResultEndToEnd : public testing::Test {
protected:
    void SetUp() override { m_e2e.SetEnvironment("VALDRN_RESULT=" + m_e2e.File("result.json")); }

    // The document of the last run, after checking it against the schema.
    std::string Result()
    {
        const std::string sCheck = std::string("/usr/bin/python3 ") + RESULT_CHECKER + " " + RESULT_SCHEMA + " " +
                                   m_e2e.File("result.json") + " > /dev/null";
        EXPECT_EQ(std::system(sCheck.c_str()), 0) << m_e2e.Read("result.json");
        return m_e2e.Read("result.json");
    }

    EndToEnd m_e2e;
};

TEST_F(ResultEndToEnd, ADownloadCountsItsRecords)
{
    m_e2e.Write("in.sdr", SdrTextFile(S_asFew));
    ASSERT_EQ(m_e2e.Valdrn({"-d", "in.sdr"}).iStatus, 0);
    const std::string sResult = Result();
    EXPECT_TRUE(Contains(sResult, "  \"operation\": \"download\",\n  \"data\": \"sdr\",\n  \"file\": \"in.sdr\",\n"))
        << sResult;
    EXPECT_TRUE(Contains(sResult, "  \"target\": {\"interface\": \"lanplus\", \"host\": \"" +
                                      m_e2e.Bmc().LanOptions()[3] + "\"},\n  \"outcome\": \"success\",\n"
                                      "  \"exit_status\": 0,\n"))
        << sResult;
    EXPECT_TRUE(Contains(sResult, "\"file_records\": 3, \"bmc_records\": null,")) << sResult;
    EXPECT_TRUE(Contains(sResult, "  \"saved_copy\": null,\n")) << sResult;
}

// Every record that differs is listed, not only the first the printed
// line names, with its bytes on both sides.
TEST_F(ResultEndToEnd, AnSDRVerificationListsEveryDifferingRecord)
{
    m_e2e.Write("in.sdr", SdrTextFile(S_asFew));
    ASSERT_EQ(m_e2e.Valdrn({"-d", "in.sdr"}).iStatus, 0);
    std::vector<std::string> asChanged = S_asFew;
    asChanged[0][10] = static_cast<char>(asChanged[0][10] ^ 0x01);
    asChanged[2][12] = static_cast<char>(asChanged[2][12] ^ 0x01);
    m_e2e.Write("changed.sdr", SdrTextFile(asChanged));
    const CommandResult result = m_e2e.Valdrn({"-v", "changed.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr,
              "<ERROR> Different record data in record 0, 10  byte!\n"
              "Failure to verify the SDR data! (different SDR)\n");
    const std::string sResult = Result();
    const std::vector<std::string> asHeld = m_e2e.Repository();
    ASSERT_EQ(asHeld.size(), 3u);
    EXPECT_TRUE(Contains(sResult, "  \"outcome\": \"failure\",\n  \"exit_status\": 1,\n")) << sResult;
    EXPECT_TRUE(Contains(sResult, "\"file_records\": 3, \"bmc_records\": 3,")) << sResult;
    EXPECT_TRUE(Contains(sResult, "  \"comparison\": \"different\",\n")) << sResult;
    for (int i : {0, 2}) {
        const unsigned int uID = static_cast<unsigned char>(asHeld[i][0]) | static_cast<unsigned char>(asHeld[i][1]) << 8;
        const std::string sItem = "{\"file_position\": " + std::to_string(i) + ", \"bmc_position\": " +
                                  std::to_string(i) + ", \"bmc_record_id\": " + std::to_string(uID) +
                                  ", \"file_bytes\": \"" + Hex(asChanged[i]) + "\", \"bmc_bytes\": \"" +
                                  Hex(asHeld[i]) + "\"}";
        EXPECT_TRUE(Contains(sResult, sItem)) << sItem << "\n" << sResult;
    }
    EXPECT_FALSE(Contains(sResult, "\"file_position\": 1,")) << sResult;
}

TEST_F(ResultEndToEnd, AnEmptyRepositoryHoldsNoneOfTheFilesRecords)
{
    m_e2e.Write("in.sdr", SdrTextFile(S_asFew));
    const CommandResult result = m_e2e.Valdrn({"-v", "in.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    const std::string sResult = Result();
    EXPECT_TRUE(Contains(sResult, "\"file_records\": 3, \"bmc_records\": 0,")) << sResult;
    EXPECT_TRUE(Contains(sResult, "  \"comparison\": \"different\",\n")) << sResult;
    EXPECT_TRUE(Contains(sResult, "{\"file_position\": 2, \"bmc_position\": null, \"bmc_record_id\": null, "
                                  "\"file_bytes\": \"" + Hex(S_asFew[2]) + "\", \"bmc_bytes\": \"\"}"))
        << sResult;
}

TEST_F(ResultEndToEnd, AFRUVerificationNamesTheAreasThatDiffer)
{
    const std::string sImage = TypicalServerFru();
    m_e2e.Write("in.fru.bin", sImage);
    ASSERT_EQ(m_e2e.Valdrn({"-d", "in.fru.bin", "fruID=0"}).iStatus, 0);
    const CommandResult same = m_e2e.Valdrn({"-v", "in.fru.bin", "fruID=0"});
    EXPECT_EQ(same.iStatus, 0) << same.sErr;
    std::string sResult = Result();
    EXPECT_TRUE(Contains(sResult, "  \"comparison\": \"same\",\n  \"differences\": []\n}\n")) << sResult;

    std::string sChanged = sImage;
    const unsigned int uBoard = static_cast<unsigned char>(sImage[3]) * 8u;
    const unsigned int uBoardEnd = uBoard + static_cast<unsigned char>(sImage[uBoard + 1]) * 8u;
    // Another manufacturing date, the area's checksum kept right.
    sChanged[uBoard + 4] = static_cast<char>(sChanged[uBoard + 4] + 1);
    sChanged[uBoardEnd - 1] = static_cast<char>(sChanged[uBoardEnd - 1] - 1);
    m_e2e.Write("changed.fru.bin", sChanged);
    const CommandResult different = m_e2e.Valdrn({"-v", "changed.fru.bin", "fruID=0"});
    EXPECT_EQ(different.iStatus, 1);
    sResult = Result();
    EXPECT_TRUE(Contains(sResult, "  \"fru_id\": 0,\n")) << sResult;
    EXPECT_TRUE(Contains(sResult, "  \"comparison\": \"different\",\n")) << sResult;
    EXPECT_TRUE(Contains(sResult, "{\"area\": \"board\", \"offset\": " + std::to_string(uBoard))) << sResult;
    EXPECT_FALSE(Contains(sResult, "\"area\": \"product\"")) << sResult;
    EXPECT_FALSE(Contains(sResult, "\"area\": \"common\"")) << sResult;
}

// A failed FRU write ends with status 0, as the tool always has: the
// document says it failed, and names the copy and the command the run
// printed as its way back.
TEST_F(ResultEndToEnd, AFailedFRUWriteIsAFailureWithItsWayBack)
{
    m_e2e.Bmc().Knob("fail=0a:12:2:d5:0");
    m_e2e.Write("in.fru.bin", TypicalServerFru());
    const CommandResult result = m_e2e.Valdrn({"-d", "in.fru.bin", "fruID=0"});
    EXPECT_EQ(result.iStatus, 0);
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    const std::string sResult = Result();
    EXPECT_TRUE(Contains(sResult, "  \"outcome\": \"failure\",\n  \"exit_status\": 0,\n")) << sResult;
    const size_t uCommand = result.sErr.rfind(":\n");
    ASSERT_NE(uCommand, std::string::npos);
    std::string sCommand = result.sErr.substr(uCommand + 2);
    sCommand.pop_back();  // its line end
    EXPECT_TRUE(Contains(sResult, "  \"restore_command\": \"" + sCommand + "\",\n")) << sResult;
    // The copy by its full path, the printed advice's path at its end.
    EXPECT_TRUE(Contains(sResult, "  \"saved_copy\": \"" + m_e2e.SavedCopies()[0] + "\",\n")) << sResult;
}

}  // namespace
