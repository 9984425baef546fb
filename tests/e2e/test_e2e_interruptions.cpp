// What people do to a run that changes a BMC, against the test BMC over
// LAN+: Ctrl-C and Ctrl-backslash at the terminal (to the whole process
// group), a pipe into head, a stray signal, ipmitool gone half-way, two
// runs at once, a copies folder that is full, shared, or holds copies
// from a clock that was ahead, a slow erase. No data is lost, and no
// success is claimed for work not done.
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "bmc/target_lock.h"
#include "e2e/e2e_support.h"
#include "sdr/sdr_exact_copy.h"
#include "support/sdr_fixtures.h"

using namespace valdrn_test;

namespace {

const std::vector<std::string> S_asBefore = FaultTestRepository();

// Six records: a download long enough to be stopped half-way.
std::vector<std::string> SixRecords()
{
    return {SdrNamedRecord(0x0301, 0x01, "CPU1 Temp"), SdrNamedRecord(0x0302, 0x01, "CPU2 Temp"),
            SdrFixedRecord(0x0303, 0xC0, 0x20),        SdrNamedRecord(0x0304, 0x02, "PSU1"),
            SdrNamedRecord(0x0305, 0x02, "PSU2"),      SdrFixedRecord(0x0306, 0x08, 0x10)};
}

// Shell for a stand-in ipmitool: runs sShell when it is run for the
// iOccurrence-th time with the raw command sCommand ("0x0a 0x25").
std::string AtOccurrence(const std::string& sCommand, int iOccurrence, const std::string& sShell)
{
    return "case \"$*\" in *'raw " + sCommand + " '*) if [ \"$(grep -c 'raw " + sCommand +
           " ' \"$(dirname \"$0\")/calls\")\" -eq " + std::to_string(iOccurrence) + " ]; then " + sShell +
           "; fi;; esac";
}

// The command lines a stand-in ipmitool was run with, one a line.
std::string AllCalls(const StandInIpmitool& ipmitool)
{
    std::string sAll;
    for (const std::string& sCall : ipmitool.Calls()) {
        sAll += sCall + "\n";
    }
    return sAll;
}

// The signal to VALDRN's process group, as a terminal sends Ctrl-C: VALDRN
// runs under setsid, so the group's ID is its PID (ipmitool's parent).
std::string ToTheGroup(const char* pchSignal)
{
    return std::string("kill -") + pchSignal + " \"-$PPID\"; sleep 0.3";
}

class PeopleCauseIt : public testing::Test {
protected:
    PeopleCauseIt() { m_e2e.Bmc().SeedRepository(S_asBefore); }

    CommandResult DownloadWith(const StandInIpmitool& ipmitool, const std::vector<std::string>& asRecords)
    {
        m_e2e.Write("in.sdr", SdrTextFile(asRecords));
        const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.sdr"});
        ipmitool.WaitUntilIdle();
        return result;
    }
    // The repository as the test BMC holds it, record IDs aside.
    std::vector<std::string> Held() const { return WithoutIds(m_e2e.Repository()); }
    // VALDRN itself (never a test wrapper) run by another program's words
    // (bash run.sh, strace ...), with this BMC's LAN+ options, PATH as
    // given and the environment settings.
    CommandResult ValdrnBehind(const std::vector<std::string>& asFront, const std::vector<std::string>& asWords,
                               const std::string& sPath, const std::vector<std::string>& asSettings = {}) const
    {
        std::vector<std::string> asArgv = {"/usr/bin/env", "PATH=" + sPath, "VALDRN_BACKUP_DIR=" + m_e2e.BackupDir()};
        asArgv.insert(asArgv.end(), asSettings.begin(), asSettings.end());
        asArgv.insert(asArgv.end(), asFront.begin(), asFront.end());
        asArgv.push_back(VALDRN_BINARY);
        asArgv.insert(asArgv.end(), asWords.begin(), asWords.end());
        const std::vector<std::string> asLan = m_e2e.Bmc().LanOptions();
        asArgv.insert(asArgv.end(), asLan.begin(), asLan.end());
        return RunCommand(asArgv, "", m_e2e.WorkDir());
    }

