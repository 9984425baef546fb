// IPMI requests over LAN+: Debian's ipmitool against the test BMC, and
// stand-in ipmitool scripts for outputs a real one cannot produce.
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "bmc/ipmi_command.h"
#include "bmc/transport.h"
#include "bmc/test_bmc.h"
#include "cli/interface_options.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

// The interface of the run under test, as the LAN+ options would leave it.
InterfaceChoice S_lan;

void UseLan(const std::string& sHost, const std::string& sUser, const std::string& sPassword,
            unsigned short u16Cipher = 3)
{
    S_lan = InterfaceChoice{};
    std::snprintf(S_lan.sIolData.achHostIP, sizeof S_lan.sIolData.achHostIP, "%s", sHost.c_str());
    std::snprintf(S_lan.sIolData.achUserName, sizeof S_lan.sIolData.achUserName, "%s", sUser.c_str());
    std::snprintf(S_lan.sIolData.achPassword, sizeof S_lan.sIolData.achPassword, "%s", sPassword.c_str());
    std::snprintf(S_lan.sIolData.achInterface, sizeof S_lan.sIolData.achInterface, "lanplus");
    S_lan.sIolData.u16CipherSuiteID = u16Cipher;
    S_lan.eInterfaceInUse = eInterfaceLanPlus;
    InitializeRMCPPlus(S_lan.sIolData);  // the transport that VALDRN_LAN_SESSION names
}

void EndLan()
{
    S_lan = InterfaceChoice{};
    UseTransport(nullptr);
}

IPMICommandRecord Record(std::initializer_list<unsigned char> au8Request, unsigned char u8CompletionCode = 0)
{
    IPMICommandRecord record = {};
    record.u8CompletionCode = u8CompletionCode;
    record.u16ResponseLength = IPMI_RESPONSE_DATA_SIZE;
    for (unsigned char u8Byte : au8Request) {
        record.au8RequestData[record.u8RequestLength++] = u8Byte;
    }
    return record;
}

int CountOf(const std::string& sText, const std::string& sPart)
{
    int iCount = 0;
    for (size_t uAt = sText.find(sPart); uAt != std::string::npos; uAt = sText.find(sPart, uAt + 1)) {
        ++iCount;
    }
    return iCount;
}

struct Sent {
    bool bResult;
    std::string sTrace;
};

Sent Send(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord& record)
{
    G_bVerboseMode = true;
    CapturedOutput output;
    const bool bResult = DoIPMICommand(u8NetFnLun, u8Cmd, &record);
    output.Finish();
    G_bVerboseMode = false;
    return {bResult, output.Out()};
}

class LanTest : public testing::Test {
protected:
    static void SetUpTestSuite() { s_pBmc = new TestBmc(); }
    static void TearDownTestSuite()
    {
        delete s_pBmc;
        s_pBmc = nullptr;
    }
    void SetUp() override
    {
        s_pBmc->Knob("nofaults");
        UseLan(s_pBmc->Address(), TestBmc::User(), TestBmc::Password());
    }
    void TearDown() override { EndLan(); }

    std::string CommandLine(const std::string& sNetFnCmd) const
    {
        return "   ipmitool -C 3 -I lanplus -U admin -P secret -H " + s_pBmc->Address() + " raw " + sNetFnCmd;
    }

    static TestBmc* s_pBmc;
};

TestBmc* LanTest::s_pBmc = nullptr;

TEST_F(LanTest, GetDeviceID)
{
    CapturedOutput output;
    EXPECT_TRUE(GetDeviceID());
    output.Finish();
    EXPECT_EQ(output.Err(), "");
    IPMICommandRecord record = Record({});
    const Sent sent = Send(NETFN_LUN_APP, CMD_GET_DEVICE_ID, record);
    EXPECT_TRUE(sent.bResult);
    EXPECT_EQ(record.u16ResponseLength, 15);
    EXPECT_EQ(record.au8ResponseData[2], 0x09);  // firmware revision of the test BMC
    EXPECT_EQ(
        sent.sTrace.rfind("   NetFn=0x6, Cmd=0x1, ReqLen=0x0\n   ReqData=None\n" + CommandLine("0x06 0x01 ") +
                              "   cCode=0x0, RspLen=0xF\n   RspData=00 03 09 08 02 9F 91 12 00 02 0F 00 00 00 00 \n\n",
                          0),
        0u)
        << sent.sTrace;
}

TEST_F(LanTest, InitializeInterfaceOverLan)
{
    CapturedOutput output;
    EXPECT_TRUE(InitializeInterface(S_lan));
    output.Finish();
    EXPECT_EQ(output.Err(), "");
    EXPECT_EQ(InitializeRMCPPlus(S_lan.sIolData), 1);
}

