// The test BMC serves the SDR repository and the FRU devices as IPMI v2.0
// defines them; checked here with Debian's ipmitool.
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bmc/test_bmc.h"

using namespace valdrn_test;

namespace {

std::vector<unsigned int> Bytes(const std::string& sText)
{
    std::vector<unsigned int> auBytes;
    size_t uAt = 0;
    while (uAt < sText.size()) {
        char* pchEnd = nullptr;
        const unsigned long ulValue = std::strtoul(sText.c_str() + uAt, &pchEnd, 16);
        if (pchEnd == sText.c_str() + uAt) {
            ++uAt;
            continue;
        }
        auBytes.push_back(static_cast<unsigned int>(ulValue));
        uAt = static_cast<size_t>(pchEnd - sText.c_str());
    }
    return auBytes;
}

class TestBmcTest : public testing::Test {
protected:
    // "raw" and the bytes; the answer's bytes, or the completion code of a
    // refusal as a single negative value.
    std::vector<int> Raw(std::vector<std::string> asBytes)
    {
        asBytes.insert(asBytes.begin(), "raw");
        const CommandResult result = m_bmc.Ipmitool(asBytes);
        std::vector<int> aiBytes;
        if (result.iStatus != 0) {
            const size_t uAt = result.sErr.find("rsp=0x");
            EXPECT_NE(uAt, std::string::npos) << result.sErr;
            aiBytes.push_back(-static_cast<int>(std::strtoul(result.sErr.c_str() + uAt + 6, nullptr, 16)));
            return aiBytes;
        }
        for (unsigned int uByte : Bytes(result.sOut)) {
            aiBytes.push_back(static_cast<int>(uByte));
        }
        return aiBytes;
    }

    std::vector<std::string> Reservation()
    {
        const std::vector<int> aiAnswer = Raw({"0x0a", "0x22"});
        return {std::to_string(aiAnswer.at(0)), std::to_string(aiAnswer.at(1))};
    }

    // Adds a record of the body length with Partial Add; its new ID.
    int PartialAdd(int iBodyLength)
    {
        const auto asReservation = Reservation();
        std::vector<std::string> asFirst = {
            "0x0a", "0x25", asReservation[0], asReservation[1],           "0", "0", "0", "1", "0",
            "0",    "0x51", "0x12",           std::to_string(iBodyLength)};
        const int iTotal = iBodyLength + 5;
        std::vector<std::string> asRest;
        for (int i = 5; i < iTotal; ++i) {
            (i < 16 ? asFirst : asRest).push_back(std::to_string(i));
        }
        asFirst[7] = iTotal <= 16 ? "1" : "0";
        const std::vector<int> aiFirst = Raw(asFirst);
        if (aiFirst.size() != 2 || iTotal <= 16) {
            return aiFirst.size() == 2 ? aiFirst[0] + 256 * aiFirst[1] : aiFirst.at(0);
        }
        std::vector<std::string> asSecond = {
            "0x0a", "0x25", asReservation[0], asReservation[1], std::to_string(aiFirst[0]), std::to_string(aiFirst[1]),
            "16",   "1"};
        asSecond.insert(asSecond.end(), asRest.begin(), asRest.end());
        const std::vector<int> aiSecond = Raw(asSecond);
        return aiSecond.size() == 2 ? aiSecond[0] + 256 * aiSecond[1] : aiSecond.at(0);
    }