    EndToEnd m_e2e;
};

// Ctrl-C at the terminal while a record is being added: ipmitool, in a
// group of its own, finishes the request; VALDRN stops before the next
// record and puts the repository back.
TEST_F(PeopleCauseIt, CtrlCAtTheTerminalStopsTheDownloadAndPutsTheRepositoryBack)
{
    const StandInIpmitool ipmitool(AtOccurrence("0x0a 0x25", 4, ToTheGroup("INT")));
    const CommandResult result = DownloadWith(ipmitool, SixRecords());
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_TRUE(Contains(result.sErr,
                         "<ERROR> Interrupted by signal 2: the download stops here.\nFailure to download SDR data!\n"))
        << result.sErr;
    EXPECT_FALSE(Contains(result.sOut, "Download SDR data Successful.")) << result.sOut;
    EXPECT_TRUE(Contains(result.sOut, "Restore SDR Repository Successful. \n")) << result.sOut;
    EXPECT_EQ(Held(), WithoutIds(S_asBefore));
}

// Ctrl-C during the last Partial Add: the request in flight completes, so
// the repository holds the whole file, and the success line says so; the
// run still ends with 1, as an interrupted run does.
TEST_F(PeopleCauseIt, CtrlCDuringTheLastAddLeavesTheWholeFileAndSaysSo)
{
    const std::vector<std::string> asFile = FaultTestFile();
    size_t uAdds = 0;  // 16 bytes an add
    for (const std::string& sRecord : asFile) {
        uAdds += (sRecord.size() + 15) / 16;
    }
    const StandInIpmitool ipmitool(AtOccurrence("0x0a 0x25", static_cast<int>(uAdds), ToTheGroup("INT")));
    const CommandResult result = DownloadWith(ipmitool, asFile);
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(Held(), WithoutIds(asFile));
    EXPECT_TRUE(Contains(result.sOut, "Download SDR data Successful. (2h SDR records downloaded!) \n")) << result.sOut;
}

// Ctrl-C while the backup is read: the read completes with the BMC's
// bytes (no zeros from a killed ipmitool), nothing is erased.
TEST_F(PeopleCauseIt, CtrlCDuringTheBackupChangesNothing)
{
    const std::vector<std::string> asSeeded = m_e2e.Repository();
    const StandInIpmitool ipmitool(AtOccurrence("0x0a 0x23", 3, ToTheGroup("INT")));
    const CommandResult result = DownloadWith(ipmitool, SixRecords());
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr, "<ERROR> Interrupted by signal 2: the download stops here.\n");
    EXPECT_FALSE(Contains(AllCalls(ipmitool), "raw 0x0a 0x27")) << "erased";
    EXPECT_EQ(m_e2e.Repository(), asSeeded);
}

// Ctrl-backslash (SIGQUIT) to the group: handled as Ctrl-C, no core, no
// half-written repository.
TEST_F(PeopleCauseIt, CtrlBackslashIsHandledAsCtrlC)
{
    const StandInIpmitool ipmitool(AtOccurrence("0x0a 0x25", 4, ToTheGroup("QUIT")));
    const CommandResult result = DownloadWith(ipmitool, SixRecords());
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_TRUE(Contains(result.sErr, "<ERROR> Interrupted by signal 3: the download stops here.\n")) << result.sErr;
    EXPECT_EQ(Held(), WithoutIds(S_asBefore));
}

// A stray SIGUSR1 (or USR2, ALRM) to VALDRN: the same.
TEST_F(PeopleCauseIt, AStraySignalIsHandledAsCtrlC)
{
    for (const char* pchSignal : {"USR1", "ALRM"}) {
        m_e2e.Bmc().SeedRepository(S_asBefore);
        const StandInIpmitool ipmitool(
            AtOccurrence("0x0a 0x25", 4, std::string("kill -") + pchSignal + " \"$PPID\"; sleep 0.3"));
        const CommandResult result = DownloadWith(ipmitool, SixRecords());
        EXPECT_EQ(result.iStatus, 1) << pchSignal;
        EXPECT_TRUE(Contains(result.sErr, "<ERROR> Interrupted by signal ")) << result.sErr;
        EXPECT_EQ(Held(), WithoutIds(S_asBefore)) << pchSignal;
    }
}

