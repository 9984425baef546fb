// SDR download, upload and verify through the real VALDRN command line,
// over RMCP+ with Debian's ipmitool, against the test BMC.
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/e2e_support.h"
#include "support/sdr_fixtures.h"

using namespace valdrn_test;

namespace {

std::string Format(const char* pchFormat, unsigned int uFirst, unsigned int uSecond = 0)
{
    char achLine[200];
    std::snprintf(achLine, sizeof achLine, pchFormat, uFirst, uSecond);
    return achLine;
}

// The lines of reading records back, one per record, with the verb.
std::string ReadLines(const char* pchVerb, const std::vector<std::string>& asRecords)
{
    std::string sText;
    for (const std::string& sRecord : asRecords) {
        const unsigned int uId = static_cast<unsigned char>(sRecord[0]) | (static_cast<unsigned char>(sRecord[1]) << 8);
        sText += std::string("    Start to ") + pchVerb +
                 Format(" SDR record ID %04Xh, type %Xh ... \n", uId, static_cast<unsigned char>(sRecord[3]));
    }
    return sText;
}

std::string WriteLines(const char* pchVerb, size_t uCount)
{
    std::string sText;
    for (size_t i = 0; i < uCount; ++i) {
        sText += std::string("    Start to ") + pchVerb + Format(" #%2Xh SDR record  ... \n", static_cast<unsigned>(i));
    }
    return sText;
}

std::string BackupLines(const std::vector<std::string>& asRepository)
{
    return "Backup data from SDR Repository. \n"
           "The back-up data will restore the SDR Repository if downloading is failed. \n" +
           ReadLines("backup", asRepository) + "Backup data from SDR Repository Successful. \n\n";
}

std::string DownloadLines(size_t uCount, const char* pchAgent = "Completed! ")
{
    return Format("There are %Xh SDR records to download! \n", static_cast<unsigned>(uCount)) +
           WriteLines("download", uCount) +
           Format("Download SDR data Successful. (%Xh SDR records downloaded!) \n", static_cast<unsigned>(uCount)) +
           "Run Initialization Agent Command... " + pchAgent + "\n";
}

const std::vector<std::string> S_asEvery = SdrRecordsOfEveryType();
const std::vector<std::string> S_asFew = {SdrNamedRecord(0x0101, 0x01, "Fan 1"), SdrFixedRecord(0x0102, 0x08, 0x10),
                                          SdrNamedRecord(0x0103, 0x02, "PSU"), SdrFixedRecord(0x0104, 0xC0, 0x20)};

class SdrEndToEnd : public testing::Test {
protected:
    // Downloads the records as a text file; the run's result.
    CommandResult Download(const std::vector<std::string>& asRecords, const std::string& sName = "in.sdr")
    {
        m_e2e.Write(sName, SdrTextFile(asRecords));
        return m_e2e.Valdrn({"-d", sName});
    }

    EndToEnd m_e2e;
};

TEST_F(SdrEndToEnd, DownloadTextFileOfEveryTypeIntoAnEmptyRepository)
{
    const CommandResult result = Download(S_asEvery);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    EXPECT_EQ(result.sOut, ProductHeader() + DownloadLines(S_asEvery.size()));
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asEvery));
}

TEST_F(SdrEndToEnd, DownloadBinaryFileWithBackup)
{
    ASSERT_EQ(Download(S_asFew).iStatus, 0);
    const std::vector<std::string> asBefore = m_e2e.Repository();
    const std::string sBinary = SdrBinaryFormat2(S_asEvery, -1, std::string(4, '\xFF'));
    m_e2e.Write("in.bin", sBinary);
    const CommandResult result = m_e2e.Valdrn({"-d", "in.bin"});
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    EXPECT_EQ(result.sOut, ProductHeader() +
                               Format("Recognize SDR File as binary format version 2 (%d records) \n"
                                      "Start to process SDR file (total 0x%lX bytes) \n",
                                      static_cast<unsigned>(S_asEvery.size()), static_cast<unsigned>(sBinary.size())) +
                               BackupLines(asBefore) + DownloadLines(S_asEvery.size()));
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asEvery));
}

