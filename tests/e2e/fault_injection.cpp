#include "e2e/fault_injection.h"

#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

namespace valdrn_test {

const std::vector<std::string>& FaultKinds()
{
    static const std::vector<std::string> S_asKinds = {"c0",
                                                       "c1",
                                                       "c3",
                                                       "c5",
                                                       "ca",
                                                       "ff",
                                                       "session-once",
                                                       "session-always",
                                                       "bmc-frozen",
                                                       "bmc-restarted",
                                                       "valdrn-killed",
                                                       "valdrn-interrupted",
                                                       "valdrn-hung-up",
                                                       "valdrn-group-interrupted",
                                                       "valdrn-group-quit"};
    return S_asKinds;
}

namespace {

std::string NetFnAndCommand(const std::string& sCall)
{
    const size_t uRaw = sCall.find(" raw 0x");
    return uRaw == std::string::npos ? "" : sCall.substr(uRaw + 7, 2) + ":" + sCall.substr(uRaw + 12, 2);
}

// Shell that runs at ipmitool's call number iCall.
std::string AtCall(int iCall, const std::string& sShell)
{
    return "if [ \"$N\" -eq " + std::to_string(iCall) + " ]; then " + sShell + "; fi";
}

// Shell that sends VALDRN (ipmitool's parent) a signal, and gives it time
// to act on it.
std::string SignalValdrn(const char* pchSignal)
{
    return std::string("kill -") + pchSignal + " \"$PPID\"; sleep 0.3";
}

// ... to VALDRN's whole process group, as a terminal sends Ctrl-C or
// Ctrl-backslash: VALDRN runs under setsid, so its group is its PID.
std::string SignalValdrnsGroup(const char* pchSignal)
{
    return std::string("kill -") + pchSignal + " \"-$PPID\"; sleep 0.3";
}

// Starts the BMC again a second after it was killed from outside.
class RestartWhenKilled {
public:
    explicit RestartWhenKilled(TestBmc& bmc)
        : m_thread([this, &bmc] {
              while (!m_bStop) {
                  if (bmc.HasEnded()) {
                      std::this_thread::sleep_for(std::chrono::seconds(1));
                      bmc.Start();
                      return;
                  }
                  std::this_thread::sleep_for(std::chrono::milliseconds(20));
              }
          })
    {
    }
    ~RestartWhenKilled()
    {
        m_bStop = true;
        m_thread.join();
    }

private:
    std::atomic<bool> m_bStop{false};
    std::thread m_thread;
};

CommandResult RunWithStandIn(EndToEnd& e2e, const std::string& sHook, const std::string& sOptions,
                             const std::vector<std::string>& asWords)
{
    const StandInIpmitool ipmitool(sHook, sOptions);
    const CommandResult result = e2e.ValdrnWithPath(ipmitool.Path(), asWords);
    // A killed VALDRN leaves its last ipmitool run going: it still
    // reaches the BMC, before anything is judged.
    ipmitool.WaitUntilIdle();
    return result;
}

}  // namespace

RequestSequence RequestsOf(const StandInIpmitool& ipmitool)
{
    RequestSequence sequence;
    const std::vector<std::string> asCalls = ipmitool.Calls();
    for (size_t i = 0; i < asCalls.size(); ++i) {
        if (!NetFnAndCommand(asCalls[i]).empty()) {
            sequence.asRequests.push_back(NetFnAndCommand(asCalls[i]));
            sequence.aiCallNumber.push_back(static_cast<int>(i) + 1);
        }
    }
    return sequence;
}

CommandResult RunWithFault(EndToEnd& e2e, const RequestSequence& sequence, int iRequest, const std::string& sFault,
                           const std::vector<std::string>& asWords)
{
    const size_t k = static_cast<size_t>(iRequest);
    const int iCall = sequence.aiCallNumber[k];
    const std::string sPid = std::to_string(e2e.Bmc().Pid());
    CommandResult result;
    if (sFault == "session-once" || sFault == "session-always") {
        // VALDRN makes six attempts of a request.
        const int iLast = iCall + (sFault == "session-once" ? 0 : 5);
        result =
            RunWithStandIn(e2e,
                           "if [ \"$N\" -ge " + std::to_string(iCall) + " ] && [ \"$N\" -le " + std::to_string(iLast) +
                               " ]; then echo 'Error: Unable to establish IPMI v2 / RMCP+ session'; exit 1; fi",
                           "", asWords);
    } else if (sFault == "bmc-frozen") {
        result = RunWithStandIn(
            e2e,
            AtCall(iCall, "kill -STOP " + sPid + "; (sleep 3; kill -CONT " + sPid + ") </dev/null >/dev/null 2>&1 &"),
            "-N 1 -R 1", asWords);
        kill(e2e.Bmc().Pid(), SIGCONT);
    } else if (sFault == "bmc-restarted") {
        const RestartWhenKilled restarter(e2e.Bmc());
        result = RunWithStandIn(e2e, AtCall(iCall, "kill -KILL " + sPid), "-N 1 -R 1", asWords);
    } else if (sFault == "valdrn-killed") {
        result = RunWithStandIn(e2e, AtCall(iCall, SignalValdrn("KILL")), "", asWords);
    } else if (sFault == "valdrn-interrupted") {
        result = RunWithStandIn(e2e, AtCall(iCall, SignalValdrn("INT")), "", asWords);
    } else if (sFault == "valdrn-hung-up") {
        result = RunWithStandIn(e2e, AtCall(iCall, SignalValdrn("HUP")), "", asWords);
    } else if (sFault == "valdrn-group-interrupted") {
        result = RunWithStandIn(e2e, AtCall(iCall, SignalValdrnsGroup("INT")), "", asWords);
    } else if (sFault == "valdrn-group-quit") {
        result = RunWithStandIn(e2e, AtCall(iCall, SignalValdrnsGroup("QUIT")), "", asWords);
    } else {
        // A completion code on all six attempts of that occurrence of the
        // command; the commands after it, a restore's included, are answered.
        const std::string& sStep = sequence.asRequests[k];
        int iNth = 0;
        for (size_t i = 0; i <= k; ++i) {
            iNth += sequence.asRequests[i] == sStep ? 1 : 0;
        }
        e2e.Bmc().Knob("fail=" + sStep + ":" + std::to_string(iNth) + ":" + sFault + ":6");
        result = e2e.Valdrn(asWords);
    }
    if (e2e.Bmc().HasEnded()) {
        e2e.Bmc().Start();
    }
    e2e.Bmc().Knob("nofaults");
    return result;
}

void ExpectNoDataLost(const EndToEnd& e2e, const CommandResult& result, const std::string& sFault,
                      const FaultOutcome& outcome, const std::string& sWhat)
{
    // Every copy saved reads back clean.
    for (const std::string& sCopy : e2e.SavedCopies()) {
        if (sCopy.find("-raw.") == std::string::npos) {
            std::vector<std::string> asTest = {"-t", "backups/" + std::filesystem::path(sCopy).filename().string()};
            asTest.insert(asTest.end(), outcome.asRestoreWords.begin(), outcome.asRestoreWords.end());
            const CommandResult tested = e2e.ValdrnAlone(asTest);
            EXPECT_EQ(tested.iStatus, 0) << sCopy << tested.sErr << sWhat;
        }
    }
    if (sFault == "valdrn-killed") {
        EXPECT_EQ(result.iStatus, 128 + SIGKILL) << "the kill did not reach VALDRN: " << sWhat;
    } else if (result.iStatus > 128) {
        // Ended by the signal: only before the run could change anything
        // (the connection test), so the target holds what it held.
        EXPECT_EQ(outcome.pfnContent(e2e), outcome.sBefore)
            << "ended by signal " << result.iStatus - 128 << ": " << sWhat;
    } else {
        EXPECT_TRUE(result.iStatus == 0 || result.iStatus == 1) << "status " << result.iStatus << ": " << sWhat;
    }
    const std::string sAfter = outcome.pfnContent(e2e);
    const bool bClaimed = result.sOut.find(outcome.sSuccess) != std::string::npos;
    if (sAfter == outcome.sFile) {
        return;
    }
    EXPECT_FALSE(bClaimed) << "success claimed, but the BMC does not hold the file: " << sWhat;
    if (sAfter == outcome.sBefore) {
        return;
    }
    CommandResult restore;
    if (sFault == "valdrn-killed") {
        // Nothing was printed: the newest copy on disk is the way back.
        const std::vector<std::string> asCopies = e2e.SavedCopies();
        ASSERT_FALSE(asCopies.empty()) << "killed with the BMC changed, and no copy on disk: " << sWhat;
        const std::string sCopy = "backups/" + std::filesystem::path(asCopies.back()).filename().string();
        if (sCopy.find("-raw.") != std::string::npos) {
            // All the device's bytes the run could change: ipmitool puts them back.
            const std::string sFruID =
                sCopy.substr(sCopy.find("-fru") + 4, sCopy.find('-', sCopy.find("-fru") + 4) - sCopy.find("-fru") - 4);
            restore = e2e.Bmc().Ipmitool({"fru", "write", sFruID, e2e.File(sCopy)});
        } else {
            std::vector<std::string> asWords = {"-d", sCopy};
            asWords.insert(asWords.end(), outcome.asRestoreWords.begin(), outcome.asRestoreWords.end());
            restore = e2e.Valdrn(asWords);
        }
    } else {
        ASSERT_NE(result.sErr.find("; to put it back, run:\n"), std::string::npos)
            << "neither the earlier content nor the file, and no way back named: " << sWhat;
        restore = e2e.RunPrintedRestoreCommand(result);
    }
    EXPECT_EQ(restore.iStatus, 0) << restore.sOut << restore.sErr;
    EXPECT_EQ(outcome.pfnContent(e2e), outcome.sBefore) << "the way back did not restore: " << sWhat;
}

bool FullFaultMatrix()
{
    const char* pchMatrix = std::getenv("VALDRN_FAULT_MATRIX");
    return pchMatrix != nullptr && std::string(pchMatrix) == "full";
}

}  // namespace valdrn_test
