// The SDR repository and FRU inventory requests, byte for byte, with a BMC
// in memory answering each request in turn as the test scripts it.
#include <algorithm>
#include <csignal>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/interruption.h"
#include "base/monotonic_clock.h"
#include "bmc/fru_field_update.h"
#include "bmc/fru_inventory.h"
#include "bmc/sdr_repository.h"
#include "bmc/transport.h"
#include "bmc/wait_limits.h"
#include "cli/interface_options.h"
#include "fru/fru_image.h"
#include "support/in_memory_bmc.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

class RepositoryCommandTest : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("VALDRN_BACKUP_DIR", m_backups.Path().c_str(), 1);
        auto pBmc = std::make_unique<InMemoryBmc>();
        m_pBmc = pBmc.get();
        UseTransport(std::move(pBmc));
        Reset();
    }
    void TearDown() override
    {
        UseTransport(nullptr);
        unsetenv("VALDRN_BACKUP_DIR");
    }

    // No requests yet; every answer success with no data until scripted.
    void Reset() const
    {
        m_pBmc->Reset();
        m_pBmc->Answer(0x00, {});
    }
    void Ok(const std::vector<unsigned char>& au8Response) const { m_pBmc->Queue(0x00, au8Response); }
    void Queue(unsigned char u8Code) const { m_pBmc->Queue(u8Code, {}); }
    void AnswerEveryRequest(unsigned char u8Code, const std::vector<unsigned char>& au8Response) const
    {
        m_pBmc->Answer(u8Code, au8Response);
    }
    std::vector<std::string> Requests() const { return m_pBmc->m_asRequests; }

    InMemoryBmc* m_pBmc = nullptr;
    // The copies a test's run saves stay here.
    TempDir m_backups;
};

std::string HexBytes(const std::string& sBytes, size_t uFrom, size_t uCount)
{
    std::string sText;
    char achByte[4];
    for (size_t i = uFrom; i < uFrom + uCount; ++i) {
        std::snprintf(achByte, sizeof achByte, "%s%02X", sText.empty() ? "" : " ",
                      static_cast<unsigned char>(sBytes[i]));
        sText += achByte;
    }
    return sText;
}

// A Get SDR answer: the next record ID, least significant byte first, then
// the record's bytes from uFrom, at most uCount of them. Built at its full
// size and filled, rather than grown by insert(): GCC 12 at -O3 takes an
// insert into a two-byte vector for an overrun (a false -Warray-bounds).
std::vector<unsigned char> GetSdrAnswer(unsigned short u16NextID, const std::string& sRecord, size_t uFrom = 0,
                                        size_t uCount = std::string::npos)
{
    const std::string sPart = sRecord.substr(uFrom, uCount);
    std::vector<unsigned char> au8Answer(2 + sPart.size());
    au8Answer[0] = static_cast<unsigned char>(u16NextID & 0xFF);
    au8Answer[1] = static_cast<unsigned char>(u16NextID >> 8);
    std::copy(sPart.begin(), sPart.end(), au8Answer.begin() + 2);
    return au8Answer;
}

// --- SDR repository ---------------------------------------------------------

// The progress lines name each pass by its verb.
TEST(RepositoryPassTest, EachPassHasItsVerb)
{
    EXPECT_STREQ(PassVerb(RepositoryPass::UPLOAD), "upload");
    EXPECT_STREQ(PassVerb(RepositoryPass::DOWNLOAD), "download");
    EXPECT_STREQ(PassVerb(RepositoryPass::BACKUP), "backup");
    EXPECT_STREQ(PassVerb(RepositoryPass::RESTORE), "restore");
}

TEST_F(RepositoryCommandTest, AHeaderOnlyRecordIsOnePartialAddOfElevenBytes)
{
    SDREntry entry = {};
    const std::string sRecord = SdrRecord(0x0000, 0x14, "");  // header only
    ASSERT_EQ(sRecord.size(), 5u);
    PutRecord(entry, sRecord);
    Ok({0x07, 0x00});
    CapturedOutput output;
    EXPECT_EQ(PartialAddCommand(0x1234, &entry), CommandResult::SDR_PARTIAL_ADD_LAST);
    output.Finish();
    EXPECT_EQ(Requests(), std::vector<std::string>{"28 25 [34 12 00 00 00 01 " + HexBytes(sRecord, 0, 5) + "]"});
    EXPECT_EQ(entry.u16RecordID, 0x0007);  // the ID the BMC gave
}

TEST_F(RepositoryCommandTest, AHeaderOnlyRecordIsReadInOneGetOfFiveBytes)
{
    const std::string sRecord = SdrRecord(0x0042, 0x14, "");
    Ok({0x01, 0x00});  // reservation
    Ok(GetSdrAnswer(0xFFFF, sRecord));
    SDRRecordList asList = FreeSlots(2);
    unsigned short u16Count = 1;
    CapturedOutput output;
    EXPECT_EQ(UploadSDRHandler(&u16Count, &asList, RepositoryPass::UPLOAD), CommandResult::SDR_RECORD_READ);
    output.Finish();
    EXPECT_EQ(Requests(), (std::vector<std::string>{"28 22 []", "28 23 [01 00 00 00 00 05]"}));
    EXPECT_EQ(RecordOf(asList[0]), sRecord);
    EXPECT_EQ(output.Out(), "    Start to upload SDR record ID 0042h, type 14h ... \n");
}