TEST_F(SdrEndToEnd, UploadInEachEncodingThenTestAndVerify)
{
    ASSERT_EQ(Download(S_asEvery).iStatus, 0);
    const std::vector<std::string> asRepository = m_e2e.Repository();
    for (const char* pchEncoding : {"ascii", "utf8", "utf16"}) {
        const std::string sName = std::string("up-") + pchEncoding + ".sdr";
        const CommandResult upload = m_e2e.Valdrn({"-u", sName, std::string("encoding=") + pchEncoding});
        EXPECT_EQ(upload.iStatus, 0) << upload.sErr;
        EXPECT_EQ(upload.sErr, "");
        EXPECT_EQ(upload.sOut, ProductHeader() + ReadLines("upload", asRepository) + "Start to save sdr file, " +
                                   sName + " \nThe SDR data has been saved in file " + sName + "! \n");
        const CommandResult test = m_e2e.ValdrnAlone({"-t", sName});
        EXPECT_EQ(test.sOut, ProductHeader() + "No error found in SDR file " + sName + "! \n \n");
        const CommandResult verify = m_e2e.Valdrn({"-v", sName});
        EXPECT_EQ(verify.iStatus, 0) << verify.sErr;
        EXPECT_EQ(verify.sOut, ProductHeader() + ReadLines("upload", asRepository) + "Verify SDR file " + sName +
                                   " with SDR repository successful! \n\n");
    }
    // The text file in UTF-16 carries the same bytes, mark first.
    EXPECT_EQ(m_e2e.Read("up-utf16.sdr").substr(0, 2), "\xFF\xFE");
}