TEST_F(LanTest, SdrRepositoryInfo)
{
    IPMICommandRecord record = Record({});
    const Sent sent = Send(NETFN_LUN_STORAGE, 0x20, record);
    EXPECT_TRUE(sent.bResult);
    EXPECT_EQ(record.u16ResponseLength, 14);
    EXPECT_EQ(record.au8ResponseData[0], 0x51);
    EXPECT_EQ(record.au8ResponseData[13], 0x0E);
    EXPECT_EQ(CountOf(sent.sTrace, "ipmitool -C"), 1);
}

TEST_F(LanTest, InjectedFailureIsTriedSixTimesWithoutPause)
{
    s_pBmc->Knob("fail=0a:20:1:c5:0");
    IPMICommandRecord record = Record({});
    const Sent sent = Send(NETFN_LUN_STORAGE, 0x20, record);
    EXPECT_FALSE(sent.bResult);
    EXPECT_EQ(record.u8CompletionCode, 0xC5);
    EXPECT_EQ(CountOf(sent.sTrace, CommandLine("0x0a 0x20 ")), 6);
    for (int i = 1; i <= 5; ++i) {
        EXPECT_EQ(CountOf(sent.sTrace, "   Retry " + std::to_string(i) + "\n"), 1);
    }
    EXPECT_EQ(CountOf(sent.sTrace, "Wait 200 ms"), 0);
    EXPECT_EQ(CountOf(sent.sTrace,
                      "\r   Execute ipmitool: Unable to send RAW command (channel=0x0 netfn=0xa lun=0x0 "
                      "cmd=0x20 rsp=0xc5): Reservation cancelled or invalid\n"),
              6);
    EXPECT_NE(sent.sTrace.find("   cCode=0xC5, "), std::string::npos);
}

TEST_F(LanTest, OneFailedAttemptThenSuccess)
{
    s_pBmc->Knob("fail=0a:20:1:c0:1");
    IPMICommandRecord record = Record({});
    const Sent sent = Send(NETFN_LUN_STORAGE, 0x20, record);
    EXPECT_TRUE(sent.bResult);
    EXPECT_EQ(record.u8CompletionCode, 0x00);
    EXPECT_EQ(CountOf(sent.sTrace, "   Retry 1\n"), 1);
    EXPECT_EQ(CountOf(sent.sTrace, "   Retry 2\n"), 0);
}

TEST_F(LanTest, GetSdrOfTwentyBytes)
{
    // A record of 0x18 bytes, added through the test BMC, read 18 at a time.
    const CommandResult reserve = s_pBmc->Ipmitool({"raw", "0x0a", "0x22"});
    ASSERT_EQ(reserve.iStatus, 0);
    std::vector<std::string> asAdd = {"raw", "0x0a", "0x24", "0", "0", "0x51", "0xC0", "0x13"};
    for (int i = 0; i < 0x13; ++i) {
        asAdd.push_back(std::to_string(i));
    }
    const CommandResult add = s_pBmc->Ipmitool(asAdd);
    ASSERT_EQ(add.iStatus, 0) << add.sErr;
    const unsigned int uId = std::strtoul(add.sOut.c_str(), nullptr, 16);
    IPMICommandRecord record = Record({0x00, 0x00, static_cast<unsigned char>(uId), 0x00, 0x00, 18});
    const Sent sent = Send(NETFN_LUN_STORAGE, 0x23, record);
    EXPECT_TRUE(sent.bResult) << sent.sTrace;
    EXPECT_EQ(record.u8CompletionCode, 0x00);
    EXPECT_EQ(record.u16ResponseLength, 20);
    EXPECT_EQ(record.au8ResponseData[4], 0x51);
}

TEST_F(LanTest, RefusedCredentialsStopAtOnce)
{
    UseLan(s_pBmc->Address(), "admin", "wrong");
    IPMICommandRecord record = Record({}, 0xFF);
    const Sent sent = Send(NETFN_LUN_APP, CMD_GET_DEVICE_ID, record);
    EXPECT_FALSE(sent.bResult);
    EXPECT_EQ(CountOf(sent.sTrace, "ipmitool -C 3"), 1);
    EXPECT_NE(sent.sTrace.find("\r   Execute ipmitool: Error: Unable to establish IPMI v2 / RMCP+ session\n"),
              std::string::npos)
        << sent.sTrace;
    CapturedOutput output;
    EXPECT_FALSE(InitializeInterface(S_lan));
    output.Finish();
    EXPECT_EQ(output.Err(), "\n\nGet Device ID failed. Please check LAN+ configuration.\n\n");
}

TEST_F(LanTest, UnsupportedCipherMakesOneAttempt)
{
    UseLan(s_pBmc->Address(), "admin", "secret", 17);
    IPMICommandRecord record = Record({}, 0xFF);
    const Sent sent = Send(NETFN_LUN_APP, CMD_GET_DEVICE_ID, record);
    EXPECT_FALSE(sent.bResult);
    EXPECT_EQ(CountOf(sent.sTrace, "ipmitool -C 17"), 1);
    EXPECT_EQ(CountOf(sent.sTrace, "Retry"), 0);
}