TEST_F(RepositoryCommandTest, ThirtySevenBytesAreAddedInThreeChunks)
{
    const std::string sRecord = SdrRecord(0x0000, 0x12, std::string(32, 'x'));
    ASSERT_EQ(sRecord.size(), 37u);
    SDRRecordList asList = FreeSlots(1);
    PutRecord(asList[0], sRecord);
    Ok({0x01, 0x00});  // reservation for the erase
    Ok({0x01});        // erase completed at once
    Ok({0x02, 0x00});  // reservation for the record
    Ok({0x50, 0x00});
    Ok({0x50, 0x00});
    Ok({0x50, 0x00});
    CapturedOutput output;
    EXPECT_EQ(DownloadSDRHandler(&asList, RepositoryPass::DOWNLOAD), CommandResult::SDR_PARTIAL_ADD_LAST);
    output.Finish();
    const std::vector<std::string> asRequests = Requests();
    ASSERT_EQ(asRequests.size(), 6u);
    EXPECT_EQ(asRequests[1], "28 27 [01 00 43 4C 52 AA]");
    EXPECT_EQ(asRequests[3], "28 25 [02 00 00 00 00 00 " + HexBytes(sRecord, 0, 16) + "]");
    // Later chunks name the record by the ID the BMC gave it.
    EXPECT_EQ(asRequests[4], "28 25 [02 00 50 00 10 00 " + HexBytes(sRecord, 16, 16) + "]");
    EXPECT_EQ(asRequests[5], "28 25 [02 00 50 00 20 01 " + HexBytes(sRecord, 32, 5) + "]");
    EXPECT_EQ(output.Out(), "    Start to download # 0h SDR record  ... \n");
}

// A real BMC erases flash: polled with pauses until it says done.
TEST_F(RepositoryCommandTest, AnEraseCompletedAtTheTenthPollSucceeds)
{
    Ok({0x01, 0x00});  // reservation
    Ok({0x00});        // erase started
    for (int i = 0; i < 9; ++i) {
        Ok({0x00});
    }
    Queue(0xC0);  // a failed poll counts as "not yet"
    Ok({0x01});
    CapturedOutput output;
    EXPECT_EQ(ToClearSDR(), CommandResult::SDR_ERASE_COMPLETED);
    output.Finish();
    EXPECT_EQ(Requests().size(), 13u);
    EXPECT_EQ(Requests()[12], "28 27 [01 00 43 4C 52 00]");
    EXPECT_EQ(output.Err(), "");
}

TEST_F(RepositoryCommandTest, AnEraseThatNeverEndsFailsAtTheTimeLimit)
{
    SetSDREraseTimeLimit(300);
    Ok({0x01, 0x00});
    AnswerEveryRequest(0x00, {0x00});  // in progress, every time
    CapturedOutput output;
    EXPECT_EQ(ToClearSDR(), CommandResult::CMD_FAILED);
    output.Finish();
    SetSDREraseTimeLimit(0);
    // Pauses of 50 ms between polls: a handful in 300 ms, not thousands.
    EXPECT_GE(Requests().size(), 4u);
    EXPECT_LE(Requests().size(), 12u);
    EXPECT_EQ(output.Err(), "\n<ERROR> Error in executing IPMI command because of: Failure to clear SDR.\n");
}

TEST_F(RepositoryCommandTest, AnEraseCompletedAtTheThirdPollSucceeds)
{
    Ok({0x01, 0x00});
    Ok({0x00});
    Ok({0x00});
    Ok({0x00});
    Ok({0x01});
    EXPECT_EQ(ToClearSDR(), CommandResult::SDR_ERASE_COMPLETED);
}

// Another agent's reservation cancels ours: the erase is started again
// under a new reservation, and nothing is reported.
TEST_F(RepositoryCommandTest, ACancelledReservationBeforeTheEraseIsTakenAnew)
{
    Ok({0x01, 0x00});
    Queue(0xC5);
    Ok({0x02, 0x00});
    Ok({0x01});
    CapturedOutput output;
    EXPECT_EQ(ToClearSDR(), CommandResult::SDR_ERASE_COMPLETED);
    output.Finish();
    EXPECT_EQ(Requests()[3], "28 27 [02 00 43 4C 52 AA]");
    EXPECT_EQ(output.Err(), "");
}

TEST_F(RepositoryCommandTest, ARecordWhoseReservationIsCancelledIsReadAgainFromItsStart)
{
    const std::string sRecord = SdrRecord(0x0042, 0x12, std::string(20, 'y'));
    Ok({0x01, 0x00});
    Ok(GetSdrAnswer(0xFFFF, sRecord, 0, 5));
    Queue(0xC5);  // cancelled before the body
    Ok({0x02, 0x00});
    Ok(GetSdrAnswer(0xFFFF, sRecord, 0, 5));
    Ok(GetSdrAnswer(0xFFFF, sRecord, 5, 16));
    Ok(GetSdrAnswer(0xFFFF, sRecord, 21, 4));
    SDRRecordList asList = FreeSlots(2);
    unsigned short u16Count = 1;
    CapturedOutput output;
    EXPECT_EQ(UploadSDRHandler(&u16Count, &asList, RepositoryPass::UPLOAD), CommandResult::SDR_RECORD_READ);
    output.Finish();
    EXPECT_EQ(RecordOf(asList[0]), sRecord);
    EXPECT_EQ(Requests()[4], "28 23 [02 00 00 00 00 05]");
    EXPECT_EQ(output.Err(), "");
}

