#include "bmc/test_bmc.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace valdrn_test {

namespace {

constexpr int IPMI_PORT = 623;

bool CanBind(int iType, const std::string& sAddress, int iPort, int* piBoundPort = nullptr)
{
    const int iSocket = socket(AF_INET, iType, 0);
    if (iSocket < 0) {
        return false;
    }
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(iPort));
    inet_pton(AF_INET, sAddress.c_str(), &address.sin_addr);
    const bool bBound = bind(iSocket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    if (bBound && piBoundPort != nullptr) {
        socklen_t uLength = sizeof address;
        getsockname(iSocket, reinterpret_cast<sockaddr*>(&address), &uLength);
        *piBoundPort = ntohs(address.sin_port);
    }
    close(iSocket);
    return bBound;
}

// A loopback address whose port 623 nobody uses; the search starts at a
// place of its own for every process so that parallel tests rarely meet.
std::string FreeLoopbackAddress()
{
    static unsigned int uNext = (static_cast<unsigned int>(getpid()) * 7919u) % 60000u;
    for (unsigned int i = 0; i < 60000; ++i) {
        const unsigned int uHost = (uNext++ % 60000u) + 256;  // 127.0.1.0 and beyond
        const std::string sAddress = "127." + std::to_string((uHost >> 16) & 0xFF) + "." +
                                     std::to_string((uHost >> 8) & 0xFF) + "." + std::to_string(uHost & 0xFF);
        if ((uHost & 0xFF) != 0 && (uHost & 0xFF) != 255 && CanBind(SOCK_DGRAM, sAddress, IPMI_PORT)) {
            return sAddress;
        }
    }
    throw std::runtime_error("no loopback address with a free port 623");
}

}  // namespace