TEST_F(LanTest, PasswordWithShellCharactersReachesIpmitoolWhole)
{
    const std::string sPassword = "a'b\"c$d;e f";
    s_pBmc->SetOddUserPassword(sPassword);
    UseLan(s_pBmc->Address(), "odd", sPassword);
    IPMICommandRecord record = Record({});
    const Sent sent = Send(NETFN_LUN_APP, CMD_GET_DEVICE_ID, record);
    EXPECT_TRUE(sent.bResult) << sent.sTrace;
    // The trace shows the command as it always has; ipmitool itself gets
    // the password in its environment, untouched by any shell.
    EXPECT_NE(sent.sTrace.find("-U odd -P a'b\"c$d;e f -H "), std::string::npos) << sent.sTrace;
}

// --- stand-in ipmitool ------------------------------------------------------------------

class StandInTest : public testing::Test {
protected:
    void SetUp() override
    {
        const char* pchPath = std::getenv("PATH");
        m_sSavedPath = pchPath != nullptr ? pchPath : "";
        setenv("PATH", (m_dir.Path() + ":" + m_sSavedPath).c_str(), 1);
        UseLan("10.1.2.3", "user", "pass");
    }
    void TearDown() override
    {
        setenv("PATH", m_sSavedPath.c_str(), 1);
        EndLan();
    }
    // The script's body, run once per request; it may use $COUNT, the
    // number of earlier runs. As "ipmitool ... shell" (VALDRN_LAN_SESSION=
    // run) it is run for each "raw" line, and a run that fails ends the
    // session with its status, as an ipmitool that died would.
    void StandIn(const std::string& sBody)
    {
        const std::string sOnce = m_dir.File("ipmitool-once");
        WriteFile(sOnce, "#!/bin/sh\nCOUNT=$(cat " + m_dir.File("count") +
                             " 2>/dev/null || echo 0)\n"
                             "echo $((COUNT + 1)) > " +
                             m_dir.File("count") + "\necho \"$@\" >> " + m_dir.File("argv") + "\n" + sBody);
        WriteFile(m_dir.File("ipmitool"),
                  "#!/bin/bash\n"
                  "if [ \"${!#}\" != shell ]; then exec " +
                      sOnce +
                      " \"$@\"; fi\n"
                      "set -- \"${@:1:$(($# - 1))}\"\n"
                      "while IFS= read -r LINE; do\n"
                      "  case \"$LINE\" in\n"
                      "    exit) exit 0 ;;\n"
                      "    echo\\ *) echo \"${LINE#echo } \" ;;\n"
                      "    raw\\ *) " +
                      sOnce +
                      " \"$@\" $LINE < /dev/null || exit $? ;;\n"
                      "  esac\n"
                      "done\n");
        chmod(sOnce.c_str(), 0755);
        chmod(m_dir.File("ipmitool").c_str(), 0755);
    }
    std::string Argv() const { return ReadFile(m_dir.File("argv")); }

    TempDir m_dir;
    std::string m_sSavedPath;
};

TEST_F(StandInTest, NoOutputIsAnEmptyAnswer)
{
    StandIn("exit 0\n");
    IPMICommandRecord record = Record({0x01}, 0x33);
    const Sent sent = Send(NETFN_LUN_STORAGE, 0x2C, record);
    EXPECT_TRUE(sent.bResult);
    EXPECT_EQ(record.u8CompletionCode, 0);
    EXPECT_EQ(record.u16ResponseLength, 0);
    EXPECT_EQ(Argv(), "-C 3 -I lanplus -U user -E -H 10.1.2.3 raw 0x0a 0x2c 0x01\n");
}

TEST_F(StandInTest, CipherOptionOnlyBelow255)
{
    StandIn("echo ' 01 02'\n");
    S_lan.sIolData.u16CipherSuiteID = 255;
    InitializeRMCPPlus(S_lan.sIolData);  // the transport keeps the login it was made with
    IPMICommandRecord record = Record({});
    EXPECT_TRUE(Send(NETFN_LUN_APP, 0x01, record).bResult);
    S_lan.sIolData.u16CipherSuiteID = 0;
    InitializeRMCPPlus(S_lan.sIolData);  // a new login: a new run's transport
    record = Record({});
    const Sent sent = Send(NETFN_LUN_APP, 0x01, record);
    EXPECT_EQ(Argv(),
              "-I lanplus -U user -E -H 10.1.2.3 raw 0x06 0x01\n"
              "-C 0 -I lanplus -U user -E -H 10.1.2.3 raw 0x06 0x01\n");
    EXPECT_NE(sent.sTrace.find("   ipmitool -C 0 -I lanplus -U user -P pass -H 10.1.2.3 raw 0x06 0x01 "),
              std::string::npos);
}