TEST_F(RepositoryCommandTest, ARecordWhoseAddIsCancelledIsAddedAgainFromItsFirstByte)
{
    const std::string sRecord = SdrRecord(0x0000, 0x12, std::string(20, 'x'));
    SDRRecordList asList = FreeSlots(1);
    PutRecord(asList[0], sRecord);
    Ok({0x01, 0x00});
    Ok({0x01});        // erased
    Ok({0x02, 0x00});  // reservation for the record
    Ok({0x50, 0x00});
    Queue(0xC5);
    Ok({0x03, 0x00});
    Ok({0x51, 0x00});
    Ok({0x51, 0x00});
    CapturedOutput output;
    EXPECT_EQ(DownloadSDRHandler(&asList, RepositoryPass::DOWNLOAD), CommandResult::SDR_PARTIAL_ADD_LAST);
    output.Finish();
    const std::vector<std::string> asRequests = Requests();
    ASSERT_EQ(asRequests.size(), 8u);
    EXPECT_EQ(asRequests[6], "28 25 [03 00 00 00 00 00 " + HexBytes(sRecord, 0, 16) + "]");
    EXPECT_EQ(asRequests[7], "28 25 [03 00 51 00 10 01 " + HexBytes(sRecord, 16, 9) + "]");
    EXPECT_EQ(output.Out(), "    Start to download # 0h SDR record  ... \n");
    EXPECT_EQ(output.Err(), "");
}

// Cancelled again and again: after a few new reservations, reported as
// any refusal.
TEST_F(RepositoryCommandTest, AReservationCancelledEveryTimeFailsAfterAFewTries)
{
    const std::string sRecord = SdrRecord(0x0000, 0x12, std::string(4, 'x'));
    SDRRecordList asList = FreeSlots(1);
    PutRecord(asList[0], sRecord);
    Ok({0x01, 0x00});
    Ok({0x01});
    for (int i = 0; i < 6; ++i) {
        Ok({static_cast<unsigned char>(2 + i), 0x00});
        Queue(0xC5);
    }
    CapturedOutput output;
    EXPECT_EQ(DownloadSDRHandler(&asList, RepositoryPass::DOWNLOAD), CommandResult::CMD_FAILED);
    output.Finish();
    EXPECT_EQ(Requests().size(), 14u);
    EXPECT_EQ(output.Err(),
              "<ERROR> Error in executing IPMI command because of: Failure to add data to SDR repository.\n"
              "cc = C5 \n");
}

TEST_F(RepositoryCommandTest, TheLastRecordEndsTheUploadAndCountsMustAgree)
{
    const std::string sFirst = SdrNamedRecord(0x0001, 0x01, "CPU");
    const std::string sSecond = SdrFixedRecord(0x0002, 0x08, 0x10);
    for (unsigned short u16Expected : {2, 3}) {
        Reset();
        Ok({0x01, 0x00});
        Ok(GetSdrAnswer(0x0002, sFirst, 0, 5));
        for (size_t uAt = 5; uAt < sFirst.size(); uAt += 16) {
            Ok(GetSdrAnswer(0x0002, sFirst, uAt, 16));
        }
        Ok({0x01, 0x00});
        Ok(GetSdrAnswer(0xFFFF, sSecond, 0, 5));
        Ok(GetSdrAnswer(0xFFFF, sSecond, 5));
        SDRRecordList asList = FreeSlots(4);
        unsigned short u16Count = u16Expected;
        CapturedOutput output;
        const CommandResult eResult = UploadSDRHandler(&u16Count, &asList, RepositoryPass::UPLOAD);
        output.Finish();
        if (u16Expected == 2) {
            EXPECT_EQ(eResult, CommandResult::SDR_RECORD_READ);
            EXPECT_EQ(RecordOf(asList[0]), sFirst);
            EXPECT_EQ(RecordOf(asList[1]), sSecond);
            EXPECT_EQ(output.Err(), "");
        } else {
            EXPECT_EQ(eResult, CommandResult::CMD_FAILED);
            EXPECT_EQ(output.Err(), "SDR Record: needs 3h, Got 2h. \n");
        }
    }
}

TEST_F(RepositoryCommandTest, AnOversizedRecordFromTheBmcIsRefused)
{
    // 255 bytes, and 260: a body of 251 bytes or more is counted in full,
    // never wrapped to a header-only record.
    for (const unsigned char u8Body : {0xFA, 0xFF}) {
        Reset();
        Ok({0x01, 0x00});
        Ok({0xFF, 0xFF, 0x09, 0x00, 0x51, 0x01, u8Body});
        SDRRecordList asList = FreeSlots(1);
        unsigned short u16Count = 1;
        CapturedOutput output;
        EXPECT_EQ(UploadSDRHandler(&u16Count, &asList, RepositoryPass::UPLOAD), CommandResult::CMD_FAILED);
        output.Finish();
        EXPECT_EQ(output.Err(), "<ERROR> SDR record 0009h is " + std::to_string(u8Body + 5) +
                                    " bytes long; the most a record can be is 101.\n");
    }
}