// VALDRN -d ... | head: the reader goes away half-way; SIGPIPE stops the
// download and the repository is put back; the messages that still can
// be read say so on standard error.
TEST_F(PeopleCauseIt, APipeIntoHeadStopsTheDownloadAndPutsTheRepositoryBack)
{
    // ipmitool slows down enough that head has gone before the next line.
    const StandInIpmitool ipmitool("sleep 0.05");
    m_e2e.Write("in.sdr", SdrTextFile(SixRecords()));
    m_e2e.Write("run.sh", "\"$@\" | head -n 13 > head.out\necho \"status ${PIPESTATUS[0]}\" >&2\n");
    const CommandResult result = ValdrnBehind({"bash", "run.sh"}, {"-d", "in.sdr"}, ipmitool.Path());
    ipmitool.WaitUntilIdle();
    EXPECT_TRUE(Contains(result.sErr, "<ERROR> Interrupted by signal 13: the download stops here.\n")) << result.sErr;
    EXPECT_TRUE(Contains(result.sErr, "status 1\n")) << result.sErr;
    EXPECT_EQ(Held(), WithoutIds(S_asBefore));
    EXPECT_EQ(m_e2e.Read("head.out").substr(0, ProductHeader().size()), ProductHeader());
}

// Started with standard output closed (VALDRN ... >&-): no file VALDRN
// opens (the lock, the copy) takes its number, so no progress line lands
// in one of them.
TEST_F(PeopleCauseIt, AClosedStandardOutputNeverLandsInACopy)
{
    m_e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
    const StandInIpmitool ipmitool;
    const CommandResult result = ValdrnBehind({"sh", "-c", "exec \"$@\" >&-", "sh"}, {"-d", "in.sdr"}, ipmitool.Path());
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(Held(), WithoutIds(FaultTestFile()));
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    const std::string sCopy = "backups/" + std::filesystem::path(m_e2e.SavedCopies()[0]).filename().string();
    EXPECT_FALSE(Contains(m_e2e.Read(sCopy), "Start to")) << m_e2e.Read(sCopy);
    const std::string sLock = ReadFile(TargetLockPath(m_e2e.Bmc().LanOptions()[3]));
    EXPECT_EQ(sLock.rfind("process ", 0), 0u) << sLock;
    EXPECT_EQ(std::count(sLock.begin(), sLock.end(), '\n'), 1) << sLock;
    EXPECT_FALSE(Contains(sLock, "Start to")) << sLock;
    EXPECT_EQ(m_e2e.ValdrnAlone({"-t", sCopy}).iStatus, 0);
    EXPECT_EQ(m_e2e.Valdrn({"-d", sCopy}).iStatus, 0);
    EXPECT_EQ(Held(), WithoutIds(S_asBefore));
}

// ipmitool gone half-way ("sh: 1: ipmitool: not found", status 127): no
// request succeeds from then on, so no success line; the run ends soon,
// names its copy and the command, which works once ipmitool is back.
TEST_F(PeopleCauseIt, IpmitoolGoneHalfWayIsNoSuccess)
{
    const std::string sGone = "\"$(dirname \"$0\")/gone\"";
    const StandInIpmitool ipmitool("if [ -e " + sGone + " ]; then echo 'sh: 1: ipmitool: not found'; exit 127; fi; " +
                                   AtOccurrence("0x0a 0x25", 3, "touch " + sGone));
    const auto start = std::chrono::steady_clock::now();
    const CommandResult result = DownloadWith(ipmitool, SixRecords());
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_FALSE(Contains(result.sOut, "Download SDR data Successful")) << result.sOut;
    EXPECT_FALSE(Contains(result.sOut, "Restore SDR Repository Successful")) << result.sOut;
    EXPECT_FALSE(Contains(result.sOut, "Completed!")) << result.sOut;
    EXPECT_LT(elapsed, std::chrono::seconds(60));
    EXPECT_LT(ipmitool.Calls().size(), 20000u);
    ASSERT_TRUE(Contains(result.sErr, "; to put it back, run:\n")) << result.sErr;
    const CommandResult restore = m_e2e.RunPrintedRestoreCommand(result);
    EXPECT_EQ(restore.iStatus, 0) << restore.sErr;
    EXPECT_EQ(Held(), WithoutIds(S_asBefore));
}

