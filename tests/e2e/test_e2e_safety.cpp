// The BMC's data is never lost: a copy saved before every change reads
// back and puts the BMC back; failed writes are undone or name their way
// back; the copies' folder can fail without stopping the work.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/e2e_support.h"
#include "support/fru_fixtures.h"
#include "support/sdr_fixtures.h"

using namespace valdrn_test;

namespace {

const std::vector<std::string> S_asBefore = FaultTestRepository();
const std::vector<std::string> S_asFile = FaultTestFile();

std::string Name(const std::string& sPath)
{
    return std::filesystem::path(sPath).filename().string();
}

class SavedCopies : public testing::Test {
protected:
    SavedCopies() : m_e2e("fru=0:512") {}

    CommandResult DownloadSdr(const std::vector<std::string>& asRecords)
    {
        m_e2e.Write("in.sdr", SdrTextFile(asRecords));
        return m_e2e.Valdrn({"-d", "in.sdr"});
    }
    CommandResult DownloadFru(const std::string& sImage)
    {
        m_e2e.Write("in.fru", sImage);
        return m_e2e.Valdrn({"-d", "in.fru", "fruID=0"});
    }
    // The copy as the user names it from the working directory.
    std::string Relative(const std::string& sCopy) const { return "backups/" + Name(sCopy); }

    // The typical image on the device; what it holds then.
    std::string TypicalDevice()
    {
        EXPECT_EQ(DownloadFru(TypicalServerFru()).iStatus, 0);
        return m_e2e.FruArea(0);
    }
    // The board serial number of the typical image, in 6-bit ASCII, with
    // PATH as given ("" for the one of the test).
    CommandResult UpdateBoardSerial(const std::string& sPath = "")
    {
        char achOffset[24];
        std::snprintf(achOffset, sizeof achOffset, "offset=%zX", TypicalServerFru().find("BSN0001234"));
        const std::vector<std::string> asWords = {"-updateFRU", "fieldName=snBoard", "fruID=0",          achOffset,
                                                  "strType=2",  "strLength=A",       "strValue=SN 42-AB"};
        return sPath.empty() ? m_e2e.Valdrn(asWords) : m_e2e.ValdrnWithPath(sPath, asWords);
    }

    EndToEnd m_e2e;
};

// A download over a repository saves it first, silently; the copy tests
// clean and puts the repository back exactly.
TEST_F(SavedCopies, ARepositoryCopyReadsBackAndRestores)
{
    m_e2e.Bmc().SeedRepository(S_asBefore);
    const CommandResult result = DownloadSdr(S_asFile);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    EXPECT_FALSE(Contains(result.sOut, "backups")) << result.sOut;
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    const std::string sCopy = m_e2e.SavedCopies()[0];
    const std::string sAddress = m_e2e.Bmc().LanOptions()[3];
    EXPECT_EQ(Name(sCopy).rfind(sAddress + "-sdr-", 0), 0u) << sCopy;
    EXPECT_FALSE(Contains(sCopy, "partial"));
    struct stat info = {};
    ASSERT_EQ(stat(sCopy.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    ASSERT_EQ(stat(m_e2e.BackupDir().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);

    const CommandResult tested = m_e2e.ValdrnAlone({"-t", Relative(sCopy)});
    EXPECT_EQ(tested.iStatus, 0) << tested.sErr;
    const CommandResult restored = m_e2e.Valdrn({"-d", Relative(sCopy)});
    EXPECT_EQ(restored.iStatus, 0) << restored.sErr;
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asBefore));
}

TEST_F(SavedCopies, AnEmptyRepositoryNeedsNoCopy)
{
    const CommandResult result = DownloadSdr(S_asFile);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_TRUE(m_e2e.SavedCopies().empty());
}

// The erase and every later request refused: the restore fails too. The
// run names the copy and the command; once the BMC works, the command
// puts the repository back.
TEST_F(SavedCopies, AFailedRestoreNamesTheCopyAndItsCommandRestoresIt)
{
    m_e2e.Bmc().SeedRepository(S_asBefore);
    m_e2e.Bmc().Knob("fail=0a:25:2:c1:0");
    const CommandResult result = DownloadSdr(S_asFile);
    EXPECT_EQ(result.iStatus, 1);
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    const std::string sCopy = Relative(m_e2e.SavedCopies()[0]);
    const std::string sAddress = m_e2e.Bmc().LanOptions()[3];
    const std::string sAdvice =
        "Restore SDR Repository Failed. \n"
        "The BMC's data from before this run is saved in " +
        sCopy + "; to put it back, run:\n" VALDRN_BINARY " -d " + sCopy + " -n lanplus -H " + sAddress +
        " -U admin -P ... -C 3\n";
    ASSERT_GE(result.sErr.size(), sAdvice.size());
    EXPECT_EQ(result.sErr.substr(result.sErr.size() - sAdvice.size()), sAdvice) << result.sErr;
    EXPECT_NE(WithoutIds(m_e2e.Repository()), WithoutIds(S_asBefore));

    m_e2e.Bmc().Knob("nofaults");
    const CommandResult restore = m_e2e.RunPrintedRestoreCommand(result);
    EXPECT_EQ(restore.iStatus, 0) << restore.sErr;
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asBefore));
}