// A record of 260 bytes (a body of 255) is read whole as the BMC holds it:
// the header, then 16-byte chunks; the last starts at offset 245.
TEST_F(RepositoryCommandTest, TheBackupReadsARecordOfAnyLengthWhole)
{
    const std::string sRecord = SdrRecord(0x0009, 0xC1, std::string(255, '\x5A'));
    Ok({0x01, 0x00});
    Ok(GetSdrAnswer(0xFFFF, sRecord, 0, 5));
    for (size_t uOffset = 5; uOffset < sRecord.size(); uOffset += 16) {
        Ok(GetSdrAnswer(0xFFFF, sRecord, uOffset, 16));
    }
    unsigned short u16Count = 1;
    std::vector<std::string> asRecords;
    CapturedOutput output;
    EXPECT_EQ(ReadRepositoryRecords(&u16Count, &asRecords, RepositoryPass::BACKUP), CommandResult::SDR_RECORD_READ);
    output.Finish();
    EXPECT_EQ(output.Err(), "");
    EXPECT_EQ(output.Out(), "    Start to backup SDR record ID 0009h, type C1h ... \n");
    ASSERT_EQ(asRecords.size(), 1u);
    EXPECT_EQ(asRecords[0], sRecord);
    EXPECT_EQ(Requests().size(), 18u);
    EXPECT_EQ(Requests().back(), "28 23 [01 00 00 00 F5 0F]");
}

// ... and added back so: 16-byte chunks while the next offset fits a
// byte, the last one (offset 240) with the 20 bytes left.
TEST_F(RepositoryCommandTest, TheRestoreAddsARecordOfAnyLengthWhole)
{
    const std::string sRecord = SdrRecord(0x0009, 0xC1, std::string(255, '\x5A'));
    Ok({0x01, 0x00});  // the erase's reservation
    Ok({0x01});        // erased at once
    Ok({0x02, 0x00});  // the record's reservation
    for (int i = 0; i < 16; ++i) {
        Ok({0x07, 0x00});
    }
    CapturedOutput output;
    EXPECT_EQ(AddRepositoryRecords({sRecord}, RepositoryPass::RESTORE), CommandResult::SDR_PARTIAL_ADD_LAST);
    output.Finish();
    EXPECT_EQ(output.Out(), "    Start to restore # 0h SDR record  ... \n");
    const std::vector<std::string> asRequests = Requests();
    ASSERT_EQ(asRequests.size(), 19u);
    EXPECT_EQ(asRequests[3], "28 25 [02 00 00 00 00 00 " + HexBytes(sRecord, 0, 16) + "]");
    EXPECT_EQ(asRequests[17], "28 25 [02 00 07 00 E0 00 " + HexBytes(sRecord, 224, 16) + "]");
    EXPECT_EQ(asRequests[18], "28 25 [02 00 07 00 F0 01 " + HexBytes(sRecord, 240, 20) + "]");
}

TEST_F(RepositoryCommandTest, AFailedPartialAddNamesTheCompletionCode)
{
    SDREntry entry = {};
    PutRecord(entry, SdrFixedRecord(0x0001, 0x08, 0x10));
    AnswerEveryRequest(0xC4, {});
    CapturedOutput output;
    EXPECT_EQ(PartialAddCommand(0x0001, &entry), CommandResult::CMD_FAILED);
    output.Finish();
    EXPECT_EQ(output.Err(),
              "<ERROR> Error in executing IPMI command because of: Failure to add data to SDR repository.\n"
              "cc = C4 \n");
}

// The agent is polled with short pauses until it answers; the 3000th poll
// tells the user to wait.
TEST_F(RepositoryCommandTest, TheInitializationAgentIsPolledUntilItCompletes)
{
    for (int iPolls : {2999, 3000}) {
        Reset();
        Ok({0x00});  // started
        for (int i = 1; i < iPolls; ++i) {
            Ok({0x00});
        }
        Ok({0x01});
        CapturedOutput output;
        EXPECT_EQ(RunInitializationAgentCommand(), CommandResult::SDR_INIT_AGENT_COMPLETED);
        output.Finish();
        EXPECT_EQ(output.Out(), iPolls == 3000 ? "(please wait)... " : "") << iPolls;
        EXPECT_EQ(output.Err(), "");
    }
}

// An agent that never finishes does not hold the run for ever: after
// VALDRN_INIT_AGENT_TIMEOUT it is a failed agent, reported as one.
TEST_F(RepositoryCommandTest, AnInitializationAgentThatNeverEndsFailsAtTheTimeLimit)
{
    AnswerEveryRequest(0x00, {0x00});  // running, every time
    setenv("VALDRN_INIT_AGENT_TIMEOUT", "0.3", 1);
    CapturedOutput output;
    const long lStart = MonotonicMilliseconds();
    EXPECT_EQ(RunInitializationAgentCommand(), CommandResult::CMD_FAILED);
    const long lElapsed = MonotonicMilliseconds() - lStart;
    output.Finish();
    unsetenv("VALDRN_INIT_AGENT_TIMEOUT");
    EXPECT_GE(lElapsed, 300);
    EXPECT_LT(lElapsed, 5000);
    EXPECT_EQ(output.Err(),
              "<ERROR> Error in executing IPMI command: Failure to Run Initialization Agent Command.\ncc = 0 \n");
}