TEST_F(StandInTest, ErrorWithoutParenthesisKeepsTheCompletionCode)
{
    StandIn("echo 'Error: something went wrong'\n");
    IPMICommandRecord record = Record({}, 0x77);
    const Sent sent = Send(NETFN_LUN_STORAGE, 0x22, record);
    EXPECT_FALSE(sent.bResult);
    EXPECT_EQ(record.u8CompletionCode, 0x77);
    EXPECT_EQ(ReadFile(m_dir.File("count")), "6\n");
    // Left at 0 on entry, the same runs report success: the completion
    // code alone decides.
    record = Record({}, 0x00);
    EXPECT_TRUE(Send(NETFN_LUN_STORAGE, 0x22, record).bResult);
}

TEST_F(StandInTest, ErrorWordsAnywhere)
{
    for (const char* pchOutput : {"x failed y", "no support for z", "Unable to q", "Error"}) {
        StandIn(std::string("echo '") + pchOutput + "'\n");
        IPMICommandRecord record = Record({}, 0x44);
        EXPECT_FALSE(Send(NETFN_LUN_STORAGE, 0x22, record).bResult) << pchOutput;
    }
}

TEST_F(StandInTest, EmptyFirstLineStopsRetrying)
{
    StandIn("printf '\\nUnable to do it\\n'\n");
    IPMICommandRecord record = Record({}, 0x44);
    EXPECT_FALSE(Send(NETFN_LUN_STORAGE, 0x22, record).bResult);
    EXPECT_EQ(ReadFile(m_dir.File("count")), "1\n");
}

// A long failure first, then a short answer: the answer is judged by its
// own text alone, and holds only its own bytes.
TEST_F(StandInTest, EachAttemptIsJudgedByItsOwnOutput)
{
    StandIn(
        "if [ $COUNT -eq 0 ]; then\n"
        "  echo 'Unable to send RAW command (channel=0x0 netfn=0xa lun=0x0 cmd=0x22 rsp=0xc3): Timeout'\n"
        "else\n  printf ' 01 02'\nfi\n");
    IPMICommandRecord record = Record({});
    const Sent sent = Send(NETFN_LUN_STORAGE, 0x22, record);
    EXPECT_TRUE(sent.bResult);
    EXPECT_EQ(record.u8CompletionCode, 0);
    EXPECT_EQ(record.u16ResponseLength, 2);
    EXPECT_EQ(record.au8ResponseData[0], 0x01);
    EXPECT_EQ(record.au8ResponseData[1], 0x02);
    EXPECT_EQ(CountOf(sent.sTrace, "   Retry 1\n"), 1);
}

// A session that could not be set up once, then the BMC's short answer:
// a success, not a failure read from the first attempt's words.
TEST_F(StandInTest, ASessionFailureThenAShortAnswerSucceeds)
{
    StandIn(
        "if [ $COUNT -eq 0 ]; then\n"
        "  echo 'Error: Unable to establish IPMI v2 / RMCP+ session'\n"
        "else\n  echo ' 11 01'\nfi\n");
    IPMICommandRecord record = Record({0x00, 0x00, 0x00, 0x01, 0x99});
    const Sent sent = Send(NETFN_LUN_STORAGE, CMD_WRITE_FRU_DATA, record);
    EXPECT_TRUE(sent.bResult);
    EXPECT_EQ(record.u16ResponseLength, 2);
    EXPECT_EQ(record.au8ResponseData[0], 0x11);
    EXPECT_EQ(ReadFile(m_dir.File("count")), "2\n");
}

// Busy and timeout answers get a pause before the next attempt; other
// refusals are sent again at once.
TEST_F(StandInTest, BusyAndTimeoutArePausedBeforeTheNextAttempt)
{
    for (const char* pchCode : {"c0", "c3"}) {
        StandIn(std::string("if [ $COUNT -lt 2 ]; then\n"
                            "  echo 'Unable to send RAW command (channel=0x0 netfn=0xa lun=0x0 cmd=0x22 rsp=0x") +
                pchCode + "): Busy'\nelse\n  echo ' 01 02'\nfi\n");
        std::remove(m_dir.File("count").c_str());
        IPMICommandRecord record = Record({});
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(Send(NETFN_LUN_STORAGE, 0x22, record).bResult) << pchCode;
        const auto elapsed = std::chrono::steady_clock::now() - start;
        EXPECT_GE(elapsed, std::chrono::milliseconds(150)) << pchCode;  // pauses of 50 and 100 ms
        EXPECT_EQ(ReadFile(m_dir.File("count")), "3\n");
    }
}

