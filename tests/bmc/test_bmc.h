// Starts and stops the test BMC: OpenIPMI's ipmi_sim with our module,
// serving RMCP+ on UDP port 623 of a loopback address of its own, so that
// ipmitool reaches it without a port option and several BMCs can run at
// once.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

#include "support/test_support.h"

namespace valdrn_test {

struct CommandResult {
    int iStatus = -1;
    std::string sOut;
    std::string sErr;
};

// Runs a program (no shell) and collects its exit status and output; in
// sWorkDir when given.
CommandResult RunCommand(const std::vector<std::string>& asArgv, const std::string& sStdin = "",
                         const std::string& sWorkDir = "");

class TestBmc {
public:
    // The module options (see tests/bmc/valdrn_bmc_module.c); the state
    // file and the default FRU devices (0: 2048 bytes, 1: 512 bytes) are
    // added unless given.
    // With sDirectory empty, a temporary directory of its own, removed with
    // the object; otherwise that directory, which stays.
    explicit TestBmc(const std::string& sModuleOptions = "", const std::string& sDirectory = "");
    ~TestBmc();
    // The BMC configured in sDirectory by an earlier one (its address and
    // serial port as given), started again on its state.
    static std::unique_ptr<TestBmc> Resume(const std::string& sDirectory, const std::string& sAddress, int iSerialPort);
    TestBmc(const TestBmc&) = delete;
    TestBmc& operator=(const TestBmc&) = delete;

    void Start();
    void Stop();
    // Stops and starts again on the same address and state.
    void Restart();

    const std::string& Address() const { return m_sAddress; }
    int SerialPort() const { return m_iSerialPort; }
    static const char* User() { return "admin"; }
    static const char* Password() { return "secret"; }

    // The LAN+ options for VALDRN.
    std::vector<std::string> LanOptions() const;
    // ipmitool with this BMC's LAN+ options, then the arguments.
    CommandResult Ipmitool(const std::vector<std::string>& asArgs) const;
    // Restarts the BMC with exactly these records (whole records, header
    // first) in its repository, written into its state file: what a
    // download of them would leave, without running one. FRU devices
    // come back blank.
    void SeedRepository(const std::vector<std::string>& asRecords);
    // Changes the module's behaviour at run time; throws when refused.
    void Knob(const std::string& sSetting) const;
    // Gives user 3 ("odd", admin) this password.
    void SetOddUserPassword(const std::string& sPassword) const;
    // Gives user 3 this name (at most 16 characters).
    void SetOddUserName(const std::string& sName) const;
    // True once the simulator has ended (or was never started): killed
    // from outside, it can then be started again.
    bool HasEnded();
    // The simulator's process ID, -1 when stopped.
    pid_t Pid() const { return m_pid; }
    // Leaves the simulator running when the object goes; its process ID.
    pid_t Detach();

private:
    struct Resumed {};
    explicit TestBmc(Resumed) {}
    void WriteConfiguration();
    bool Answers() const;

    std::string File(const std::string& sName) const { return m_sDirectory + "/" + sName; }

    std::unique_ptr<TempDir> m_pTempDir;
    std::string m_sDirectory;
    std::string m_sModuleOptions;
    std::string m_sAddress;
    int m_iSerialPort = 0;
    pid_t m_pid = -1;
};

}  // namespace valdrn_test
