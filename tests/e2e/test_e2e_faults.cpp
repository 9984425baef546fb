// Faults end to end: ipmitool missing or complaining, a BMC that dies in
// the middle of a download or fails any one command of it, uploads that
// cannot be written, and credentials full of shell characters.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "e2e/e2e_support.h"
#include "e2e/fault_injection.h"
#include "support/sdr_fixtures.h"

using namespace valdrn_test;

namespace {

const std::vector<std::string> S_asBefore = FaultTestRepository();
const std::vector<std::string> S_asFile = FaultTestFile();

int CountOf(const std::vector<std::string>& asCalls, const std::string& sPart)
{
    return static_cast<int>(
        std::count_if(asCalls.begin(), asCalls.end(), [&](const std::string& s) { return Contains(s, sPart); }));
}

// The longest run of identical consecutive command lines: the attempts of
// one request.
size_t MostAttempts(const std::vector<std::string>& asCalls)
{
    size_t uMost = 0;
    for (size_t i = 0; i < asCalls.size();) {
        size_t j = i;
        while (j < asCalls.size() && asCalls[j] == asCalls[i]) {
            ++j;
        }
        uMost = std::max(uMost, j - i);
        i = j;
    }
    return uMost;
}

class Faults : public testing::Test {
protected:
    CommandResult DownloadBefore()
    {
        m_e2e.Write("before.sdr", SdrTextFile(S_asBefore));
        return m_e2e.Valdrn({"-d", "before.sdr"});
    }