// Ctrl-C at a terminal goes to the whole foreground group: ipmitool runs
// in a group of its own, so that it finishes the request in flight; it
// reads nothing from the terminal.
TEST_F(StandInTest, IpmitoolRunsInAProcessGroupOfItsOwnWithoutStandardInput)
{
    StandIn("cut -d' ' -f5 /proc/$$/stat > " + m_dir.File("pgrp") + "\nreadlink /proc/$$/fd/0 > " +
            m_dir.File("stdin") + "\necho ' 01 02'\n");
    IPMICommandRecord record = NewCommandRecord();
    EXPECT_TRUE(Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record).bResult);
    const std::string sGroup = ReadFile(m_dir.File("pgrp"));
    EXPECT_NE(sGroup, std::to_string(getpgrp()) + "\n");
    EXPECT_NE(sGroup, "");
    EXPECT_EQ(ReadFile(m_dir.File("stdin")), "/dev/null\n");
}

// An ipmitool killed by a signal printed what looks like an answer: no
// answer of the BMC's. Six attempts with pauses, then a failure.
TEST_F(StandInTest, AnIpmitoolEndedBySignalIsAFailedAttempt)
{
    StandIn("printf ' 01 02 03'\nkill -INT $$\n");
    IPMICommandRecord record = NewCommandRecord();
    const Sent sent = Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record);
    EXPECT_FALSE(sent.bResult);
    EXPECT_EQ(record.u8CompletionCode, CC_NO_ANSWER);
    EXPECT_EQ(ReadFile(m_dir.File("count")), "6\n");
    EXPECT_EQ(CountOf(sent.sTrace, "\r   Wait 200 ms before retry\n"), 6);
}

// "sh: 1: ipmitool: not found" has none of the error words: read as an
// answer it was a success. A non-zero status is a failed attempt.
TEST_F(StandInTest, ANonZeroStatusIsAFailedAttemptWhateverWasPrinted)
{
    StandIn("echo 'sh: 1: ipmitool: not found'\nexit 127\n");
    IPMICommandRecord record = NewCommandRecord();
    EXPECT_FALSE(Send(NETFN_LUN_STORAGE, CMD_PARTIAL_ADD_SDR, record).bResult);
    EXPECT_EQ(record.u8CompletionCode, CC_NO_ANSWER);
    EXPECT_EQ(ReadFile(m_dir.File("count")), "6\n");
}

// No ipmitool on the PATH at all: every request fails.
TEST_F(StandInTest, NoIpmitoolAtAllFailsEveryRequest)
{
    setenv("PATH", m_dir.Path().c_str(), 1);
    IPMICommandRecord record = NewCommandRecord();
    EXPECT_FALSE(Send(NETFN_LUN_STORAGE, CMD_CLEAR_SDR_REPOSITORY, record).bResult);
    EXPECT_EQ(record.u8CompletionCode, CC_NO_ANSWER);
}

// A Get SDR that asked for 16 bytes and got fewer: the record would hold
// zeros where the BMC's bytes were.
TEST_F(StandInTest, AnAnswerShorterThanTheResponseIsAFailedAttempt)
{
    StandIn("echo ' ff ff 01 00 51 01'\n");
    IPMICommandRecord record = NewCommandRecord();
    for (unsigned char u8Byte : {0x00, 0x00, 0x00, 0x00, 0x05, 0x10}) {
        record.au8RequestData[record.u8RequestLength++] = u8Byte;
    }
    EXPECT_FALSE(Send(NETFN_LUN_STORAGE, CMD_GET_SDR, record).bResult);
    EXPECT_EQ(record.u8CompletionCode, CC_NO_ANSWER);
    EXPECT_EQ(ReadFile(m_dir.File("count")), "6\n");
    // The bytes asked for, and the read succeeds.
    StandIn("echo ' ff ff 01 00 51 01 10 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e'\n");
    record.u8CompletionCode = CC_NO_ANSWER;
    EXPECT_TRUE(Send(NETFN_LUN_STORAGE, CMD_GET_SDR, record).bResult);
}

// A Read FRU Data answer must hold as many bytes as its count says.
TEST_F(StandInTest, AReadFruAnswerShorterThanItsCountIsAFailedAttempt)
{
    StandIn("echo ' 04 01 02'\n");
    IPMICommandRecord record = NewCommandRecord();
    EXPECT_FALSE(Send(NETFN_LUN_STORAGE, CMD_READ_FRU_DATA, record).bResult);
    StandIn("echo ' 02 01 02'\n");
    record = NewCommandRecord();
    EXPECT_TRUE(Send(NETFN_LUN_STORAGE, CMD_READ_FRU_DATA, record).bResult);
}