// Records an SDR text file cannot hold as they are (an OEM record of 70
// bytes, one of 255, a type-01 record of 68 bytes, types 0x0A and 0xC1,
// version 0x02, an ID string with a NUL or a line feed or shorter than its
// type/length byte says): the backup keeps them byte for byte, the copy is
// the exact one, and both the run's own restore and the printed command
// put the repository back as ipmitool reads it, record IDs aside.
class RecordShapes : public testing::TestWithParam<int> {};

std::string Shape(int iShape)
{
    switch (iShape) {
    case 0:
        return SdrFixedRecord(0x0401, 0xC0, 70);
    case 1:
        return SdrRecord(0x0402, 0x01, std::string(63, '\x11'));
    case 2:
        return SdrRecord(0x0403, 0x0A, std::string(11, '\x22'));
    case 3:
        return SdrRecord(0x0404, 0xC1, std::string(11, '\x33'));
    case 4: {
        std::string sRecord = SdrFixedRecord(0x0405, 0x08, 0x10);
        sRecord[2] = '\x02';
        return sRecord;
    }
    case 5:
        return SdrRecordWithIdBytes(0x0406, 0x02, 0xC4, std::string("AB\0D", 4));
    case 6:
        return SdrRecordWithIdBytes(0x0407, 0x02, 0xC4, "AB\nD");
    case 7:
        return SdrRecordWithIdBytes(0x0408, 0x02, 0xC6, "ABCD");
    default:
        return SdrRecord(0x0409, 0xC0, std::string(250, '\x44'));
    }
}