// A signal (Ctrl-C, SIGTERM) ends the polling at once.
TEST_F(RepositoryCommandTest, ASignalEndsTheInitializationAgentsPolling)
{
    AnswerEveryRequest(0x00, {0x00});
    GuardAgainstInterruption();
    raise(SIGTERM);
    CapturedOutput output;
    const long lStart = MonotonicMilliseconds();
    EXPECT_EQ(RunInitializationAgentCommand(), CommandResult::CMD_FAILED);
    const long lElapsed = MonotonicMilliseconds() - lStart;
    output.Finish();
    EndInterruptionGuard();
    GuardAgainstInterruption();  // forgets the signal: the next tests start clean
    EndInterruptionGuard();
    EXPECT_LT(lElapsed, 2000);
    EXPECT_LE(Requests().size(), 2u);
}

// The waits take seconds from the environment; anything else is named
// and the default used.
TEST(WaitLimitTest, SecondsFromTheEnvironmentOrTheDefault)
{
    unsetenv("VALDRN_ERASE_TIMEOUT");
    EXPECT_EQ(WaitLimitMilliseconds(ERASE_WAIT), 60000);
    setenv("VALDRN_ERASE_TIMEOUT", "600", 1);
    EXPECT_EQ(WaitLimitMilliseconds(ERASE_WAIT), 600000);
    setenv("VALDRN_ERASE_TIMEOUT", "0.25", 1);
    EXPECT_EQ(WaitLimitMilliseconds(ERASE_WAIT), 250);
    for (const char* pchBad : {"abc", "0", "-5", "10s", "100000", "nan"}) {
        setenv("VALDRN_ERASE_TIMEOUT", pchBad, 1);
        CapturedOutput output;
        EXPECT_EQ(WaitLimitMilliseconds(ERASE_WAIT), 60000) << pchBad;
        output.Finish();
        EXPECT_EQ(output.Err(), std::string("Warning: VALDRN_ERASE_TIMEOUT=") + pchBad +
                                    " is not a number of seconds; 60 is used.\n");
    }
    unsetenv("VALDRN_ERASE_TIMEOUT");
    EXPECT_EQ(WaitLimitMilliseconds(BUSY_WAIT), 10000);
    EXPECT_EQ(WaitLimitMilliseconds(INIT_AGENT_WAIT), 60000);
    EXPECT_EQ(WaitLimitMilliseconds(LOCK_WAIT), 60000);
}

TEST_F(RepositoryCommandTest, AFailingInitializationAgentIsReported)
{
    Ok({0x00});
    Ok({0x00});
    AnswerEveryRequest(0xD5, {});
    CapturedOutput output;
    EXPECT_EQ(RunInitializationAgentCommand(), CommandResult::CMD_FAILED);
    output.Finish();
    EXPECT_EQ(output.Err(),
              "<ERROR> Error in executing IPMI command: Failure to Run Initialization Agent Command.\ncc = D5 \n");
}

// --- FRU inventory ------------------------------------------------------------

TEST_F(RepositoryCommandTest, FortyBytesAreWrittenAsSixteenSixteenAndEight)
{
    std::string sImage;
    for (int i = 0; i < 40; ++i) {
        sImage += static_cast<char>(i);
    }
    const FRUImage image = MakeFRUImage(reinterpret_cast<const unsigned char*>(sImage.data()), sImage.size());
    Ok({16});
    Ok({16});
    Ok({8});
    CapturedOutput output;
    EXPECT_EQ(DownloadFRUHandler(2, image, 40), CommandResult::FRU_DOWNLOAD_COMPLETE);
    output.Finish();
    EXPECT_EQ(Requests(), (std::vector<std::string>{"28 12 [02 00 00 " + HexBytes(sImage, 0, 16) + "]",
                                                    "28 12 [02 10 00 " + HexBytes(sImage, 16, 16) + "]",
                                                    "28 12 [02 20 00 " + HexBytes(sImage, 32, 8) + "]"}));
}

TEST_F(RepositoryCommandTest, AnImageOneByteLargerThanTheAreaIsRefused)
{
    const std::string sImage(41, '\x01');
    const FRUImage image = MakeFRUImage(reinterpret_cast<const unsigned char*>(sImage.data()), sImage.size());
    CapturedOutput output;
    EXPECT_EQ(DownloadFRUHandler(0, image, 40), CommandResult::CMD_FAILED);
    output.Finish();
    EXPECT_EQ(output.Err(), "FRU file size too big, can not download. \n");
    EXPECT_TRUE(Requests().empty());
}

TEST_F(RepositoryCommandTest, AnEmptyImageIsNotADownload)
{
    EXPECT_EQ(DownloadFRUHandler(0, FRUImage(), 40), CommandResult::FRU_AREA_PRESENT);
    EXPECT_TRUE(Requests().empty());
}