    TestBmc m_bmc{"capacity=1000"};
};

TEST_F(TestBmcTest, RepositoryInfo)
{
    const std::vector<int> aiInfo = Raw({"0x0a", "0x20"});
    ASSERT_EQ(aiInfo.size(), 14u);
    EXPECT_EQ(aiInfo[0], 0x51);
    EXPECT_EQ(aiInfo[1] + 256 * aiInfo[2], 0);
    EXPECT_EQ(aiInfo[3] + 256 * aiInfo[4], 1000);
    EXPECT_EQ(aiInfo[13], 0x0E);
    m_bmc.Knob("overflow=1 opsupport=0x02 free=77");
    const std::vector<int> aiKnobs = Raw({"0x0a", "0x20"});
    EXPECT_EQ(aiKnobs[13], 0x82);
    EXPECT_EQ(aiKnobs[3], 77);
}

TEST_F(TestBmcTest, PartialAddGetAndReservations)
{
    const int iFirst = PartialAdd(11);   // one chunk of 16
    const int iSecond = PartialAdd(32);  // 37 bytes in two chunks
    EXPECT_GT(iFirst, 0);
    EXPECT_GT(iSecond, iFirst);
    EXPECT_EQ(Raw({"0x0a", "0x20"})[1], 2);
    // Header of the first record without a reservation; then the rest.
    std::vector<int> aiHeader = Raw({"0x0a", "0x23", "0", "0", "0", "0", "0", "5"});
    ASSERT_EQ(aiHeader.size(), 7u);
    EXPECT_EQ(aiHeader[0] + 256 * aiHeader[1], iSecond);  // next record ID
    EXPECT_EQ(aiHeader[2] + 256 * aiHeader[3], iFirst);   // the ID is written into the record
    EXPECT_EQ(aiHeader[4], 0x51);
    EXPECT_EQ(Raw({"0x0a", "0x23", "0", "0", "0", "0", "5", "4"}).at(0), -0xC5);  // offset needs a reservation
    auto asReservation = Reservation();
    const std::vector<int> aiBody =
        Raw({"0x0a", "0x23", asReservation[0], asReservation[1], std::to_string(iSecond), "0", "32", "16"});
    ASSERT_EQ(aiBody.size(), 7u);  // the last 5 of 37 bytes
    EXPECT_EQ(aiBody[0] + 256 * aiBody[1], 0xFFFF);
    EXPECT_EQ(aiBody[2], 32);
    EXPECT_EQ(Raw({"0x0a", "0x23", asReservation[0], asReservation[1], "0", "0", "0", "34"}).at(0), -0xCA);
    // A new reservation cancels the old one.
    const auto asOld = asReservation;
    Reservation();
    EXPECT_EQ(Raw({"0x0a", "0x23", asOld[0], asOld[1], "0", "0", "1", "4"}).at(0), -0xC5);
    EXPECT_EQ(Raw({"0x0a", "0x23", "0", "0", "0x77", "0x77", "0", "5"}).at(0), -0xCB);
}

TEST_F(TestBmcTest, PartialAddRules)
{
    auto asReservation = Reservation();
    // A first chunk must name record 0; later ones the assigned ID and the
    // next offset; the committed length must agree with the header.
    EXPECT_EQ(
        Raw({"0x0a", "0x25", asReservation[0], asReservation[1], "5", "0", "0", "1", "0", "0", "0x51", "0x12", "0"})
            .at(0),
        -0xCC);
    const std::vector<int> aiId =
        Raw({"0x0a", "0x25", asReservation[0], asReservation[1], "0", "0", "0", "0", "0", "0", "0x51", "0x12", "3"});
    ASSERT_EQ(aiId.size(), 2u);
    EXPECT_EQ(
        Raw({"0x0a", "0x25", asReservation[0], asReservation[1], std::to_string(aiId[0]), "0", "6", "1", "1"}).at(0),
        -0x80);
    EXPECT_EQ(
        Raw({"0x0a", "0x25", asReservation[0], asReservation[1], std::to_string(aiId[0]), "0", "5", "1", "1", "2"})
            .at(0),
        -0x80);  // 7 bytes for a header that says 8
    EXPECT_EQ(Raw({"0x0a", "0x20"})[1], 0);
    EXPECT_EQ(Raw({"0x0a", "0x25", "0x99", "0x99", "0", "0", "0", "1", "0", "0", "0x51", "0x12", "0"}).at(0), -0xC5);
}

TEST_F(TestBmcTest, ClearWithStatusPolls)
{
    PartialAdd(11);
    m_bmc.Knob("erase_polls=2");
    auto asReservation = Reservation();
    EXPECT_EQ(Raw({"0x0a", "0x27", asReservation[0], asReservation[1], "0x43", "0x4c", "0x51", "0xaa"}).at(0), -0xCC);
    EXPECT_EQ(Raw({"0x0a", "0x27", asReservation[0], asReservation[1], "0x43", "0x4c", "0x52", "0xaa"}),
              std::vector<int>{0x00});
    EXPECT_EQ(Raw({"0x0a", "0x27", asReservation[0], asReservation[1], "0x43", "0x4c", "0x52", "0x00"}),
              std::vector<int>{0x00});
    EXPECT_EQ(Raw({"0x0a", "0x27", asReservation[0], asReservation[1], "0x43", "0x4c", "0x52", "0x00"}),
              std::vector<int>{0x01});
    EXPECT_EQ(Raw({"0x0a", "0x20"})[1], 0);
}

TEST_F(TestBmcTest, InitializationAgent)
{
    EXPECT_EQ(Raw({"0x0a", "0x2c", "1"}), std::vector<int>{0x01});
    m_bmc.Knob("init_polls=2 init_status=0x02");
    EXPECT_EQ(Raw({"0x0a", "0x2c", "1"}), std::vector<int>{0x00});
    EXPECT_EQ(Raw({"0x0a", "0x2c", "0"}), std::vector<int>{0x00});
    EXPECT_EQ(Raw({"0x0a", "0x2c", "0"}), std::vector<int>{0x02});
}

TEST_F(TestBmcTest, AddAndDelete)
{
    const std::vector<int> aiAdded = Raw({"0x0a", "0x24", "0", "0", "0x51", "0x14", "0"});
    ASSERT_EQ(aiAdded.size(), 2u);
    auto asReservation = Reservation();
    EXPECT_EQ(Raw({"0x0a", "0x26", asReservation[0], asReservation[1], std::to_string(aiAdded[0]), "0"}), aiAdded);
    EXPECT_EQ(Raw({"0x0a", "0x20"})[1], 0);
}

TEST_F(TestBmcTest, FruDevices)
{
    EXPECT_EQ(Raw({"0x0a", "0x10", "0"}), (std::vector<int>{0x00, 0x08, 0x00}));
    EXPECT_EQ(Raw({"0x0a", "0x10", "1"}), (std::vector<int>{0x00, 0x02, 0x00}));
    EXPECT_EQ(Raw({"0x0a", "0x10", "2"}).at(0), -0xCB);
    EXPECT_EQ(Raw({"0x0a", "0x12", "1", "0xfe", "0x01", "0xaa", "0xbb"}), std::vector<int>{2});
    EXPECT_EQ(Raw({"0x0a", "0x11", "1", "0xfe", "0x01", "16"}), (std::vector<int>{2, 0xAA, 0xBB}));  // past the end
    EXPECT_EQ(Raw({"0x0a", "0x12", "1", "0xff", "0x01", "1", "2"}).at(0), -0xC9);
    EXPECT_EQ(Raw({"0x0a", "0x11", "1", "0x00", "0x02", "1"}).at(0), -0xC9);
    m_bmc.Knob("fru=3:20");
    EXPECT_EQ(Raw({"0x0a", "0x10", "3"}), (std::vector<int>{20, 0x00, 0x00}));
}

TEST_F(TestBmcTest, StateSurvivesARestart)
{
    const int iId = PartialAdd(11);
    Raw({"0x0a", "0x12", "0", "0x10", "0x00", "0x12", "0x34"});
    m_bmc.Restart();
    EXPECT_EQ(Raw({"0x0a", "0x20"})[1], 1);
    const std::vector<int> aiHeader = Raw({"0x0a", "0x23", "0", "0", "0", "0", "0", "5"});
    EXPECT_EQ(aiHeader.at(2) + 256 * aiHeader.at(3), iId);
    EXPECT_EQ(Raw({"0x0a", "0x11", "0", "0x10", "0x00", "2"}), (std::vector<int>{2, 0x12, 0x34}));
}

// Stored bytes that look like white space (record ID 9 is 09 00) come
// back as they were.
TEST_F(TestBmcTest, StateWithWhiteSpaceBytesSurvivesARestart)
{
    std::vector<int> aiIds;
    for (int i = 0; i < 12; ++i) {
        aiIds.push_back(PartialAdd(3));
    }
    ASSERT_EQ(aiIds.at(8), 9);
    Raw({"0x0a", "0x12", "0", "0x00", "0x00", "0x20", "0x09", "0x0a"});
    m_bmc.Restart();
    EXPECT_EQ(Raw({"0x0a", "0x20"})[1], 12);
    for (int iId : {9, 10}) {
        const std::vector<int> aiRecord = Raw({"0x0a", "0x23", "0", "0", std::to_string(iId), "0", "0", "8"});
        EXPECT_EQ(aiRecord, (std::vector<int>{iId + 1, 0, iId, 0, 0x51, 0x12, 3, 5, 6, 7})) << iId;
    }
    EXPECT_EQ(Raw({"0x0a", "0x11", "0", "0x00", "0x00", "3"}), (std::vector<int>{3, 0x20, 0x09, 0x0a}));
}

// A seeded repository answers as one that was filled by adds: the same
// records in order, and new records after them get new IDs.
TEST_F(TestBmcTest, SeededRepositoryAnswersLikeAnAddedOne)
{
    PartialAdd(3);                                                    // gone with the seed
    const std::string sFirst("\x09\x00\x51\x12\x03\x0a\x20\x09", 8);  // bytes that look like blanks
    const std::string sSecond("\x30\x00\x51\xC0\x01\x7F", 6);
    m_bmc.SeedRepository({sFirst, sSecond});
    EXPECT_EQ(Raw({"0x0a", "0x20"})[1], 2);
    EXPECT_EQ(Raw({"0x0a", "0x23", "0", "0", "0", "0", "0", "8"}),
              (std::vector<int>{0x30, 0, 0x09, 0, 0x51, 0x12, 3, 0x0a, 0x20, 0x09}));
    EXPECT_EQ(Raw({"0x0a", "0x23", "0", "0", "0x30", "0", "0", "6"}),
              (std::vector<int>{0xFF, 0xFF, 0x30, 0, 0x51, 0xC0, 1, 0x7F}));
    EXPECT_EQ(PartialAdd(3), 0x31);
    EXPECT_THROW(m_bmc.SeedRepository({std::string("\x01\x00\x51", 3)}), std::runtime_error);
}

TEST_F(TestBmcTest, FaultsHitTheNthOccurrence)
{
    m_bmc.Knob("fail=0a:20:2:c0:2");
    EXPECT_EQ(Raw({"0x0a", "0x20"}).size(), 14u);
    EXPECT_EQ(Raw({"0x0a", "0x20"}).at(0), -0xC0);
    EXPECT_EQ(Raw({"0x0a", "0x20"}).at(0), -0xC0);
    EXPECT_EQ(Raw({"0x0a", "0x20"}).size(), 14u);
    m_bmc.Knob("fail=0a:22:1:d5:0");
    EXPECT_EQ(Raw({"0x0a", "0x22"}).at(0), -0xD5);
    EXPECT_EQ(Raw({"0x0a", "0x22"}).at(0), -0xD5);
    m_bmc.Knob("nofaults");
    EXPECT_EQ(Raw({"0x0a", "0x22"}).size(), 2u);
    EXPECT_THROW(m_bmc.Knob("no_such_knob=1"), std::runtime_error);
}

TEST(TestBmcParallel, TwoBmcsOnTheirOwnAddresses)
{
    TestBmc first;
    TestBmc second;
    EXPECT_NE(first.Address(), second.Address());
    EXPECT_EQ(first.Ipmitool({"raw", "0x06", "0x01"}).iStatus, 0);
    EXPECT_EQ(second.Ipmitool({"raw", "0x06", "0x01"}).iStatus, 0);
    EXPECT_NE(first.SerialPort(), second.SerialPort());
}

}  // namespace
