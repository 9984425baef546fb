// LAN+ with one ipmitool session for the run (VALDRN_LAN_SESSION=run)
// against the test BMC: the same work and the same words as one ipmitool
// per request, one ipmitool doing it, and no password in any process's
// arguments in either mode.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/e2e_support.h"
#include "support/sdr_fixtures.h"

using namespace valdrn_test;

namespace {

const char* const S_apchModes[] = {"request", "run"};

// A file of /proc/PID; "" once the process has gone.
std::string ReadProcFile(const std::string& sPid, const char* pchName)
{
    const int iFd = open(("/proc/" + sPid + "/" + pchName).c_str(), O_RDONLY | O_CLOEXEC);
    if (iFd < 0) {
        return "";
    }
    std::string sLine;
    char achBuffer[4096];
    for (ssize_t iRead; (iRead = read(iFd, achBuffer, sizeof achBuffer)) > 0;) {
        sLine.append(achBuffer, static_cast<size_t>(iRead));
    }
    close(iFd);
    return sLine;
}

std::string CommandLineOf(const std::string& sPid)
{
    return sPid.empty() ? "" : ReadProcFile(sPid, "cmdline");
}

// The process's parent ("" once it has gone).
std::string ParentOf(const std::string& sPid)
{
    const std::string sStatus = ReadProcFile(sPid, "status");
    const size_t uAt = sStatus.find("\nPPid:\t");
    return uAt == std::string::npos ? "" : sStatus.substr(uAt + 7, sStatus.find('\n', uAt + 7) - uAt - 7);
}

// Reads every process's arguments, again and again, until stopped. Each
// ipmitool VALDRN runs (its words hold "-E -H") is looked at with its
// parent, VALDRN: by the time VALDRN starts one, it must have blanked the
// password in its own words, and ipmitool must never have had it.
class ArgumentWatch {
public:
    explicit ArgumentWatch(const std::string& sSecret)
        : m_thread([this, sSecret] {
              while (!m_bStop) {
                  Look(sSecret);
              }
          })
    {
    }
    ~ArgumentWatch() { Stop(); }
    void Stop()
    {
        m_bStop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    std::set<std::string> m_asHolders;
    int m_iIpmitoolsSeen = 0;
    int m_iValdrnsSeen = 0;

private:
    void Look(const std::string& sSecret)
    {
        DIR* pProc = opendir("/proc");
        if (pProc == nullptr) {
            return;
        }
        while (dirent* pEntry = readdir(pProc)) {
            const std::string sPid = pEntry->d_name;
            if (sPid.find_first_not_of("0123456789") != std::string::npos) {
                continue;
            }
            const std::string sLine = CommandLineOf(sPid);
            if (sLine.find(std::string("-E\0-H\0", 6)) == std::string::npos) {
                continue;
            }
            m_iIpmitoolsSeen += m_iIpmitoolsSeen < 1000000 ? 1 : 0;
            const std::string sParentLine = CommandLineOf(ParentOf(sPid));
            m_iValdrnsSeen += sParentLine.find("VALDRN") != std::string::npos && m_iValdrnsSeen < 1000000 ? 1 : 0;
            for (const std::string& sHolder : {sLine, sParentLine}) {
                if (sHolder.find(sSecret) != std::string::npos) {
                    m_asHolders.insert(sHolder);
                }
            }
        }
        closedir(pProc);
    }

    std::atomic<bool> m_bStop{false};
    std::thread m_thread;
};

class LanSession : public testing::Test {
protected:
    LanSession() { m_e2e.Bmc().SeedRepository(FaultTestRepository()); }
    EndToEnd m_e2e;
};

// While VALDRN downloads and uploads, in each mode, no process's
// arguments hold the password: not VALDRN's (blanked at its start), not
// ipmitool's (it reads it from its environment).
TEST_F(LanSession, ThePasswordIsInNoProcesssArguments)
{
    const std::string sPassword = "pw" + std::to_string(getpid()) + "q";
    m_e2e.Bmc().SetOddUserName("watched");
    m_e2e.Bmc().SetOddUserPassword(sPassword);
    m_e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
    for (const char* pchMode : S_apchModes) {
        EndToEnd& e2e = m_e2e;
        e2e.SetEnvironment(std::string("VALDRN_LAN_SESSION=") + pchMode);
        const std::vector<std::string> asLan = {"-n", "lanplus", "-H", e2e.Bmc().Address(), "-U", "watched",
                                                "-P", sPassword,  "-C", "3"};
        std::vector<std::string> asDownload = {"-d", "in.sdr"};
        asDownload.insert(asDownload.end(), asLan.begin(), asLan.end());
        std::vector<std::string> asUpload = {"-u", "out.sdr", "encoding=ascii"};
        asUpload.insert(asUpload.end(), asLan.begin(), asLan.end());
        ArgumentWatch watch(sPassword);
        const CommandResult downloaded = e2e.ValdrnAlone(asDownload);
        const CommandResult uploaded = e2e.ValdrnAlone(asUpload, "y\n");
        watch.Stop();
        EXPECT_EQ(downloaded.iStatus, 0) << pchMode << downloaded.sErr;
        EXPECT_EQ(uploaded.iStatus, 0) << pchMode << uploaded.sErr;
        EXPECT_TRUE(watch.m_asHolders.empty()) << pchMode << ": " << *watch.m_asHolders.begin();
        EXPECT_GT(watch.m_iIpmitoolsSeen, 0) << pchMode << ": the watch saw no ipmitool at all";
        EXPECT_GT(watch.m_iValdrnsSeen, 0) << pchMode << ": the watch saw no VALDRN at all";
    }
}

// One ipmitool carries a whole download: the presence check and the session.
TEST_F(LanSession, OneIpmitoolCarriesTheWholeRun)
{
    m_e2e.SetEnvironment("VALDRN_LAN_SESSION=run");
    m_e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
    const StandInIpmitool ipmitool;
    const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.sdr"});
    ipmitool.WaitUntilIdle();
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(ipmitool.Runs(), 2);
    EXPECT_GT(ipmitool.Calls().size(), 20u);
    EXPECT_EQ(WithoutIds(m_e2e.Repository()), WithoutIds(FaultTestFile()));
}

// Both modes print the same, byte for byte, and leave the same: a
// download, a verify, an upload, each with and without the trace's
// command lines (the trace is the same too).
TEST_F(LanSession, BothModesPrintTheSameAndLeaveTheSame)
{
    m_e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
    std::vector<std::string> asPrinted[2];
    std::string asUploaded[2];
    std::vector<std::string> aasHeld[2];
    for (int i = 0; i < 2; ++i) {
        EndToEnd e2e;
        e2e.Bmc().SeedRepository(FaultTestRepository());
        e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
        e2e.SetEnvironment(std::string("VALDRN_LAN_SESSION=") + S_apchModes[i]);
        for (const std::vector<std::string>& asWords :
             {std::vector<std::string>{"-d", "in.sdr"}, {"-v", "in.sdr"}, {"-u", "out.sdr", "encoding=ascii"},
              {"-v", "in.sdr", "-debugmsg"}}) {
            const CommandResult result = e2e.Valdrn(asWords, "y\n");
            std::string sOut = result.sOut;
            // The trace names the BMC's address, which differs between them.
            for (size_t uAt = sOut.find(e2e.Bmc().Address()); uAt != std::string::npos;
                 uAt = sOut.find(e2e.Bmc().Address())) {
                sOut.replace(uAt, e2e.Bmc().Address().size(), "BMC");
            }
            // ... and the repository's addition and erase times.
            for (size_t uAt = sOut.find("RspData=51 "); uAt != std::string::npos;
                 uAt = sOut.find("RspData=51 ", uAt + 1)) {
                sOut.replace(uAt + 23, 24, "<time>");
            }
            asPrinted[i].push_back(std::to_string(result.iStatus) + "\n" + sOut + "\n" + result.sErr);
        }
        asUploaded[i] = e2e.Read("out.sdr");
        aasHeld[i] = WithoutIds(e2e.Repository());
    }
    ASSERT_EQ(asPrinted[0].size(), asPrinted[1].size());
    for (size_t k = 0; k < asPrinted[0].size(); ++k) {
        EXPECT_EQ(asPrinted[0][k], asPrinted[1][k]) << "run " << k;
    }
    EXPECT_EQ(asUploaded[0], asUploaded[1]);
    EXPECT_EQ(aasHeld[0], aasHeld[1]);
    EXPECT_EQ(aasHeld[1], WithoutIds(FaultTestFile()));
}

// VALDRN killed in the middle of its session: the session's ipmitool ends
// with it, and no ipmitool is left behind (one left at the end of its
// input would spin for ever).
TEST_F(LanSession, AKilledRunTakesItsSessionWithIt)
{
    m_e2e.SetEnvironment("VALDRN_LAN_SESSION=run");
    m_e2e.Write("in.sdr", SdrTextFile(FaultTestFile()));
    const StandInIpmitool ipmitool("if [ \"$N\" -eq 12 ]; then kill -KILL \"$PPID\"; sleep 0.3; fi");
    const CommandResult result = m_e2e.ValdrnWithPath(ipmitool.Path(), {"-d", "in.sdr"});
    EXPECT_EQ(result.iStatus, 128 + SIGKILL);
    ipmitool.WaitUntilIdle();
    const std::string sLeft = "pgrep -f -- '-H " + m_e2e.Bmc().Address() + " shel[l]'";
    for (int i = 0; i < 50 && RunCommand({"sh", "-c", sLeft}).iStatus == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_NE(RunCommand({"sh", "-c", sLeft}).iStatus, 0) << "an ipmitool shell is left";
}

}  // namespace