TEST_F(RepositoryCommandTest, AnAreaOfTwentyBytesIsReadAsThirtyTwo)
{
    Ok({0x14, 0x00, 0x00});
    std::vector<unsigned char> au8First = {16};
    for (unsigned char i = 0; i < 16; ++i) {
        au8First.push_back(i);
    }
    Ok(au8First);
    Ok({4, 0xA0, 0xA1, 0xA2, 0xA3});
    CapturedOutput output;
    FRUImage inventory;
    EXPECT_TRUE(DoFRUGetFromBMC(3, &inventory));
    output.Finish();
    EXPECT_EQ(Requests(), (std::vector<std::string>{"28 10 [03]", "28 11 [03 00 00 10]", "28 11 [03 10 00 10]"}));
    EXPECT_EQ(inventory.au8Bytes.size(), 20u + 16u);  // the area and one spare chunk
    EXPECT_EQ(inventory.u16Size, 32);
    EXPECT_EQ(inventory.au8Bytes[15], 15);
    EXPECT_EQ(inventory.au8Bytes[19], 0xA3);
}

TEST_F(RepositoryCommandTest, AnAreaSizeOfZeroFailsSilently)
{
    Ok({0x00, 0x00, 0x00});
    CapturedOutput output;
    unsigned short u16AreaSize = 1;
    EXPECT_EQ(GetFRUInventoryAreaInfoCommand(0, &u16AreaSize), CommandResult::CMD_FAILED);
    output.Finish();
    EXPECT_EQ(u16AreaSize, 0);
    EXPECT_EQ(output.Err(), "");
    EXPECT_EQ(output.Out(), "");
}