TEST_F(SdrEndToEnd, VerifyFindsAChangedByte)
{
    ASSERT_EQ(Download(S_asFew).iStatus, 0);
    std::vector<std::string> asChanged = S_asFew;
    asChanged[2][10] = static_cast<char>(asChanged[2][10] ^ 0x01);
    m_e2e.Write("changed.sdr", SdrTextFile(asChanged));
    const CommandResult result = m_e2e.Valdrn({"-v", "changed.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr,
              "<ERROR> Different record data in record 2, 10  byte!\n"
              "Failure to verify the SDR data! (different SDR)\n");
}

TEST_F(SdrEndToEnd, VerifyFindsADifferentCount)
{
    ASSERT_EQ(Download(S_asFew).iStatus, 0);
    m_e2e.Write("fewer.sdr", SdrTextFile({S_asFew[0], S_asFew[1]}));
    const CommandResult result = m_e2e.Valdrn({"-v", "fewer.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr,
              "Record number different: in file is 2, in BMC is 4\n"
              "Failure to verify the SDR data! (different SDR)\n");
}

TEST_F(SdrEndToEnd, UploadOfAnEmptyRepository)
{
    const CommandResult result = m_e2e.Valdrn({"-u", "up.sdr", "encoding=ascii"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr, "The SDR repository is empty.\nFailure to upload SDR data!\n");
    EXPECT_EQ(m_e2e.Read("up.sdr"), "");  // claimed by the probe, left empty
}

TEST_F(SdrEndToEnd, OverwritePrompt)
{
    ASSERT_EQ(Download(S_asFew).iStatus, 0);
    m_e2e.Write("up.sdr", "keep me");
    const CommandResult declined = m_e2e.Valdrn({"-u", "up.sdr", "encoding=ascii"}, "n\n");
    EXPECT_EQ(declined.iStatus, 0);
    EXPECT_EQ(declined.sOut, ProductHeader() + "File exists, do you want to replace it, y/n? ");
    EXPECT_EQ(m_e2e.Read("up.sdr"), "keep me");
    const CommandResult accepted = m_e2e.Valdrn({"-u", "up.sdr", "encoding=ascii"}, "  \n Y\n");
    EXPECT_EQ(accepted.iStatus, 0) << accepted.sErr;
    const std::string sPrompt = ProductHeader() + "File exists, do you want to replace it, y/n? ";
    EXPECT_EQ(accepted.sOut.substr(0, sPrompt.size()), sPrompt);
    EXPECT_EQ(m_e2e.Read("up.sdr").substr(0, 7), "_SDR (\n");
    const CommandResult noAnswer = m_e2e.Valdrn({"-u", "up.sdr", "encoding=ascii"}, "");
    EXPECT_EQ(noAnswer.iStatus, 0);
}

TEST_F(SdrEndToEnd, UploadIntoAMissingDirectory)
{
    const CommandResult result = m_e2e.Valdrn({"-u", "nodir/up.sdr", "encoding=ascii"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sOut, ProductHeader());
    EXPECT_EQ(result.sErr, "<ERROR> Directory does not exist or file error.\n");
}

TEST_F(SdrEndToEnd, DownloadOfAMissingFileTouchesNothing)
{
    const CommandResult result = m_e2e.Valdrn({"-d", "missing.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr, "<ERROR> File missing.sdr does not exist.\n");
}

TEST_F(SdrEndToEnd, DownloadOfABadFile)
{
    m_e2e.Write("bad.sdr", "_SDR (\n_SDR_TYPE 99\n)\n");
    const CommandResult result = m_e2e.Valdrn({"-d", "bad.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr,
              "<ERROR> SDR file format error. \nRecord type (99h) is invalid. (line 2) \n"
              "Failure to download SDR data!\n\n");
}

// --- backup and restore -----------------------------------------------------------------------

class SdrRestore : public SdrEndToEnd, public testing::WithParamInterface<int> {};

TEST_P(SdrRestore, FailedPartialAddRestoresTheRepository)
{
    ASSERT_EQ(Download(S_asFew).iStatus, 0);
    const std::vector<std::string> asBefore = m_e2e.Repository();
    // The records of S_asEvery take 19 partial adds; this one fails in all
    // six attempts.
    const int iFailing = GetParam();
    m_e2e.Bmc().Knob("fail=0a:25:" + std::to_string(iFailing) + ":c1:6");
    m_e2e.Write("in.sdr", SdrTextFile(S_asEvery));
    const CommandResult result = m_e2e.Valdrn({"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr,
              "<ERROR> Error in executing IPMI command because of: Failure to add data to SDR repository.\n"
              "cc = C1 \nFailure to download SDR data!\n\n");
    const std::string sRestore =
        "Restore SDR Repository. \n" +
        Format("There are %Xh SDR records to restore! \n", static_cast<unsigned>(asBefore.size())) +
        WriteLines("restore", asBefore.size()) + "Restore SDR Repository Successful. \n";
    EXPECT_GE(result.sOut.size(), sRestore.size());
    EXPECT_EQ(result.sOut.substr(result.sOut.size() - sRestore.size()), sRestore) << result.sOut;
    EXPECT_EQ(result.sOut.find("Download SDR data Successful"), std::string::npos);
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(asBefore));
}

INSTANTIATE_TEST_SUITE_P(AtStartMiddleAndEnd, SdrRestore, testing::Values(1, 10, 19));

// The status is polled with pauses for about ten seconds, then the erase
// counts as failed; the restore's erase fails the same way, so the run
// names the copy saved before the erase and the command that restores it.
TEST_F(SdrEndToEnd, EraseThatNeverCompletes)
{
    ASSERT_EQ(Download(S_asFew).iStatus, 0);
    m_e2e.Bmc().Knob("erase_polls=100000");
    // Two erases (the download's, the restore's), each given two seconds
    // instead of a minute.
    m_e2e.SetEnvironment("VALDRN_ERASE_TIMEOUT=2");
    const CommandResult result = Download(S_asEvery);
    EXPECT_EQ(result.iStatus, 1);
    const std::string sFailure =
        "\n<ERROR> Error in executing IPMI command because of: Failure to clear SDR.\n"
        "Failure to download SDR data!\n\n"
        "\n<ERROR> Error in executing IPMI command because of: Failure to clear SDR.\n"
        "Restore SDR Repository Failed. \n"
        "The BMC's data from before this run is saved in backups/";
    EXPECT_EQ(result.sErr.substr(0, sFailure.size()), sFailure) << result.sErr;
    EXPECT_NE(result.sErr.find("; to put it back, run:\n"), std::string::npos) << result.sErr;
}

TEST_F(SdrEndToEnd, EraseCompletingOnTheThirdPoll)
{
    m_e2e.Bmc().Knob("erase_polls=3");
    const CommandResult result = Download(S_asFew);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
}

// A slower erase is waited for: it once failed after three polls.
TEST_F(SdrEndToEnd, EraseCompletingOnTheTwelfthPoll)
{
    m_e2e.Bmc().Knob("erase_polls=12");
    const CommandResult result = Download(S_asFew);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asFew));
}

// Another agent's reservations cancel ours while the backup is read and
// while records are added: each record is read or added again under a new
// reservation, and the download ends as if nothing had happened.
TEST_F(SdrEndToEnd, CancelledReservationsAreTakenAnew)
{
    ASSERT_EQ(Download(S_asFew).iStatus, 0);
    m_e2e.Bmc().Knob("fail=0a:23:2:c5:1 fail=0a:25:3:c5:1");
    const CommandResult result = Download(S_asEvery);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    EXPECT_NE(result.sOut.find("Backup data from SDR Repository Successful."), std::string::npos) << result.sOut;
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asEvery));
}

TEST_F(SdrEndToEnd, MissingPartialAddSupport)
{
    m_e2e.Bmc().Knob("opsupport=0x02");
    const CommandResult result = Download(S_asFew);
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sOut, ProductHeader());
    EXPECT_EQ(result.sErr, "Partial Add SDR command is not supported. \n");
    m_e2e.Bmc().Knob("opsupport=0x04");
    const CommandResult noReserve = m_e2e.Valdrn({"-u", "up.sdr", "encoding=ascii"});
    EXPECT_EQ(noReserve.iStatus, 1);
    EXPECT_EQ(noReserve.sErr, "Reserve SDR command is not supported. \nFailure to upload SDR data!\n");
}

// Nothing to back up or restore: what the failed download added is
// erased, so that the repository ends empty as it was.
TEST_F(SdrEndToEnd, FailedDownloadIntoAnEmptyRepositoryEndsEmpty)
{
    m_e2e.Bmc().Knob("fail=0a:25:2:c1:6");
    const CommandResult result = Download(S_asFew);
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sOut, ProductHeader() + "There are 4h SDR records to download! \n" + WriteLines("download", 1));
    EXPECT_EQ(result.sOut.find("Backup"), std::string::npos);
    EXPECT_EQ(result.sOut.find("Restore"), std::string::npos);
    m_e2e.Bmc().Knob("nofaults");
    EXPECT_TRUE(m_e2e.Repository().empty());
}

TEST_F(SdrEndToEnd, InsufficientFreeSpaceIsANoticeOnly)
{
    ASSERT_EQ(Download(S_asFew).iStatus, 0);
    const std::vector<std::string> asBefore = m_e2e.Repository();
    m_e2e.Bmc().Knob("free=10");
    const CommandResult result = Download(S_asEvery);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    unsigned int uRequired = 0;
    for (const std::string& sRecord : S_asEvery) {
        uRequired += static_cast<unsigned int>(sRecord.size());
    }
    EXPECT_EQ(result.sOut,
              ProductHeader() +
                  Format("Lack of space in the SDR Repository, required=%d, free space=%d. \n", uRequired, 10) +
                  BackupLines(asBefore) + DownloadLines(S_asEvery.size()));
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asEvery));
}