// A busy BMC is waited for beyond six answers, within VALDRN_BUSY_TIMEOUT;
// then the request fails.
TEST_F(StandInTest, ABusyBMCIsWaitedForWithinTheBusyWait)
{
    StandIn(
        "if [ $COUNT -lt 7 ]; then\n"
        "  echo 'Unable to send RAW command (channel=0x0 netfn=0xa lun=0x0 cmd=0x22 rsp=0xc0): Busy'; exit 1\n"
        "else\n  echo ' 01 02'\nfi\n");
    IPMICommandRecord record = NewCommandRecord();
    EXPECT_TRUE(Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record).bResult);
    EXPECT_EQ(ReadFile(m_dir.File("count")), "8\n");

    StandIn("echo 'Unable to send RAW command (channel=0x0 netfn=0xa lun=0x0 cmd=0x22 rsp=0xc0): Busy'; exit 1\n");
    std::remove(m_dir.File("count").c_str());
    setenv("VALDRN_BUSY_TIMEOUT", "0.4", 1);
    record = NewCommandRecord();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record).bResult);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    unsetenv("VALDRN_BUSY_TIMEOUT");
    EXPECT_EQ(record.u8CompletionCode, CC_NODE_BUSY);
    EXPECT_GE(elapsed, std::chrono::milliseconds(400));
    // Six attempts of their own after the busy wait ran out, besides those
    // within it (at least the first; how many more fit, the load decides).
    EXPECT_GE(std::stoi(ReadFile(m_dir.File("count"))), 7);
}

// popen fails once no file descriptor is left for its pipe; in a child of
// its own, that exits with the result and whether the trace held the
// six failed attempts and their pauses.
int PopenFailing()
{
    // First the same requests while descriptors are left, ipmitool nowhere
    // on PATH: the undefined-behaviour sanitizer checks a call's dynamic
    // type through a pipe of its own the first time it meets it, and
    // without descriptors it takes every object for a wrong one.
    const std::string sPath = std::getenv("PATH") != nullptr ? std::getenv("PATH") : "";
    setenv("PATH", "/nonexistent", 1);
    UseLan("10.1.2.3", "user", "pass");
    IPMICommandRecord warmUp = Record({});
    std::fflush(stdout);
    DoIPMICommand(NETFN_LUN_STORAGE, 0x22, &warmUp);
    setenv("PATH", sPath.c_str(), 1);
    const std::string sTrace = "/tmp/valdrn-popen-trace-" + std::to_string(getpid());
    if (std::freopen(sTrace.c_str(), "w", stdout) == nullptr) {
        return 90;
    }
    int iHighest = 0;
    if (DIR* pDir = opendir("/proc/self/fd")) {
        while (dirent* pEntry = readdir(pDir)) {
            iHighest = std::max(iHighest, std::atoi(pEntry->d_name));
        }
        closedir(pDir);
    }
    struct rlimit saved = {};
    getrlimit(RLIMIT_NOFILE, &saved);
    struct rlimit limit = {static_cast<rlim_t>(iHighest + 1), saved.rlim_max};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return 91;
    }
    for (int iFd = 3; iFd <= iHighest; ++iFd) {
        if (fcntl(iFd, F_GETFD) < 0) {
            dup2(STDOUT_FILENO, iFd);  // fill every gap
        }
    }
    G_bVerboseMode = true;
    UseLan("10.1.2.3", "user", "pass");
    IPMICommandRecord record = Record({});
    const bool bResult = DoIPMICommand(NETFN_LUN_STORAGE, 0x22, &record);
    std::fflush(stdout);
    setrlimit(RLIMIT_NOFILE, &saved);
    const std::string sText = ReadFile(sTrace);
    std::remove(sTrace.c_str());
    const bool bTrace = CountOf(sText, "   Error to execute ipmitool\n\r   Execute ipmitool: Response=0x0") == 6 &&
                        CountOf(sText, "\r   Wait 200 ms before retry\n") == 6;
    return (bResult ? 1 : 0) + (bTrace ? 2 : 0);
}

TEST(PopenFailingDeathTest, SixAttemptsWithPausesAndTheCodeOnEntryDecides)
{
    // The record's completion code was 0 on entry: success, as required.
    EXPECT_EXIT(std::exit(PopenFailing()), testing::ExitedWithCode(3), "");
}

}  // namespace

// --- one ipmitool session for the run (VALDRN_LAN_SESSION=run) ---------------------

class SessionTest : public StandInTest {
protected:
    void SetUp() override
    {
        setenv("VALDRN_LAN_SESSION", "run", 1);
        StandInTest::SetUp();
    }
    void TearDown() override
    {
        StandInTest::TearDown();
        unsetenv("VALDRN_LAN_SESSION");
        unsetenv("VALDRN_LAN_REQUEST_TIMEOUT");
    }
    // A stand-in "ipmitool ... shell": each start is logged in "starts",
    // each line it reads in "lines"; the piece of shell sShell runs for each
    // "raw" line (with $RAWS, the number of raw lines this start read).
    void ShellStandIn(const std::string& sShell)
    {
        WriteFile(m_dir.File("ipmitool"),
                  "#!/bin/bash\n"
                  "echo \"$*\" >> " +
                      m_dir.File("starts") +
                      "\n"
                      "[ \"${!#}\" = shell ] || { echo ' 01 02'; exit 0; }\n"
                      "RAWS=0\n"
                      "while IFS= read -r LINE; do\n"
                      "  echo \"$LINE\" >> " +
                      m_dir.File("lines") +
                      "\n"
                      "  echo \"ipmitool> $LINE\"\n"
                      "  case \"$LINE\" in\n"
                      "    exit) exit 0 ;;\n"
                      "    echo\\ *) echo \"${LINE#echo } \" ;;\n"
                      "    raw\\ *) RAWS=$((RAWS + 1)); " +
                      sShell +
                      " ;;\n"
                      "  esac\n"
                      "done\n");
        chmod(m_dir.File("ipmitool").c_str(), 0755);
    }
    int Starts() const { return CountOf(ReadFile(m_dir.File("starts")), "\n"); }
};