TEST_F(RepositoryCommandTest, AFailedReadStopsTheUploadButNotTheOperation)
{
    Ok({0x40, 0x00, 0x00});  // 64 bytes
    Ok({16, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    AnswerEveryRequest(0xCB, {});
    CapturedOutput output;
    FRUImage inventory;
    EXPECT_TRUE(DoFRUGetFromBMC(0, &inventory));
    output.Finish();
    EXPECT_EQ(inventory.u16Size, 32);
    EXPECT_NE(output.Err().find("<ERROR> Error in executing IPMI command because of: Failure to read data from FRU.\n"
                                "cc = CB \n"),
              std::string::npos);
}

TEST_F(RepositoryCommandTest, ReadingIntoNoBufferSendsNothing)
{
    CapturedOutput output;
    EXPECT_EQ(ReadFRUDataCommandToLocalBuffer(0, 0, 8, nullptr, 0), CommandResult::CMD_FAILED);
    FRUImage tooSmall;
    tooSmall.au8Bytes.assign(31, 0);  // the chunk at 16 would pass its room
    EXPECT_EQ(ReadFRUDataCommand(0, 16, 16, &tooSmall), CommandResult::CMD_FAILED);
    EXPECT_EQ(ReadFRUDataCommand(0, 0, 16, nullptr), CommandResult::CMD_FAILED);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error.<ERROR> Internal Error.<ERROR> Internal Error.");
    EXPECT_TRUE(Requests().empty());
}

TEST_F(RepositoryCommandTest, AMissingDeviceIsNamed)
{
    AnswerEveryRequest(0xCB, {});
    CapturedOutput output;
    unsigned short u16AreaSize = 0;
    EXPECT_EQ(GetFRUInventoryAreaInfoCommand(0x21, &u16AreaSize), CommandResult::CMD_FAILED);
    output.Finish();
    EXPECT_EQ(output.Err(),
              "<ERROR> Error in executing IPMI command because of: \nFRU Device 0x21 error or not exist.\n"
              "cc = CB \n");
}

TEST_F(RepositoryCommandTest, TwentyBytesAreReadAndWrittenAsSixteenAndFour)
{
    std::vector<unsigned char> au8First = {16};
    for (unsigned char i = 0; i < 16; ++i) {
        au8First.push_back(static_cast<unsigned char>(0x40 + i));
    }
    Ok(au8First);
    Ok({4, 0x50, 0x51, 0x52, 0x53});
    Ok({16});
    Ok({4});
    unsigned char au8Bytes[20] = {};
    CapturedOutput output;
    EXPECT_TRUE(ReadFRUBytes(1, 0x100, 20, au8Bytes));
    EXPECT_TRUE(WriteFRUBytes(1, 0x200, 20, au8Bytes));
    output.Finish();
    EXPECT_EQ(au8Bytes[0], 0x40);
    EXPECT_EQ(au8Bytes[19], 0x53);
    const std::string sBytes(reinterpret_cast<const char*>(au8Bytes), sizeof au8Bytes);
    EXPECT_EQ(Requests(), (std::vector<std::string>{"28 11 [01 00 01 10]", "28 11 [01 10 01 04]",
                                                    "28 12 [01 00 02 " + HexBytes(sBytes, 0, 16) + "]",
                                                    "28 12 [01 10 02 " + HexBytes(sBytes, 16, 4) + "]"}));
}

// A board area at 8 of two units (checksum at 0x17) holding "abc" at 0x10
// after the type/length byte C3.
// A device of 32 bytes: a common header naming a board area at 8 of two
// units (checksum at 0x17) holding "abc" at 0x10 after the type/length
// byte C3.
class FieldUpdateTest : public RepositoryCommandTest {
protected:
    WayBack m_wayBack;  // the copy a write that cannot be undone leaves
    static std::string Device()
    {
        std::string sDevice("\x01\x00\x00\x01\x00\x00\x00\xFE", 8);
        sDevice += std::string("\x01\x02\x00\x00\x00\x00\x00\xC3", 8) + "abc" + std::string(13, '\0');
        sDevice[0x17] = 0x10;
        return sDevice;
    }
    // Read FRU Data's answer: the count, then the bytes. Built as a string
    // and copied whole: GCC 12 at -O3 takes an element-wise fill or an
    // insert into a short vector for an overrun (false warnings).
    void Answer(const std::string& sBytes)
    {
        const std::string sAnswer = std::string(1, static_cast<char>(sBytes.size())) + sBytes;
        Ok(std::vector<unsigned char>(sAnswer.begin(), sAnswer.end()));
    }
    // The reads that plan the update: header, old field, area length and
    // checksum.
    void QueuePlanReads()
    {
        const std::string sDevice = Device();
        Answer(sDevice.substr(0, 8));
        Answer(sDevice.substr(0x0F, 1));
        Answer(sDevice.substr(0x10, 3));
        Answer(sDevice.substr(0x09, 1));
        Answer(sDevice.substr(0x17, 1));
    }
    // What the device holds, read before the first write: the area's size,
    // then its bytes (the header, the board area, the rest: no valid image).
    void QueueContentReads()
    {
        const std::string sDevice = Device();
        Ok({0x20, 0x00, 0x00});
        Answer(sDevice.substr(0, 16));
        Answer(sDevice.substr(16, 8));
        Answer(sDevice.substr(24, 8));
    }
    // The three writes (type/length byte, data, checksum), each answered.
    void QueueWritesTaken()
    {
        Ok({1});
        Ok({3});
        Ok({1});
    }
    // The put-back of 0x0F..0x17 and its read-back.
    void QueuePutBack()
    {
        Ok({9});
        Answer(Device().substr(0x0F, 9));
    }
    // The update with its writes taken and the data's read-back answered
    // by fnReadBack: it fails and is put back; what standard error says.
    std::string ErrorsWhenTheDataReadBackIs(const std::function<void()>& fnReadBack)
    {
        QueuePlanReads();
        QueueContentReads();
        QueueWritesTaken();
        Answer("\xC3");
        fnReadBack();
        QueuePutBack();
        FRUUpdateRequest request = BoardSerial();
        CapturedOutput output;
        EXPECT_FALSE(WriteFRUFieldUpdate(&request, &m_wayBack));
        output.Finish();
        return output.Err();
    }
    static FRUUpdateRequest BoardSerial()
    {
        FRUUpdateRequest request = {};
        std::strcpy(request.achFieldName, "snBoard");
        request.u16Offset = 0x10;
        request.u32StringType = 3;
        request.u8StringLength = 3;
        std::memcpy(request.au8EncodedData, "XYZ", 3);
        return request;
    }
    std::vector<std::string> Writes() const
    {
        std::vector<std::string> asWrites;
        for (const std::string& sRequest : Requests()) {
            if (sRequest.find("28 12 ") == 0) {
                asWrites.push_back(sRequest);
            }
        }
        return asWrites;
    }
};

// The checksum keeps the area's sum: 10 + (61+62+63+C3) - (58+59+5A+C3) = 2B.
// Each write is read back.
TEST_F(FieldUpdateTest, ASerialNumberIsReadThenWrittenTypeLengthDataChecksum)
{
    QueuePlanReads();
    QueueContentReads();
    QueueWritesTaken();
    Answer("\xC3");
    Answer("XYZ");
    Answer("\x2B");
    FRUUpdateRequest request = BoardSerial();
    CapturedOutput output;
    EXPECT_TRUE(WriteFRUFieldUpdate(&request, &m_wayBack));
    output.Finish();
    EXPECT_EQ(Writes(),
              (std::vector<std::string>{"28 12 [00 0F 00 C3]", "28 12 [00 10 00 58 59 5A]", "28 12 [00 17 00 2B]"}));
    EXPECT_EQ(Requests().size(), 5u + 4u + 3u + 3u);
    EXPECT_EQ(output.Err(), "");
}

TEST_F(FieldUpdateTest, ALengthThatDiffersFromTheDeviceWritesNothing)
{
    Ok({8, 0x01, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0xFE});
    Ok({1, 0xC4});
    FRUUpdateRequest request = BoardSerial();
    CapturedOutput output;
    EXPECT_FALSE(WriteFRUFieldUpdate(&request, &m_wayBack));
    output.Finish();
    EXPECT_EQ(Requests().size(), 2u);
    EXPECT_EQ(output.Err(), "<ERROR> String length specified must match string length in the FRU Inventory! \n");
}

// The data write fails after the type/length byte was written: the field
// and the checksum are written back as they were, and read back.
TEST_F(FieldUpdateTest, AFailedDataWriteIsUndone)
{
    QueuePlanReads();
    QueueContentReads();
    Ok({1});
    Queue(0xC1);
    QueuePutBack();
    FRUUpdateRequest request = BoardSerial();
    CapturedOutput output;
    EXPECT_FALSE(WriteFRUFieldUpdate(&request, &m_wayBack));
    output.Finish();
    EXPECT_EQ(Writes(), (std::vector<std::string>{"28 12 [00 0F 00 C3]", "28 12 [00 10 00 58 59 5A]",
                                                  "28 12 [00 0F 00 C3 61 62 63 00 00 00 00 10]"}));
    EXPECT_EQ(output.Err(),
              "<ERROR> Error in executing IPMI command because of: Failure to write data to FRU.\ncc = C1 \n"
              "FRU device 0x00 was put back as it was before this run.\n");
    EXPECT_EQ(m_wayBack.sCopyPath, "");  // put back: no copy to advise
}

// A device that takes the writes but keeps its old bytes is no success.
TEST_F(FieldUpdateTest, AWriteThatDoesNotStickIsAFailure)
{
    EXPECT_EQ(ErrorsWhenTheDataReadBackIs([this] { Answer("abc"); }),  // the old data: the write was ignored
              "<ERROR> The FRU device does not hold the bytes written to it.\n"
              "FRU device 0x00 was put back as it was before this run.\n");
}

// Bytes written but not read back: said so, then put back.
TEST_F(FieldUpdateTest, AReadBackThatFailsIsSaidSoAndUndone)
{
    EXPECT_EQ(ErrorsWhenTheDataReadBackIs([this] { Queue(0xC1); }),
              "<ERROR> The bytes written to the FRU device could not be read back.\n"
              "FRU device 0x00 was put back as it was before this run.\n");
}

// A signal that came before the first write: nothing is written, and
// nothing is put back.
TEST_F(FieldUpdateTest, AnInterruptionBeforeTheFirstWriteWritesNothing)
{
    QueuePlanReads();
    QueueContentReads();
    FRUUpdateRequest request = BoardSerial();
    GuardAgainstInterruption();
    std::raise(SIGINT);
    CapturedOutput output;
    EXPECT_FALSE(WriteFRUFieldUpdate(&request, &m_wayBack));
    output.Finish();
    EndInterruptionGuard();
    // The signal is forgotten for the tests that follow.
    GuardAgainstInterruption();
    EndInterruptionGuard();
    EXPECT_TRUE(Writes().empty());
    EXPECT_EQ(output.Err(), "<ERROR> Interrupted by signal 2: the update stops here.\n");
}

TEST_F(FieldUpdateTest, TheDateTimeAlwaysUsesTheBoardArea)
{
    const std::string sDevice = Device();
    Answer(sDevice.substr(0, 8));
    Answer(std::string(3, '\0'));
    Answer(sDevice.substr(0x09, 1));
    Answer(sDevice.substr(0x17, 1));
    QueueContentReads();
    Ok({3});
    Ok({1});
    Answer("\x01\x02\x03");
    Answer("\x0A");
    FRUUpdateRequest request = {};
    std::strcpy(request.achFieldName, "datetime");
    request.u16Offset = 0x0B;
    request.au8EncodedData[0] = 0x01;
    request.au8EncodedData[1] = 0x02;
    request.au8EncodedData[2] = 0x03;
    CapturedOutput output;
    EXPECT_TRUE(WriteFRUFieldUpdate(&request, &m_wayBack));
    output.Finish();
    EXPECT_EQ(Requests()[1], "28 11 [00 0B 00 03]");
    EXPECT_EQ(Writes(), (std::vector<std::string>{"28 12 [00 0B 00 01 02 03]", "28 12 [00 17 00 0A]"}));
    EXPECT_EQ(output.Err(), "");
}

// A result names one outcome: no two share a value.
TEST(CommandResults, EveryValueHasOneMeaning)
{
    std::set<int> aiValues;
    for (CommandResult eResult :
         {CommandResult::CMD_FAILED, CommandResult::SDR_INFO_READ, CommandResult::SDR_RESERVATION_OBTAINED,
          CommandResult::SDR_ERASE_IN_PROGRESS, CommandResult::SDR_ERASE_COMPLETED, CommandResult::SDR_PARTIAL_ADD_MORE,
          CommandResult::SDR_PARTIAL_ADD_LAST, CommandResult::SDR_RECORD_READ_IN_PART, CommandResult::SDR_RECORD_READ,
          CommandResult::SDR_INIT_AGENT_COMPLETED, CommandResult::FRU_DOWNLOAD_COMPLETE,
          CommandResult::SDR_OPERATION_NOT_SUPPORTED, CommandResult::SDR_INFO_FAILED, CommandResult::FRU_READ_DONE,
          CommandResult::FRU_WRITE_DONE, CommandResult::SDR_RESERVATION_CANCELLED, CommandResult::FRU_UPLOAD_COMPLETE,
          CommandResult::FRU_AREA_PRESENT}) {
        aiValues.insert(static_cast<int>(eResult));
    }
    EXPECT_EQ(aiValues.size(), 18u);
}

}  // namespace