TEST_F(SdrEndToEnd, InitializationAgentInProgressThenCompleted)
{
    m_e2e.Bmc().Knob("init_polls=4");
    const CommandResult result = Download(S_asFew);
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_EQ(result.sOut, ProductHeader() + DownloadLines(S_asFew.size()));
}

TEST_F(SdrEndToEnd, InitializationAgentThatFails)
{
    m_e2e.Bmc().Knob("init_polls=2 init_status=0x02");
    const CommandResult result = Download(S_asFew);
    EXPECT_EQ(result.iStatus, 0);  // the download itself succeeded
    EXPECT_EQ(result.sOut, ProductHeader() + DownloadLines(S_asFew.size(), "Failed! "));
    EXPECT_EQ(result.sErr,
              "<ERROR> Error in executing IPMI command: Failure to Run Initialization Agent Command.\n"
              "cc = 0 \n");
}

TEST_F(SdrEndToEnd, RefusedCredentials)
{
    m_e2e.Write("in.sdr", SdrTextFile(S_asFew));
    const CommandResult result = m_e2e.ValdrnAlone(
        {"-d", "in.sdr", "-n", "lanplus", "-H", m_e2e.Bmc().Address(), "-U", "admin", "-P", "wrong", "-C", "3"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr, "\n\nGet Device ID failed. Please check LAN+ configuration.\n\n");
}

TEST_F(SdrEndToEnd, DefaultInterfaceWithoutDriverGivesTheKcsNote)
{
    m_e2e.Write("in.sdr", SdrTextFile(S_asFew));
    const CommandResult result = m_e2e.ValdrnAlone({"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(
        result.sErr,
        "\n\nKCS initialization error. Please check configuration.\n\n"
        "\nNote: If the option, -msgintf kcsio, is used,\n      make sure KCS driver modules are not loaded!\n\n");
}

}  // namespace