// A copy whose path from here VALDRN could not take as a file name (over
// 255 characters, with a blank) is restored from its own folder by the
// printed command.
TEST_F(SavedCopies, ACopyInAFarFolderIsRestoredByThePrintedCommand)
{
    std::string sFolder = m_e2e.File("saved copies");
    for (int i = 0; i < 12; ++i) {
        sFolder += "/a-folder-name-of-twenty-four";
    }
    m_e2e.SetBackupDir(sFolder);
    m_e2e.Bmc().SeedRepository(S_asBefore);
    m_e2e.Bmc().Knob("fail=0a:25:2:c1:0");
    const CommandResult result = DownloadSdr(S_asFile);
    EXPECT_EQ(result.iStatus, 1);
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    const std::string sCopy = m_e2e.SavedCopies()[0];
    EXPECT_TRUE(Contains(result.sErr, "The BMC's data from before this run is saved in " + sCopy +
                                          "; to put it back, run:\ncd '" + sFolder + "' && " VALDRN_BINARY " -d " +
                                          Name(sCopy) + " -n lanplus -H "))
        << result.sErr;
    m_e2e.Bmc().Knob("nofaults");
    const CommandResult restore = m_e2e.RunPrintedRestoreCommand(result);
    EXPECT_EQ(restore.iStatus, 0) << restore.sOut << restore.sErr;
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asBefore));
}

// A record longer than VALDRN takes from a file (120 bytes) between two
// others: the backup keeps it byte for byte, the copy is the exact one,
// which -t finds whole and -d puts back as it was.
TEST_F(SavedCopies, ARecordTooLongForAnSdrFileIsKeptInAnExactCopy)
{
    const std::string sLong = std::string("\x02\x01\x51\xC0\x73", 5) + std::string(115, '\x5A');
    m_e2e.Bmc().SeedRepository({S_asBefore[0], sLong, S_asBefore[2]});
    const std::vector<std::string> asSeeded = m_e2e.Repository();
    const CommandResult result = DownloadSdr(S_asFile);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    EXPECT_TRUE(Contains(result.sOut, "Backup data from SDR Repository Successful. \n")) << result.sOut;
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asFile));
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    const std::string sCopy = Relative(m_e2e.SavedCopies()[0]);
    EXPECT_EQ(sCopy.substr(sCopy.size() - 4), ".bin") << sCopy;
    EXPECT_EQ(m_e2e.ValdrnAlone({"-t", sCopy}).iStatus, 0);
    const CommandResult restored = m_e2e.Valdrn({"-d", sCopy});
    EXPECT_EQ(restored.iStatus, 0) << restored.sErr;
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(asSeeded));
}

// The backup read fails at the third record for good, through every new
// read: nothing is erased. Told to go on, the run leaves a partial copy
// of the two records read and the download succeeds.
TEST_F(SavedCopies, ABackupReadThatFailsStopsTheDownloadOrLeavesAPartialCopy)
{
    m_e2e.Bmc().SeedRepository(S_asBefore);
    const std::vector<std::string> asSeeded = m_e2e.Repository();
    // Five reads for the first record, two for the second: the eighth is
    // the third record's header.
    m_e2e.Bmc().Knob("fail=0a:23:8:c1:0");
    CommandResult result = DownloadSdr(S_asFile);
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_TRUE(Contains(result.sOut, "Warning: Backup data from SDR Repository Failed.")) << result.sOut;
    EXPECT_TRUE(Contains(result.sErr,
                         "<ERROR> The SDR repository could not be read whole, so nothing was changed "
                         "(VALDRN_ALLOW_PARTIAL_BACKUP=1 downloads all the same).\n"))
        << result.sErr;
    m_e2e.Bmc().Knob("nofaults");
    EXPECT_EQ(m_e2e.Repository(), asSeeded);
    EXPECT_TRUE(m_e2e.SavedCopies().empty());

    m_e2e.Bmc().Knob("fail=0a:23:8:c1:0");
    m_e2e.SetEnvironment("VALDRN_ALLOW_PARTIAL_BACKUP=1");
    result = DownloadSdr(S_asFile);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    const std::string sCopy = m_e2e.SavedCopies()[0];
    EXPECT_TRUE(Contains(Name(sCopy), "-partial.sdr")) << sCopy;
    m_e2e.Bmc().Knob("nofaults");
    ASSERT_EQ(m_e2e.Valdrn({"-d", Relative(sCopy)}).iStatus, 0);
    const std::vector<std::string> asTwo(S_asBefore.begin(), S_asBefore.begin() + 2);
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(asTwo));
}