    EndToEnd m_e2e;
};

// --- ipmitool ------------------------------------------------------------------------------

TEST_F(Faults, IpmitoolAbsentFromPath)
{
    TempDir noTools;
    const CommandResult result = m_e2e.ValdrnWithPath(noTools.Path(), {"-u", "out.sdr", "encoding=ascii"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr, "\n   Cannot find ipmitool command, please check if it is installed\n");
    EXPECT_FALSE(FileExists(m_e2e.File("out.sdr")));
}

TEST_F(Faults, ErrorLinesAreRetriedAtOnceSixTimes)
{
    // Get SDR Repository Info always fails the way ipmitool reports it.
    StandInIpmitool ipmitool(
        "case \"$*\" in *'raw 0x0a 0x20'*) echo 'Unable to send RAW command (channel=0x0 netfn=0xa lun=0x0 cmd=0x20 "
        "rsp=0xc1): Invalid command' >&2; exit 1;; esac");
    const CommandResult result =
        m_e2e.ValdrnWithPath(ipmitool.Path(), {"-u", "out.sdr", "encoding=ascii", "-debugmsg"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(CountOf(ipmitool.Calls(), "raw 0x0a 0x20"), 6);
    EXPECT_TRUE(Contains(result.sOut, "   Retry 5\n"));
    EXPECT_FALSE(Contains(result.sOut, "Wait 200 ms before retry")) << "error lines are retried without a pause";
    EXPECT_TRUE(Contains(result.sOut, "cCode=0xC1"));
    EXPECT_TRUE(Contains(result.sErr, "cc = C1 \n")) << result.sErr;
    EXPECT_TRUE(Contains(result.sErr, "Failure to upload SDR data!\n")) << result.sErr;
}

TEST_F(Faults, ErrorLinesTwiceThenAnAnswer)
{
    ASSERT_EQ(DownloadBefore().iStatus, 0);
    StandInIpmitool ipmitool(
        "case \"$*\" in *'raw 0x0a 0x20'*) C=$(grep -c 'raw 0x0a 0x20' $(dirname $0)/calls); if [ $C -le 2 ]; then "
        "echo 'Unable to send RAW command (channel=0x0 netfn=0xa lun=0x0 cmd=0x20 rsp=0xc3): Timeout' >&2; exit 1; "
        "fi;; esac");
    const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-v", "before.sdr"});
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(CountOf(ipmitool.Calls(), "raw 0x0a 0x20"), 3);
    EXPECT_TRUE(Contains(result.sOut, "Verify SDR file before.sdr with SDR repository successful!"));
}

TEST_F(Faults, BmcThatStopsAnsweringMidDownload)
{
    ASSERT_EQ(DownloadBefore().iStatus, 0);
    // The third partial add finds the BMC gone; ipmitool itself then gives
    // up after one try of one second (-N 1 -R 1) on each run.
    StandInIpmitool ipmitool(
        "case \"$*\" in *'raw 0x0a 0x25'*) [ $(grep -c 'raw 0x0a 0x25' $(dirname $0)/calls) -eq 3 ] "
        "&& kill -9 " +
            std::to_string(m_e2e.Bmc().Pid()) + ";; esac",
        "-N 1 -R 1");
    m_e2e.Write("in.sdr", SdrTextFile(S_asFile));
    const auto start = std::chrono::steady_clock::now();
    const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.sdr"});
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const std::vector<std::string> asCalls = ipmitool.Calls();
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_TRUE(Contains(result.sErr, "Failure to download SDR data!\n")) << result.sErr;
    EXPECT_TRUE(Contains(result.sErr, "Restore SDR Repository Failed. \n")) << result.sErr;
    EXPECT_LE(MostAttempts(asCalls), 6u);
    // Every run after the BMC went takes ipmitool's own timeout, about 2 s;
    // nothing else may wait.
    const size_t uFirstDead = [&] {
        size_t uAdds = 0;
        for (size_t i = 0; i < asCalls.size(); ++i) {
            if (Contains(asCalls[i], "raw 0x0a 0x25") && ++uAdds == 3) {
                return i;
            }
        }
        return asCalls.size();
    }();
    ASSERT_LT(uFirstDead, asCalls.size());
    EXPECT_LT(dSeconds, 3.0 * static_cast<double>(asCalls.size() - uFirstDead) + 10.0);
}

// --- one failing command at each step of a download -----------------------------------------

// The requests of the download of S_asFile over S_asBefore, with two polls
// after the erase and after the initialization agent.
RequestSequence DownloadSequence()
{
    EndToEnd e2e("erase_polls=2 init_polls=2");
    e2e.Write("before.sdr", SdrTextFile(S_asBefore));
    if (e2e.Valdrn({"-d", "before.sdr"}).iStatus != 0) {
        return {};
    }
    StandInIpmitool ipmitool;
    e2e.Write("in.sdr", SdrTextFile(S_asFile));
    if (e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.sdr"}).iStatus != 0) {
        return {};
    }
    return RequestsOf(ipmitool);
}

// Get Device ID, repository info, a reservation and the reads of each of
// the three records of the backup, the erase's reservation, the erase and
// its two polls, a reservation and the partial adds of each of the two new
// records, the initialization agent and its two polls.
constexpr int DOWNLOAD_REQUESTS = 29;

TEST(DownloadSequence, HasTheRequestsTheFaultTestsCover)
{
    const std::vector<std::string> asSequence = DownloadSequence().asRequests;
    std::string sAll;
    for (const std::string& s : asSequence) {
        sAll += s + " ";
    }
    EXPECT_EQ(static_cast<int>(asSequence.size()), DOWNLOAD_REQUESTS) << sAll;
    for (const char* pchCommand : {"06:01", "0a:20", "0a:22", "0a:23", "0a:27", "0a:25", "0a:2c"}) {
        EXPECT_TRUE(Contains(sAll, pchCommand)) << pchCommand << " missing from " << sAll;
    }
}

std::string RepositoryContent(const EndToEnd& e2e)
{
    std::string sAll;
    for (const std::string& sRecord : WithoutIds(e2e.Repository())) {
        sAll += sRecord;
    }
    return sAll;
}

void RunOneFault(const RequestSequence& sequence, int k, const std::string& sFault)
{
    const std::string sWhat =
        "request " + std::to_string(k) + " (" + sequence.asRequests[static_cast<size_t>(k)] + "), " + sFault;
    SCOPED_TRACE(sWhat);
    EndToEnd e2e("erase_polls=2 init_polls=2");
    // The repository as a download of S_asBefore leaves it, seeded
    // directly: the download itself is tested elsewhere, and one per case
    // would double the matrix's time.
    e2e.Bmc().SeedRepository(S_asBefore);
    FaultOutcome outcome = {RepositoryContent(e2e), "", "Download SDR data Successful.", RepositoryContent, {}};
    for (const std::string& sRecord : WithoutIds(S_asFile)) {
        outcome.sFile += sRecord;
    }
    e2e.Write("in.sdr", SdrTextFile(S_asFile));
    const CommandResult result = RunWithFault(e2e, sequence, k, sFault, {"-d", "in.sdr"});
    const std::string sOutput = sWhat + "\n" + result.sOut + result.sErr;
    ExpectNoDataLost(e2e, result, sFault, outcome, sOutput);
    if (sFault.rfind("valdrn-", 0) == 0) {
        return;  // the run was cut short from outside
    }
    const std::string sAfter = RepositoryContent(e2e);
    if (sAfter == outcome.sFile) {
        EXPECT_EQ(result.iStatus, 0) << sOutput;
    } else {
        EXPECT_EQ(result.iStatus, 1) << sOutput;
    }
    // Once the repository had been erased, only a restore brings it back.
    if (sAfter == outcome.sBefore && Contains(result.sErr, "Failure to download SDR data!")) {
        EXPECT_TRUE(Contains(result.sOut, "Restore SDR Repository Successful. \n")) << sOutput;
    }
}

// Each request meets one fault, the kinds in turn (with
// VALDRN_FAULT_MATRIX=full, every kind).
class FailingStep : public testing::TestWithParam<int> {};

TEST_P(FailingStep, RepositoryIsEitherRestoredOrTheFile)
{
    const RequestSequence sequence = DownloadSequence();
    ASSERT_EQ(static_cast<int>(sequence.asRequests.size()), DOWNLOAD_REQUESTS);
    const std::vector<std::string>& asKinds = FaultKinds();
    if (FullFaultMatrix()) {
        for (const std::string& sFault : asKinds) {
            RunOneFault(sequence, GetParam(), sFault);
        }
    } else {
        RunOneFault(sequence, GetParam(), asKinds[static_cast<size_t>(GetParam()) % asKinds.size()]);
    }
}

INSTANTIATE_TEST_SUITE_P(EachRequest, FailingStep, testing::Range(0, DOWNLOAD_REQUESTS));

// Ctrl-C and Ctrl-backslash as a terminal sends them, to VALDRN's whole
// process group, at each request in turn: SIGINT at even requests,
// SIGQUIT at odd ones (with VALDRN_FAULT_MATRIX=full, both at every one).
class GroupSignalAtStep : public testing::TestWithParam<int> {};

TEST_P(GroupSignalAtStep, RepositoryIsEitherRestoredOrTheFile)
{
    const RequestSequence sequence = DownloadSequence();
    ASSERT_EQ(static_cast<int>(sequence.asRequests.size()), DOWNLOAD_REQUESTS);
    const bool bEven = GetParam() % 2 == 0;
    if (FullFaultMatrix() || bEven) {
        RunOneFault(sequence, GetParam(), "valdrn-group-interrupted");
    }
    if (FullFaultMatrix() || !bEven) {
        RunOneFault(sequence, GetParam(), "valdrn-group-quit");
    }
}

INSTANTIATE_TEST_SUITE_P(EachRequest, GroupSignalAtStep, testing::Range(0, DOWNLOAD_REQUESTS));

// --- uploads that cannot be written ---------------------------------------------------------

class UploadFaults : public Faults {
protected:
    void SetUp() override { ASSERT_EQ(DownloadBefore().iStatus, 0); }
};

TEST_F(UploadFaults, FullDiskAnsweredYesThenKeepTheFile)
{
    ASSERT_EQ(symlink("/dev/full", m_e2e.File("full.sdr").c_str()), 0);
    const CommandResult result = m_e2e.Valdrn({"-u", "full.sdr", "encoding=utf16"}, "y\nn\n");
    EXPECT_TRUE(Contains(result.sOut, "File exists, do you want to replace it, y/n? ")) << result.sOut;
    EXPECT_TRUE(Contains(result.sOut, "Would you like to delete full.sdr? (y='YES')full.sdr was not deleted.\n"))
        << result.sOut;
    EXPECT_EQ(result.sErr, "<ERROR> Disk Full! full.sdr may be corrupt or incomplete.\nFailure to upload SDR data!\n");
    // The BMC was read: the status is the read's, as it has always been.
    EXPECT_EQ(result.iStatus, 0);
    struct stat status;
    EXPECT_EQ(lstat(m_e2e.File("full.sdr").c_str(), &status), 0);
}

TEST_F(UploadFaults, FullDiskAnsweredYesThenDelete)
{
    ASSERT_EQ(symlink("/dev/full", m_e2e.File("full.sdr").c_str()), 0);
    const CommandResult result = m_e2e.Valdrn({"-u", "full.sdr", "encoding=ascii"}, "y\ny\n");
    EXPECT_TRUE(Contains(result.sOut, "(y='YES')full.sdr has been deleted.\n")) << result.sOut;
    EXPECT_EQ(result.sErr, "<ERROR> Disk Full! full.sdr may be corrupt or incomplete.\nFailure to upload SDR data!\n");
    struct stat status;
    EXPECT_NE(lstat(m_e2e.File("full.sdr").c_str(), &status), 0);
}

TEST_F(UploadFaults, FullDiskAnsweredNo)
{
    ASSERT_EQ(symlink("/dev/full", m_e2e.File("full.sdr").c_str()), 0);
    const CommandResult result = m_e2e.Valdrn({"-u", "full.sdr", "encoding=ascii"}, "n\n");
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_EQ(result.sOut, ProductHeader() + "File exists, do you want to replace it, y/n? ");
    EXPECT_EQ(result.sErr, "");
}

TEST_F(UploadFaults, DirectoryWithoutWritePermission)
{
    const std::string sDir = m_e2e.File("locked");
    ASSERT_EQ(mkdir(sDir.c_str(), 0555), 0);
    ASSERT_EQ(chmod(m_e2e.WorkDir().c_str(), 0755), 0);
    // Root writes anywhere: the run is made as nobody then.
    std::vector<std::string> asWords = {"-u", "locked/out.sdr", "encoding=ascii"};
    CommandResult result;
    if (geteuid() == 0) {
        std::vector<std::string> asArgv = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        const std::vector<std::string> asProgram = ProgramUnderTest(VALDRN_BINARY);
        asArgv.insert(asArgv.end(), asProgram.begin(), asProgram.end());
        asArgv.insert(asArgv.end(), asWords.begin(), asWords.end());
        const std::vector<std::string> asLan = m_e2e.Bmc().LanOptions();
        asArgv.insert(asArgv.end(), asLan.begin(), asLan.end());
        result = RunCommand(asArgv, "", m_e2e.WorkDir());
    } else {
        result = m_e2e.Valdrn(asWords);
    }
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sErr, "<ERROR> Directory does not exist or file error.\n");
    EXPECT_FALSE(FileExists(sDir + "/out.sdr"));
}

TEST_F(UploadFaults, FileNameOf255Characters)
{
    const std::string sName = std::string(251, 'n') + ".sdr";
    const CommandResult upload = m_e2e.Valdrn({"-u", sName, "encoding=utf8"});
    EXPECT_EQ(upload.iStatus, 0) << upload.sErr;
    EXPECT_TRUE(FileExists(m_e2e.File(sName)));
    const CommandResult verify = m_e2e.Valdrn({"-v", sName});
    EXPECT_EQ(verify.iStatus, 0) << verify.sErr;
    // One more character is refused before anything is touched.
    const CommandResult tooLong = m_e2e.Valdrn({"-u", "x" + sName, "encoding=utf8"});
    EXPECT_EQ(tooLong.iStatus, 1);
    EXPECT_TRUE(Contains(tooLong.sErr, "is longer than 255 characters.")) << tooLong.sErr;
}

// The file name is the argument's first token (blanks, commas and tabs
// separate tokens), so a name with blanks is cut at the first one; every
// line that names the file shows the name used.
TEST_F(UploadFaults, FileNameWithSpacesAsOneArgument)
{
    const CommandResult upload = m_e2e.Valdrn({"-u", "my repository copy.sdr", "encoding=ascii"});
    EXPECT_EQ(upload.iStatus, 0) << upload.sErr;
    EXPECT_TRUE(Contains(upload.sOut, "Start to save sdr file, my \n")) << upload.sOut;
    EXPECT_TRUE(Contains(upload.sOut, "The SDR data has been saved in file my! \n")) << upload.sOut;
    EXPECT_TRUE(FileExists(m_e2e.File("my")));
    EXPECT_FALSE(FileExists(m_e2e.File("my repository copy.sdr")));
    const CommandResult verify = m_e2e.Valdrn({"-v", "my repository copy.sdr"});
    EXPECT_EQ(verify.iStatus, 0) << verify.sErr;
    EXPECT_TRUE(Contains(verify.sOut, "Verify SDR file my with SDR repository successful!")) << verify.sOut;
}

// --- credentials ------------------------------------------------------------------------------

TEST_F(Faults, CredentialsFullOfShellCharactersReachIpmitoolUnchanged)
{
    const std::string sUser = "a b\"$`|&*;";
    const std::string sPassword = "x';touch pwned;'";
    m_e2e.Bmc().SetOddUserName(sUser);
    m_e2e.Bmc().SetOddUserPassword(sPassword);
    m_e2e.Write("before.sdr", SdrTextFile(S_asBefore));
    StandInIpmitool ipmitool("printf '%s\\n' \"$@\" > $(dirname $0)/argv-$N");
    const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(),
                                                      {"-d", "before.sdr", "-n", "lanplus", "-H", m_e2e.Bmc().Address(),
                                                       "-U", sUser, "-P", sPassword, "-C", "3", "-debugmsg"},
                                                      "", false);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_FALSE(FileExists(m_e2e.File("pwned")));
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(S_asBefore));
    // The arguments ipmitool got (its first run is the -V presence check):
    // the user whole, as typed; the password in its environment alone.
    const std::string sArgv = ReadFile(ipmitool.Path().substr(0, ipmitool.Path().find(':')) + "/argv-2");
    EXPECT_TRUE(Contains(sArgv, "\n-U\n" + sUser + "\n-E\n-H\n")) << sArgv;
    EXPECT_FALSE(Contains(sArgv, "pwned")) << sArgv;
    // The trace shows the command line as it always has, values as typed.
    EXPECT_TRUE(Contains(result.sOut, "-U " + sUser + " -P " + sPassword + " -H ")) << result.sOut;
}

}  // namespace