// Every request through one ipmitool: its prompt and the lines it echoes
// are not part of the answer; the session is closed with "exit".
TEST_F(SessionTest, OneIpmitoolCarriesEveryRequest)
{
    ShellStandIn("echo ' 11 22 33'");
    for (int i = 0; i < 5; ++i) {
        IPMICommandRecord record = NewCommandRecord();
        ASSERT_TRUE(Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record).bResult);
        EXPECT_EQ(record.u16ResponseLength, 3);
        EXPECT_EQ(record.au8ResponseData[2], 0x33);
    }
    EXPECT_EQ(Starts(), 1);
    EXPECT_EQ(ReadFile(m_dir.File("starts")), "-C 3 -I lanplus -U user -E -H 10.1.2.3 shell\n");
    UseTransport(nullptr);
    const std::string sLines = ReadFile(m_dir.File("lines"));
    EXPECT_EQ(CountOf(sLines, "raw 0x0a 0x22\n"), 5);
    EXPECT_EQ(sLines.substr(sLines.size() - 5), "exit\n");
}

// A mode VALDRN does not know is said once, and the run goes on per
// request; "request" and an empty value are the default, said nothing of.
TEST_F(SessionTest, AnUnknownModeIsSaidAndRunsPerRequest)
{
    ShellStandIn("echo ' 11 22'");
    const std::string sWarning =
        "<WARNING> VALDRN_LAN_SESSION is neither \"run\" nor \"request\": one ipmitool per request.\n";
    const struct {
        const char* pchMode;
        bool bWarned;
    } aCases[] = {{"Run", true}, {"session", true}, {"request", false}, {"", false}};
    for (const auto& c : aCases) {
        setenv("VALDRN_LAN_SESSION", c.pchMode, 1);
        CapturedOutput output;
        InitializeRMCPPlus(S_lan.sIolData);
        output.Finish();
        IPMICommandRecord record = NewCommandRecord();
        EXPECT_TRUE(Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record).bResult) << c.pchMode;
        UseTransport(nullptr);
        EXPECT_EQ(output.Err(), c.bWarned ? sWarning : "") << c.pchMode;
        // Started for the request itself, not as a shell.
        const std::string sStarts = ReadFile(m_dir.File("starts"));
        EXPECT_EQ(sStarts.substr(sStarts.rfind('\n', sStarts.size() - 2) + 1),
                  "-C 3 -I lanplus -U user -E -H 10.1.2.3 raw 0x0a 0x22\n")
            << c.pchMode;
    }
    EXPECT_EQ(Starts(), 4);
}

// The trace is the one of a run per request: the same command lines.
TEST_F(SessionTest, TheTraceIsTheOneOfARunPerRequest)
{
    ShellStandIn("echo ' 11 22'");
    IPMICommandRecord record = NewCommandRecord();
    const Sent sent = Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record);
    EXPECT_EQ(sent.sTrace,
              "   NetFn=0xA, Cmd=0x22, ReqLen=0x0\n   ReqData=None\n"
              "   ipmitool -C 3 -I lanplus -U user -P pass -H 10.1.2.3 raw 0x0a 0x22 "
              "   cCode=0x0, RspLen=0x2\n   RspData=11 22 \n\n");
}

// ipmitool's complaint comes on standard error: read for the request it
// belongs to, as a run per request would have read it.
TEST_F(SessionTest, AComplaintOnStandardErrorIsTheRequestsOwn)
{
    ShellStandIn("if [ $RAWS -eq 1 ]; then echo 'Unable to send RAW command (channel=0x0 netfn=0xa lun=0x0 "
                 "cmd=0x22 rsp=0xc5): Reservation cancelled' >&2; else echo ' 01 02'; fi");
    IPMICommandRecord record = NewCommandRecord();
    const Sent sent = Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record);
    EXPECT_TRUE(sent.bResult);
    EXPECT_EQ(CountOf(sent.sTrace, "\r   Execute ipmitool: Unable to send RAW command"), 1) << sent.sTrace;
    EXPECT_EQ(Starts(), 1);
}