// A BMC that fails one Get SDR of the backup for a moment (six attempts
// of one request): the backup is read again, whole, and the download
// goes on.
TEST_F(SavedCopies, ABackupReadThatFailsOnceIsReadAgain)
{
    m_e2e.Bmc().SeedRepository(S_asBefore);
    m_e2e.Bmc().Knob("fail=0a:23:8:c1:6");
    const CommandResult result = DownloadSdr(S_asFile);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_TRUE(Contains(result.sOut, "Backup data from SDR Repository Successful. \n")) << result.sOut;
    EXPECT_FALSE(Contains(result.sOut, "Warning:")) << result.sOut;
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asFile));
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    EXPECT_FALSE(Contains(Name(m_e2e.SavedCopies()[0]), "partial"));
}

// A folder that cannot be made: one warning line, and the download works.
TEST_F(SavedCopies, AFolderThatCannotBeWrittenWarnsAndTheWorkGoesOn)
{
    m_e2e.Bmc().SeedRepository(S_asBefore);
    m_e2e.Write("not-a-folder", "");
    m_e2e.SetBackupDir(m_e2e.File("not-a-folder") + "/backups");
    const CommandResult result = DownloadSdr(S_asFile);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr,
              "Warning: no copy of the SDR repository could be saved in " + m_e2e.BackupDir() + ": Not a directory.\n");
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asFile));
}

// A FRU image's copy is the image: -t finds it clean and -d puts it back.
TEST_F(SavedCopies, AFruCopyIsTheImageAndPutsTheDeviceBack)
{
    const std::string sImage = TypicalServerFru();
    ASSERT_EQ(DownloadFru(sImage).iStatus, 0);
    const std::string sBefore = m_e2e.FruArea(0);
    const std::string sOther =
        FruImage({"", FruChassisArea(0x17, {FruAsciiField("P-1"), FruEmptyField()}), "", "", ""});
    const CommandResult result = DownloadFru(sOther);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    ASSERT_EQ(m_e2e.SavedCopies().size(), 2u);
    const std::string sCopy = m_e2e.SavedCopies()[1];
    EXPECT_TRUE(Contains(Name(sCopy), "-fru0-")) << sCopy;
    EXPECT_EQ(m_e2e.Read(Relative(sCopy)), sImage);
    EXPECT_EQ(m_e2e.ValdrnAlone({"-t", Relative(sCopy), "fruID=0"}).iStatus, 0);
    ASSERT_EQ(m_e2e.Valdrn({"-d", Relative(sCopy), "fruID=0"}).iStatus, 0);
    EXPECT_EQ(m_e2e.FruArea(0), sBefore);
}

// A device that takes writes and keeps nothing is a failure, not a success.
TEST_F(SavedCopies, AnIgnoredFruWriteIsAFailure)
{
    m_e2e.Bmc().Knob("fru_ignore_writes=1");
    const std::string sBefore = m_e2e.FruArea(0);
    const CommandResult result = DownloadFru(TypicalServerFru());
    EXPECT_FALSE(Contains(result.sOut, "Download FRU data successful.")) << result.sOut;
    EXPECT_EQ(result.sErr,
              "<ERROR> The FRU device does not hold the bytes written to it.\n"
              "FRU device 0x00 was put back as it was before this run.\n"
              "Failure to download FRU data! \n\n");
    EXPECT_EQ(m_e2e.FruArea(0), sBefore);
}