TEST_P(RecordShapes, TheCopyIsExactAndEveryWayBackRestoresByteForByte)
{
    EndToEnd e2e;
    const std::vector<std::string> asRepository = {S_asBefore[0], Shape(GetParam()), S_asBefore[2]};
    e2e.Bmc().SeedRepository(asRepository);
    const std::vector<std::string> asSeeded = e2e.Repository();
    ASSERT_EQ(WithoutIds(asSeeded), WithoutIds(asRepository));
    e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));

    // The second add refused six times: the run's own restore.
    e2e.Bmc().Knob("fail=0a:25:2:c1:6");
    CommandResult result = e2e.Valdrn({"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_TRUE(Contains(result.sOut, "Restore SDR Repository Successful. \n")) << result.sOut << result.sErr;
    e2e.Bmc().Knob("nofaults");
    EXPECT_EQ(WithoutIds(e2e.Repository()), WithoutIds(asSeeded));
    ASSERT_EQ(e2e.SavedCopies().size(), 1u);
    EXPECT_EQ(e2e.SavedCopies()[0].substr(e2e.SavedCopies()[0].size() - 4), ".bin");

    // Every add refused, the restore's too: the printed command.
    e2e.Bmc().Knob("fail=0a:25:2:c1:0");
    result = e2e.Valdrn({"-d", "in.sdr"});
    e2e.Bmc().Knob("nofaults");
    EXPECT_EQ(result.iStatus, 1);
    ASSERT_TRUE(Contains(result.sErr, "; to put it back, run:\n")) << result.sErr;
    EXPECT_NE(WithoutIds(e2e.Repository()), WithoutIds(asSeeded));
    const CommandResult restore = e2e.RunPrintedRestoreCommand(result);
    EXPECT_EQ(restore.iStatus, 0) << restore.sOut << restore.sErr;
    EXPECT_TRUE(Contains(restore.sOut, "Recognize SDR File as an exact copy of a repository (3 records) \n"))
        << restore.sOut;
    EXPECT_EQ(WithoutIds(e2e.Repository()), WithoutIds(asSeeded));
    const std::string sCopy = "backups/" + std::filesystem::path(e2e.SavedCopies()[1]).filename().string();
    const CommandResult tested = e2e.ValdrnAlone({"-t", sCopy});
    EXPECT_EQ(tested.iStatus, 0) << tested.sErr;
}

// A copy whose bytes were damaged on disk is refused whole: nothing of it
// reaches the BMC.
TEST(ExactCopies, ADamagedCopyIsRefusedBeforeAnyChange)
{
    EndToEnd e2e;
    e2e.Bmc().SeedRepository(S_asBefore);
    const std::vector<std::string> asSeeded = e2e.Repository();
    std::string sCopy = ExactSDRCopyBytes({Shape(3), Shape(8)});
    sCopy[30] = static_cast<char>(sCopy[30] ^ 0x01);
    e2e.Write("copy.bin", sCopy);
    const CommandResult result = e2e.Valdrn({"-d", "copy.bin"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr,
              "<ERROR> The exact SDR copy copy.bin is damaged: a record's CRC does not match (file offset 0x25).\n"
              "Failure to download SDR data!\n\n");
    EXPECT_EQ(e2e.Repository(), asSeeded);
    const CommandResult tested = e2e.ValdrnAlone({"-t", "copy.bin"});
    EXPECT_EQ(tested.iStatus, 1);
}

INSTANTIATE_TEST_SUITE_P(EachShape, RecordShapes, testing::Range(0, 9));

// Two runs against one BMC at once: the second waits for the first's lock
// and stops before any change when its wait is over, naming the first;
// with time enough, it runs after the first. Never interleaved.
TEST_F(PeopleCauseIt, TwoRunsAtOnceNeverInterleave)
{
    const std::vector<std::string> asFirst = SixRecords();
    const std::vector<std::string> asSecond = FaultTestFile();
    m_e2e.Write("first.sdr", SdrTextFile(asFirst));
    m_e2e.Write("second.sdr", SdrTextFile(asSecond));
    const StandInIpmitool slow(AtOccurrence("0x0a 0x25", 1, "sleep 3"));
    const StandInIpmitool plain;

    CommandResult first;
    std::thread running([&] { first = m_e2e.ValdrnWithPath(slow.Path(), {"-d", "first.sdr"}); });
    for (int i = 0; i < 300 && !Contains(AllCalls(slow), "raw 0x0a 0x25"); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    const std::vector<std::string> asLan = m_e2e.Bmc().LanOptions();
    const CommandResult second = ValdrnBehind({}, {"-d", "second.sdr"}, plain.Path(), {"VALDRN_LOCK_TIMEOUT=1"});
    running.join();
    EXPECT_EQ(first.iStatus, 0) << first.sErr;
    EXPECT_EQ(second.iStatus, 1);
    EXPECT_TRUE(Contains(second.sErr, "<ERROR> Another VALDRN run (process ")) << second.sErr;
    EXPECT_TRUE(Contains(second.sErr, ") is changing " + asLan[3] + "; nothing was changed.\n")) << second.sErr;
    EXPECT_FALSE(Contains(second.sOut, "Backup")) << second.sOut;
    EXPECT_EQ(Held(), WithoutIds(asFirst));

    // With the default wait, the second runs once the first has ended.
    m_e2e.Bmc().SeedRepository(S_asBefore);
    const StandInIpmitool slowAgain(AtOccurrence("0x0a 0x25", 1, "sleep 3"));
    std::thread again([&] { first = m_e2e.ValdrnWithPath(slowAgain.Path(), {"-d", "first.sdr"}); });
    for (int i = 0; i < 300 && !Contains(AllCalls(slowAgain), "raw 0x0a 0x25"); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    const CommandResult patient = m_e2e.ValdrnWithPath(plain.Path(), {"-d", "second.sdr"});
    again.join();
    EXPECT_EQ(first.iStatus, 0) << first.sErr;
    EXPECT_EQ(patient.iStatus, 0) << patient.sErr;
    EXPECT_EQ(Held(), WithoutIds(asSecond));
}

// Another agent writes a record while the download runs and so cancels
// its reservation: the run reads the repository back, finds the record that
// is not the file's, and puts the repository back instead of claiming
// success. A cancellation with no such writer reads back clean.
TEST_F(PeopleCauseIt, AnotherWriterDuringTheDownloadIsFoundByTheReadBack)
{
    const std::vector<std::string> asFile = FaultTestFile();
    m_e2e.Write("in.sdr", SdrTextFile(asFile));
    std::string sForeign;
    for (unsigned char u8Byte : SdrFixedRecord(0x0999, 0xC0, 0x10)) {
        char achByte[8];
        std::snprintf(achByte, sizeof achByte, " 0x%02x", u8Byte);
        sForeign += achByte;
    }
    const std::vector<std::string> asLan = m_e2e.Bmc().LanOptions();
    // The other agent adds its record, then reserves the repository, which
    // cancels the run's reservation: the run's next add is refused (0xC5).
    const std::string sOther =
        std::string(IPMITOOL_PROGRAM) + " -I lanplus -H " + asLan[3] + " -U admin -P secret -C 3";
    const std::string sWriter =
        sOther + " raw 0x0a 0x24" + sForeign + " >/dev/null 2>&1; " + sOther + " raw 0x0a 0x22 >/dev/null 2>&1";
    const StandInIpmitool ipmitool(AtOccurrence("0x0a 0x25", 2, sWriter));
    const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_FALSE(Contains(result.sOut, "Download SDR data Successful.")) << result.sOut;
    EXPECT_TRUE(Contains(result.sErr, "Failure to download SDR data!\n")) << result.sErr;
    EXPECT_TRUE(Contains(result.sOut, "Restore SDR Repository Successful. \n")) << result.sOut;
    EXPECT_EQ(Held(), WithoutIds(S_asBefore));

    m_e2e.Bmc().Knob("fail=0a:25:2:c5:1");
    const CommandResult clean = m_e2e.Valdrn({"-d", "in.sdr"});
    EXPECT_EQ(clean.iStatus, 0) << clean.sErr;
    EXPECT_TRUE(Contains(clean.sOut, "Download SDR data Successful.")) << clean.sOut;
    EXPECT_EQ(Held(), WithoutIds(asFile));
}

// Copies stamped while the clock was ahead (names and times in the
// future) sort as the newest: the run keeps its own copy all the same,
// and the command it prints names a file that exists and restores.
TEST_F(PeopleCauseIt, CopiesFromAClockThatWasAheadDoNotRemoveThisRunsCopy)
{
    const std::string sAddress = m_e2e.Bmc().LanOptions()[3];
    std::filesystem::create_directories(m_e2e.BackupDir());
    chmod(m_e2e.BackupDir().c_str(), 0700);
    for (int i = 0; i < 25; ++i) {
        const std::string sName =
            m_e2e.BackupDir() + "/" + sAddress + "-sdr-20" + std::to_string(30 + i) + "0101T000000.000Z-1.sdr";
        WriteFile(sName, SdrTextFile(S_asBefore));
        struct timespec times[2] = {};
        times[0].tv_sec = times[1].tv_sec = time(nullptr) + 86400L * (i + 1);
        ASSERT_EQ(utimensat(AT_FDCWD, sName.c_str(), times, 0), 0);
    }
    m_e2e.Bmc().Knob("fail=0a:25:2:c1:0");
    m_e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
    const CommandResult result = m_e2e.Valdrn({"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 1);
    ASSERT_TRUE(Contains(result.sErr, "; to put it back, run:\n")) << result.sErr;
    EXPECT_EQ(m_e2e.SavedCopies().size(), 26u);
    m_e2e.Bmc().Knob("nofaults");
    const CommandResult restore = m_e2e.RunPrintedRestoreCommand(result);
    EXPECT_EQ(restore.iStatus, 0) << restore.sErr;
    EXPECT_EQ(Held(), WithoutIds(S_asBefore));
}

// A copies folder others can write in: one warning line, and the copy goes
// to the default folder instead, never into the shared one.
TEST_F(PeopleCauseIt, ASharedCopiesFolderIsNotUsed)
{
    std::filesystem::create_directories(m_e2e.BackupDir());
    chmod(m_e2e.BackupDir().c_str(), 01777);
    m_e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
    const CommandResult result = m_e2e.Valdrn({"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    const std::string sDefault = geteuid() == 0 ? "/var/lib/valdrn/backups" : "";
    EXPECT_EQ(result.sErr, "Warning: " + m_e2e.BackupDir() +
                               " is not yours alone (its owner, or write permission for others); copies go to " +
                               sDefault + ".\n");
    EXPECT_TRUE(m_e2e.SavedCopies().empty());
    // The copy in the default folder, named after this BMC: removed again.
    const std::string sAddress = m_e2e.Bmc().LanOptions()[3];
    int iFound = 0;
    for (const auto& entry : std::filesystem::directory_iterator(sDefault)) {
        if (entry.path().filename().string().rfind(sAddress + "-sdr-", 0) == 0) {
            ++iFound;
            std::filesystem::remove(entry.path());
        }
    }
    EXPECT_EQ(iFound, 1);
}

// A full file system where the copies go: no question waits for an answer
// (the run is not interactive there), one warning names the real reason,
// and the download goes on as it always has.
TEST_F(PeopleCauseIt, AFullCopiesFolderAsksNothingAndSaysWhy)
{
    const std::string sMount = m_e2e.File("full");
    std::filesystem::create_directories(sMount);
    ASSERT_EQ(mount("tmpfs", sMount.c_str(), "tmpfs", 0, "size=8k,mode=0700"), 0) << "tmpfs cannot be mounted";
    struct Unmount {
        std::string sPath;
        ~Unmount() { umount2(sPath.c_str(), MNT_DETACH); }
    } unmount{sMount};
    std::ofstream(sMount + "/filler") << std::string(8192, 'x');
    m_e2e.SetBackupDir(sMount);
    m_e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
    const CommandResult result = m_e2e.Valdrn({"-d", "in.sdr"}, "y\n");
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr,
              "Warning: no copy of the SDR repository could be saved in " + sMount + ": No space left on device.\n");
    EXPECT_FALSE(Contains(result.sOut, "delete")) << result.sOut;
    EXPECT_EQ(Held(), WithoutIds(FaultTestFile()));
}

// An erase slower than the erase wait fails as an erase that never ends
// does; the default wait, a minute, sees it end.
TEST_F(PeopleCauseIt, TheEraseWaitCanBeSetAndIsGenerousByDefault)
{
    EndToEnd e2e("erase_polls=25");
    e2e.Bmc().SeedRepository(S_asBefore);
    e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
    e2e.SetEnvironment("VALDRN_ERASE_TIMEOUT=0.5");
    const CommandResult hasty = e2e.Valdrn({"-d", "in.sdr"});
    EXPECT_EQ(hasty.iStatus, 1);
    EXPECT_TRUE(Contains(hasty.sErr, "Failure to clear SDR.\n")) << hasty.sErr;
    EndToEnd patient("erase_polls=25");
    patient.Bmc().SeedRepository(S_asBefore);
    patient.Write("in.sdr", SdrTextFile(FaultTestFile()));
    const CommandResult result = patient.Valdrn({"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(WithoutIds(patient.Repository()), WithoutIds(FaultTestFile()));
}

// The copy and its folder are on disk (fsync) before the first change:
// a power cut right after cannot leave an empty copy.
TEST_F(PeopleCauseIt, TheCopyIsSyncedBeforeTheErase)
{
    m_e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
    const StandInIpmitool ipmitool;
    // LeakSanitizer cannot run under ptrace: a sanitizer build leaves it off.
    const CommandResult result =
        ValdrnBehind({"strace", "-f", "-v", "-s", "64", "-e", "trace=openat,fsync,execve,sendto", "-o", m_e2e.File("trace")},
                     {"-d", "in.sdr"}, ipmitool.Path(), {"ASAN_OPTIONS=detect_leaks=0"});
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    const std::string sTrace = m_e2e.Read("trace");
    const size_t uCreated = sTrace.find("-sdr-");
    ASSERT_NE(uCreated, std::string::npos) << sTrace;
    // The copy's descriptor, then the folder's, synced; then the erase.
    const size_t uFirstSync = sTrace.find("fsync(", uCreated);
    const size_t uSecondSync = sTrace.find("fsync(", uFirstSync + 1);
    // The erase: an ipmitool run for it, or its line to the session's ipmitool.
    const size_t uErase = std::min(sTrace.find("\"0x27\""), sTrace.find("\"raw 0x0a 0x27 "));
    ASSERT_NE(uErase, std::string::npos) << sTrace;
    EXPECT_LT(uFirstSync, uErase);
    EXPECT_LT(uSecondSync, uErase);
    EXPECT_LT(uCreated, uErase);
}

}  // namespace