CommandResult RunCommand(const std::vector<std::string>& asArgv, const std::string& sStdin, const std::string& sWorkDir)
{
    TempDir outputDir;
    const std::string sOut = outputDir.File("out");
    const std::string sErr = outputDir.File("err");
    const std::string sIn = outputDir.File("in");
    WriteFile(sIn, sStdin);
    std::vector<char*> apchArgv;
    std::vector<std::string> asCopy = asArgv;
    for (auto& sArg : asCopy) {
        apchArgv.push_back(sArg.data());
    }
    apchArgv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        const int iIn = open(sIn.c_str(), O_RDONLY);
        const int iOut = open(sOut.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int iErr = open(sErr.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(iIn, STDIN_FILENO);
        dup2(iOut, STDOUT_FILENO);
        dup2(iErr, STDERR_FILENO);
        if (!sWorkDir.empty() && chdir(sWorkDir.c_str()) != 0) {
            _exit(126);
        }
        execvp(apchArgv[0], apchArgv.data());
        _exit(127);
    }
    int iStatus = 0;
    waitpid(pid, &iStatus, 0);
    CommandResult result;
    result.iStatus = WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 128 + WTERMSIG(iStatus);
    result.sOut = ReadFile(sOut);
    result.sErr = ReadFile(sErr);
    return result;
}

TestBmc::TestBmc(const std::string& sModuleOptions, const std::string& sDirectory) : m_sModuleOptions(sModuleOptions)
{
    if (sDirectory.empty()) {
        m_pTempDir.reset(new TempDir());
        m_sDirectory = m_pTempDir->Path();
    } else {
        m_sDirectory = sDirectory;
        mkdir(m_sDirectory.c_str(), 0700);
    }
    // Free when looked at is not free when bound: a test running beside
    // this one may take the same address in between. Such a start is
    // tried again on another address.
    for (int iAttempt = 1;; ++iAttempt) {
        m_sAddress = FreeLoopbackAddress();
        if (!CanBind(SOCK_STREAM, "127.0.0.1", 0, &m_iSerialPort)) {
            throw std::runtime_error("no free TCP port for the VM serial interface");
        }
        WriteConfiguration();
        try {
            Start();
            return;
        } catch (const std::runtime_error& error) {
            if (iAttempt == 5 || std::string(error.what()).find("Unable to bind") == std::string::npos) {
                throw;
            }
            unlink(File("ipmi_sim.log").c_str());
        }
    }
}

std::unique_ptr<TestBmc> TestBmc::Resume(const std::string& sDirectory, const std::string& sAddress, int iSerialPort)
{
    std::unique_ptr<TestBmc> pBmc(new TestBmc(Resumed{}));
    pBmc->m_sDirectory = sDirectory;
    pBmc->m_sAddress = sAddress;
    pBmc->m_iSerialPort = iSerialPort;
    pBmc->Start();
    return pBmc;
}

TestBmc::~TestBmc()
{
    Stop();
}

void TestBmc::WriteConfiguration()
{
    std::string sOptions = "state=" + File("bmc.state");
    if (m_sModuleOptions.find("fru=") == std::string::npos) {
        sOptions += " fru=0:2048,1:512";
    }
    sOptions += " " + m_sModuleOptions;
    mkdir(File("state").c_str(), 0700);
    WriteFile(File("lan.conf"),
              "name \"valdrn\"\n"
              "set_working_mc 0x20\n"
              "  startlan 1\n"
              "    addr " +
                  m_sAddress +
                  " 623\n"
                  "    priv_limit admin\n"
                  "    allowed_auths_callback none md2 md5 straight\n"
                  "    allowed_auths_user none md2 md5 straight\n"
                  "    allowed_auths_operator none md2 md5 straight\n"
                  "    allowed_auths_admin none md2 md5 straight\n"
                  "    guid a123456789abcdefa123456789abcdef\n"
                  "  endlan\n"
                  "  serial kcs 127.0.0.1 " +
                  std::to_string(m_iSerialPort) +
                  " codec VM\n"
                  "  user 1 true  \"\"      \"test\"   user  10 none md2 md5 straight\n"
                  "  user 2 true  \"admin\" \"secret\" admin 10 none md2 md5 straight\n"
                  "  user 3 true  \"odd\"   \"unset\"  admin 10 none md2 md5 straight\n"
                  "loadlib \"" VALDRN_TEST_BMC_MODULE "\" \"" +
                  sOptions + "\"\n");
    WriteFile(File("bmc.emu"),
              "mc_setbmc 0x20\n"
              "mc_add 0x20 0 no-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02\n"
              "sel_enable 0x20 1000 0x0a\n"
              "mc_enable 0x20\n");
}

bool TestBmc::Answers() const
{
    const CommandResult result = RunCommand({"ipmitool", "-I", "lanplus", "-C", "3", "-N", "1", "-R", "1", "-U", User(),
                                             "-P", Password(), "-H", m_sAddress, "raw", "0x06", "0x01"});
    return result.iStatus == 0;
}

void TestBmc::Start()
{
    if (m_pid > 0) {
        return;
    }
    const std::string sLog = File("ipmi_sim.log");
    m_pid = fork();
    if (m_pid == 0) {
        const int iLog = open(sLog.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        const int iNull = open("/dev/null", O_RDONLY);
        dup2(iNull, STDIN_FILENO);
        dup2(iLog, STDOUT_FILENO);
        dup2(iLog, STDERR_FILENO);
        setpgid(0, 0);
        const std::string sConf = File("lan.conf");
        const std::string sEmu = File("bmc.emu");
        const std::string sState = File("state");
        execlp("ipmi_sim", "ipmi_sim", "-n", "-c", sConf.c_str(), "-f", sEmu.c_str(), "-s", sState.c_str(),
               static_cast<char*>(nullptr));
        _exit(127);
    }
    // Ready once its LAN port is bound and a Get Device ID comes back.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < deadline) {
        int iStatus = 0;
        if (waitpid(m_pid, &iStatus, WNOHANG) == m_pid) {
            m_pid = -1;
            throw std::runtime_error("ipmi_sim ended at start: " + ReadFile(sLog));
        }
        if (!CanBind(SOCK_DGRAM, m_sAddress, IPMI_PORT) && Answers()) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    Stop();
    throw std::runtime_error("the test BMC did not answer within 20 s: " + ReadFile(sLog));
}

void TestBmc::Stop()
{
    if (m_pid <= 0) {
        return;
    }
    kill(m_pid, SIGTERM);
    int iStatus = 0;
    for (int i = 0; i < 100 && waitpid(m_pid, &iStatus, WNOHANG) == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (waitpid(m_pid, &iStatus, WNOHANG) == 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, &iStatus, 0);
    }
    m_pid = -1;
}

bool TestBmc::HasEnded()
{
    int iStatus = 0;
    if (m_pid > 0 && waitpid(m_pid, &iStatus, WNOHANG) == m_pid) {
        m_pid = -1;
    }
    return m_pid <= 0;
}

pid_t TestBmc::Detach()
{
    const pid_t pid = m_pid;
    m_pid = -1;
    return pid;
}

void TestBmc::Restart()
{
    Stop();
    Start();
}

void TestBmc::SeedRepository(const std::vector<std::string>& asRecords)
{
    Stop();
    // The module's state file: a header line (record count, next record ID,
    // last add and erase times), then each record's ID and length on a line
    // of their own followed by its bytes.
    unsigned int uNextID = 1;
    std::string sRecords;
    for (const std::string& sRecord : asRecords) {
        if (sRecord.size() < 5) {
            throw std::runtime_error("a record has at least its 5-byte header");
        }
        const unsigned int uID = static_cast<unsigned char>(sRecord[0]) | static_cast<unsigned char>(sRecord[1]) << 8;
        uNextID = std::max(uNextID, uID + 1);
        sRecords += std::to_string(uID) + " " + std::to_string(sRecord.size()) + "\n" + sRecord;
    }
    const std::string sNow = std::to_string(std::time(nullptr));
    WriteFile(File("bmc.state"), "VALDRNBMC1 " + std::to_string(asRecords.size()) + " " + std::to_string(uNextID) +
                                     " " + sNow + " " + sNow + "\n" + sRecords);
    Start();
}

std::vector<std::string> TestBmc::LanOptions() const
{
    return {"-n", "lanplus", "-H", m_sAddress, "-U", User(), "-P", Password(), "-C", "3"};
}

CommandResult TestBmc::Ipmitool(const std::vector<std::string>& asArgs) const
{
    std::vector<std::string> asArgv = {"ipmitool", "-I", "lanplus",  "-C", "3",       "-U",
                                       User(),     "-P", Password(), "-H", m_sAddress};
    asArgv.insert(asArgv.end(), asArgs.begin(), asArgs.end());
    return RunCommand(asArgv);
}

void TestBmc::Knob(const std::string& sSetting) const
{
    std::vector<std::string> asArgs = {"raw", "0x30", "0x01"};
    for (unsigned char c : sSetting) {
        char achByte[8];
        std::snprintf(achByte, sizeof achByte, "0x%02x", c);
        asArgs.push_back(achByte);
    }
    const CommandResult result = Ipmitool(asArgs);
    if (result.iStatus != 0) {
        throw std::runtime_error("the test BMC refused '" + sSetting + "': " + result.sErr);
    }
}

void TestBmc::SetOddUserPassword(const std::string& sPassword) const
{
    const CommandResult result = Ipmitool({"user", "set", "password", "3", sPassword});
    if (result.iStatus != 0) {
        throw std::runtime_error("cannot set the password: " + result.sErr);
    }
}

}  // namespace valdrn_test

namespace valdrn_test {

void TestBmc::SetOddUserName(const std::string& sName) const
{
    const CommandResult result = Ipmitool({"user", "set", "name", "3", sName});
    if (result.iStatus != 0) {
        throw std::runtime_error("cannot set the user name: " + result.sErr);
    }
}

}  // namespace valdrn_test