// -updateFRU whose data write is refused after the type/length byte was
// written: the field and the checksum go back as they were.
TEST_F(SavedCopies, AFailedFieldUpdateIsUndone)
{
    const std::string sBefore = TypicalDevice();
    m_e2e.Bmc().Knob("fail=0a:12:2:c1:6");
    const CommandResult result = UpdateBoardSerial();
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sOut, ProductHeader() + "Update FRU data failed!\n\n");
    EXPECT_EQ(result.sErr,
              "<ERROR> Error in executing IPMI command because of: Failure to write data to FRU.\ncc = C1 \n"
              "FRU device 0x00 was put back as it was before this run.\n");
    EXPECT_EQ(m_e2e.FruArea(0), sBefore);
}

// --- interruptions ---------------------------------------------------------------------------

// A stand-in ipmitool that sends VALDRN (its parent's parent: popen runs
// it through sh) the signals when it is run for the given occurrence of a
// command ("0x0a 0x25": Partial Add SDR).
StandInIpmitool Interrupting(const std::string& sCommand, int iOccurrence, const std::string& sSignals)
{
    std::string sKills;
    for (char chSignal : sSignals) {
        const char* pchKill = chSignal == 'I'   ? "kill -INT"
                              : chSignal == 'H' ? "kill -HUP"
                              : chSignal == 'K' ? "kill -KILL"
                                                : "kill -TERM";
        sKills += std::string(pchKill) + " \"$VALDRN_PID\"; sleep 0.3; ";
    }
    return StandInIpmitool("case \"$*\" in *'raw " + sCommand + " '*) if [ \"$(grep -c 'raw " + sCommand +
                           " ' \"$(dirname \"$0\")/calls\")\" -eq " + std::to_string(iOccurrence) +
                           " ]; then VALDRN_PID=$PPID; " + sKills + "fi;; esac");
}

// Ctrl-C in the middle of adding records: the download stops, the
// repository is restored as after any failure, and the run fails.
TEST_F(SavedCopies, OneSignalStopsTheDownloadAndTheRepositoryIsRestored)
{
    m_e2e.Bmc().SeedRepository(S_asBefore);
    const StandInIpmitool ipmitool = Interrupting("0x0a 0x25", 2, "I");
    m_e2e.Write("in.sdr", SdrTextFile(S_asFile));
    const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_TRUE(Contains(result.sErr,
                         "<ERROR> Interrupted by signal 2: the download stops here.\n"
                         "Failure to download SDR data!\n\n"))
        << result.sErr;
    EXPECT_TRUE(Contains(result.sOut, "Restore SDR Repository Successful. \n")) << result.sOut;
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asBefore));
}

// A second signal ends the run at once; its last words name the copy and
// the command, which puts the repository back.
TEST_F(SavedCopies, ASecondSignalEndsTheRunAndNamesTheWayBack)
{
    m_e2e.Bmc().SeedRepository(S_asBefore);
    const StandInIpmitool ipmitool = Interrupting("0x0a 0x25", 2, "II");
    m_e2e.Write("in.sdr", SdrTextFile(S_asFile));
    const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 128 + 2);
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    EXPECT_TRUE(Contains(result.sErr, "The BMC's data from before this run is saved in backups/")) << result.sErr;
    const CommandResult restore = m_e2e.RunPrintedRestoreCommand(result);
    EXPECT_EQ(restore.iStatus, 0) << restore.sErr;
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asBefore));
}

// A closed ssh session in the middle of a FRU download: the device is put
// back, and the run fails although a failed FRU write alone ends with 0.
TEST_F(SavedCopies, AHangUpStopsTheFruDownloadAndTheDeviceIsPutBack)
{
    ASSERT_EQ(
        DownloadFru(FruImage({"", FruChassisArea(0x17, {FruAsciiField("P-1"), FruEmptyField()}), "", "", ""})).iStatus,
        0);
    const std::string sBefore = m_e2e.FruArea(0);
    const StandInIpmitool ipmitool = Interrupting("0x0a 0x12", 2, "H");
    m_e2e.Write("in.fru", TypicalServerFru());
    const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.fru", "fruID=0"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr,
              "<ERROR> Interrupted by signal 1: the download stops here.\n"
              "FRU device 0x00 was put back as it was before this run.\n"
              "Failure to download FRU data! \n\n");
    EXPECT_EQ(m_e2e.FruArea(0), sBefore);
}

// SIGTERM after the type/length byte of a field update: the field goes
// back as it was.
TEST_F(SavedCopies, ATerminatedFieldUpdateIsUndone)
{
    const std::string sBefore = TypicalDevice();
    const StandInIpmitool ipmitool = Interrupting("0x0a 0x12", 1, "T");
    const CommandResult result = UpdateBoardSerial(ipmitool.Path());
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sOut, ProductHeader() + "Update FRU data failed!\n\n");
    EXPECT_EQ(result.sErr,
              "<ERROR> Interrupted by signal 15: the update stops here.\n"
              "FRU device 0x00 was put back as it was before this run.\n");
    EXPECT_EQ(m_e2e.FruArea(0), sBefore);
}