// A session that dies (the BMC restarted under it, ipmitool killed) is
// started again and the request repeated under the same attempts.
TEST_F(SessionTest, ASessionThatDiesIsStartedAgain)
{
    ShellStandIn("if [ $(cat " + m_dir.File("starts") + " | wc -l) -eq 1 ]; then kill -KILL $$; fi; echo ' 01 02'");
    IPMICommandRecord record = NewCommandRecord();
    CapturedOutput output;
    const bool bResult = DoIPMICommand(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, &record);
    output.Finish();
    EXPECT_TRUE(bResult);
    EXPECT_EQ(Starts(), 2);
    EXPECT_EQ(output.Err(), "");
}

// A BMC that stopped answering within the session: "Unable to send RAW
// command" without a response code. The session is ended and a new one
// started for the next attempt.
TEST_F(SessionTest, ARequestNobodyAnsweredEndsTheSession)
{
    ShellStandIn("if [ $(cat " + m_dir.File("starts") +
                 " | wc -l) -eq 1 ]; then echo 'Unable to send RAW command (channel=0x0 netfn=0xa lun=0x0 "
                 "cmd=0x22)' >&2; else echo ' 01 02'; fi");
    IPMICommandRecord record = NewCommandRecord();
    EXPECT_TRUE(Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record).bResult);
    EXPECT_EQ(Starts(), 2);
}

// No marker within VALDRN_LAN_REQUEST_TIMEOUT: the stuck session is
// killed, a new one answers.
TEST_F(SessionTest, AStuckSessionIsKilledAfterTheRequestTimeout)
{
    setenv("VALDRN_LAN_REQUEST_TIMEOUT", "0.5", 1);
    ShellStandIn("if [ $(cat " + m_dir.File("starts") + " | wc -l) -eq 1 ]; then sleep 600; fi; echo ' 01 02'");
    IPMICommandRecord record = NewCommandRecord();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record).bResult);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(Starts(), 2);
}

// Three session failures in a row: one warning, and the rest of the run
// goes with one ipmitool per request (here the stand-in answers those).
TEST_F(SessionTest, RepeatedFailuresFallBackToOneIpmitoolPerRequest)
{
    ShellStandIn("kill -KILL $$");
    CapturedOutput output;
    IPMICommandRecord record = NewCommandRecord();
    const bool bFirst = DoIPMICommand(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, &record);
    record = NewCommandRecord();
    const bool bSecond = DoIPMICommand(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, &record);
    output.Finish();
    EXPECT_TRUE(bFirst);
    EXPECT_TRUE(bSecond);
    EXPECT_EQ(output.Err(),
              "<WARNING> The ipmitool session failed 3 times in a row: one ipmitool per request from here on.\n");
    const std::string sStarts = ReadFile(m_dir.File("starts"));
    EXPECT_EQ(CountOf(sStarts, " shell\n"), 3);
    EXPECT_EQ(CountOf(sStarts, " raw 0x0a 0x22\n"), 2);
}

// A refused login ends ipmitool at once: read as the one run per request
// would have been, the connection test stops at the first attempt.
TEST_F(SessionTest, ARefusedLoginReadsAsItAlwaysHas)
{
    WriteFile(m_dir.File("ipmitool"), "#!/bin/sh\necho \"$*\" >> " + m_dir.File("starts") +
                                          "\necho 'Error: Unable to establish IPMI v2 / RMCP+ session' >&2\nexit 1\n");
    chmod(m_dir.File("ipmitool").c_str(), 0755);
    CapturedOutput output;
    const bool bResult = InitializeInterface(S_lan);
    output.Finish();
    EXPECT_FALSE(bResult);
    EXPECT_EQ(output.Err(), "\n\nGet Device ID failed. Please check LAN+ configuration.\n\n");
    EXPECT_EQ(Starts(), 1);
}

// The password travels in ipmitool's environment, never in arguments; an
// IPMITOOL_PASSWORD of the caller's (which ipmitool -E prefers) is dropped.
TEST_F(SessionTest, ThePasswordIsInTheEnvironmentAlone)
{
    setenv("IPMITOOL_PASSWORD", "stale", 1);
    ShellStandIn("echo \" $(printf '%s' \"$IPMI_PASSWORD\" | od -An -tx1) ${IPMITOOL_PASSWORD:-00}\"");
    UseLan("10.1.2.3", "user", "p w'$");
    IPMICommandRecord record = NewCommandRecord();
    EXPECT_TRUE(Send(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, record).bResult);
    unsetenv("IPMITOOL_PASSWORD");
    ASSERT_EQ(record.u16ResponseLength, 6);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(record.au8ResponseData), 5), "p w'$");
    EXPECT_EQ(record.au8ResponseData[5], 0x00);
    EXPECT_EQ(ReadFile(m_dir.File("starts")).find("p w"), std::string::npos);
}