// Killed outright (as by a power cut of the machine running it): nothing
// is printed, but the copy saved before the erase is on disk and puts the
// repository back.
TEST_F(SavedCopies, AKilledRunLeavesItsCopyOnDisk)
{
    m_e2e.Bmc().SeedRepository(S_asBefore);
    const StandInIpmitool ipmitool = Interrupting("0x0a 0x25", 2, "K");
    m_e2e.Write("in.sdr", SdrTextFile(S_asFile));
    const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 128 + 9) << result.sOut << result.sErr;
    EXPECT_NE(WithoutIds(m_e2e.Repository()), WithoutIds(S_asBefore));
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    const CommandResult restored = m_e2e.Valdrn({"-d", Relative(m_e2e.SavedCopies()[0])});
    EXPECT_EQ(restored.iStatus, 0) << restored.sErr;
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asBefore));
}

// A short image followed by the maker's own bytes, and a longer file: the
// copy holds every byte the write covers (raw, as ipmitool puts it back),
// so that neither the way back printed by a failed run nor the copy left
// by a killed one leaves the file's bytes behind the old image.
TEST_F(SavedCopies, AFruCopyCoversTheMakersBytesBehindAShortImage)
{
    const std::string sShort =
        FruImage({"", FruChassisArea(0x17, {FruAsciiField("P-1"), FruEmptyField()}), "", "", ""});
    std::string sDevice = sShort;
    for (size_t i = sDevice.size(); i < 512; ++i) {
        sDevice += static_cast<char>(0x40 + i % 61);  // the maker's bytes
    }
    m_e2e.Write("device.bin", sDevice);
    ASSERT_EQ(m_e2e.Bmc().Ipmitool({"fru", "write", "0", m_e2e.File("device.bin")}).iStatus, 0);
    ASSERT_EQ(m_e2e.FruArea(0), sDevice);
    ASSERT_GT(TypicalServerFru().size(), sShort.size() + 32);

    // Every write from the third on refused, the undo's too: the printed
    // command puts all the bytes back.
    m_e2e.Bmc().Knob("fail=0a:12:3:c1:0");
    const CommandResult failed = DownloadFru(TypicalServerFru());
    m_e2e.Bmc().Knob("nofaults");
    EXPECT_TRUE(Contains(failed.sErr, "FRU device 0x00 could not be put back as it was before this run.\n"))
        << failed.sErr;
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    EXPECT_TRUE(Contains(Name(m_e2e.SavedCopies()[0]), "-fru0-")) << m_e2e.SavedCopies()[0];
    EXPECT_TRUE(Contains(Name(m_e2e.SavedCopies()[0]), "-raw.bin")) << m_e2e.SavedCopies()[0];
    EXPECT_NE(m_e2e.FruArea(0), sDevice);
    const CommandResult restore = m_e2e.RunPrintedRestoreCommand(failed);
    EXPECT_EQ(restore.iStatus, 0) << restore.sOut << restore.sErr;
    EXPECT_EQ(m_e2e.FruArea(0), sDevice);

    // Killed half-way: the copy on disk puts all the bytes back.
    const StandInIpmitool ipmitool = Interrupting("0x0a 0x12", 4, "K");
    m_e2e.Write("in.fru", TypicalServerFru());
    const CommandResult killed = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.fru", "fruID=0"});
    ipmitool.WaitUntilIdle();
    EXPECT_EQ(killed.iStatus, 128 + 9);
    EXPECT_NE(m_e2e.FruArea(0), sDevice);
    ASSERT_EQ(m_e2e.SavedCopies().size(), 2u);
    const std::string sCopy = m_e2e.SavedCopies()[1];
    EXPECT_EQ(m_e2e.Read(Relative(sCopy)), sDevice.substr(0, m_e2e.Read(Relative(sCopy)).size()));
    ASSERT_GE(m_e2e.Read(Relative(sCopy)).size(), TypicalServerFru().size());
    ASSERT_EQ(m_e2e.Bmc().Ipmitool({"fru", "write", "0", sCopy}).iStatus, 0);
    EXPECT_EQ(m_e2e.FruArea(0), sDevice);
}

}  // namespace
