#include "cli/interface_options.h"

#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

const std::string S_sInvalid = "Invalid operations. \n";
const std::string S_sHint = "Use VALDRN -h for help.\n";

struct HandlerRun {
    int iResult;
    std::string sOut;
    std::string sErr;
};

// The choice the handlers store into, fresh for each test.
InterfaceChoice S_choice;

// Runs a handler on copies of the words, as the engine hands them over.
HandlerRun RunHandler(int (*pfnHandler)(InterfaceChoice*, unsigned short, char*[]), std::vector<std::string> asWords)
{
    std::vector<char*> apchArgs;
    for (auto& sWord : asWords) {
        apchArgs.push_back(sWord.data());
    }
    apchArgs.push_back(nullptr);
    CapturedOutput output;
    const int iResult = pfnHandler(&S_choice, static_cast<unsigned short>(asWords.size()), apchArgs.data());
    output.Finish();
    return {iResult, output.Out(), output.Err()};
}

class InterfaceOptionsTest : public testing::Test {
protected:
    void SetUp() override
    {
        S_choice = InterfaceChoice{};
        ASSERT_NE(getcwd(m_achSavedDir, sizeof m_achSavedDir), nullptr);
        ASSERT_EQ(chdir(m_dir.Path().c_str()), 0);  // intf.ini is looked for here
    }
    void TearDown() override
    {
        EXPECT_EQ(chdir(m_achSavedDir), 0);
        G_bVerboseMode = false;
    }
    TempDir m_dir;
    char m_achSavedDir[4096] = {};
};

// --- -n ----------------------------------------------------------------------------

TEST_F(InterfaceOptionsTest, LanplusInAnyCaseIsStoredAsTyped)
{
    const HandlerRun run = RunHandler(SaveLanIF, {"LANPLUS"});
    EXPECT_EQ(run.iResult, 0);
    EXPECT_EQ(S_choice.eInterfaceInUse, eInterfaceLanPlus);
    EXPECT_STREQ(S_choice.sIolData.achInterface, "LANPLUS");
    EXPECT_EQ(run.sErr, "");
}

TEST_F(InterfaceOptionsTest, LanplusTracesWhenVerbose)
{
    G_bVerboseMode = true;
    const HandlerRun run = RunHandler(SaveLanIF, {"lanplus"});
    EXPECT_EQ(run.iResult, 0);
    EXPECT_EQ(run.sOut, "     ipmitool is installed\n\nMessaging interface in use: lanplus\n");
}

TEST_F(InterfaceOptionsTest, OtherLanInterfacesAreRefused)
{
    for (const char* pchValue : {"lan", "lanplus2", "lanpluslanpluslanplus"}) {
        const HandlerRun run = RunHandler(SaveLanIF, {pchValue});
        EXPECT_EQ(run.iResult, 1);
        EXPECT_EQ(run.sErr, "<ERROR> Unrecognized property value for -n. \n" + S_sInvalid + S_sHint);
        EXPECT_EQ(run.sOut, "");
        EXPECT_EQ(S_choice.eInterfaceInUse, eInterfaceOpenIPMI);
    }
}

TEST_F(InterfaceOptionsTest, LanplusWithoutIpmitool)
{
    const char* pchPath = std::getenv("PATH");
    const std::string sSaved = pchPath != nullptr ? pchPath : "";
    setenv("PATH", m_dir.Path().c_str(), 1);
    G_bVerboseMode = true;
    const HandlerRun run = RunHandler(SaveLanIF, {"lanplus"});
    setenv("PATH", sSaved.c_str(), 1);
    EXPECT_EQ(run.iResult, 1);
    EXPECT_EQ(run.sOut, "ipmitool command not found\n");
    EXPECT_EQ(run.sErr, "\n   Cannot find ipmitool command, please check if it is installed\n");
    EXPECT_EQ(S_choice.eInterfaceInUse, eInterfaceLanPlus);
}

// --- -H ----------------------------------------------------------------------------

TEST_F(InterfaceOptionsTest, HostAddresses)
{
    HandlerRun run = RunHandler(SaveHostIP, {"10.0.0.1"});
    EXPECT_EQ(run.iResult, 0);
    EXPECT_STREQ(S_choice.sIolData.achHostIP, "10.0.0.1");
    for (const char* pchValue : {"192.168.0.300", "10.0.0", "10.0.0.1.", "fe80::1", "bmc"}) {
        run = RunHandler(SaveHostIP, {pchValue});
        EXPECT_EQ(run.iResult, 1) << pchValue;
        EXPECT_EQ(run.sErr, "<ERROR> Invalid IP address for -H. \n" + S_sInvalid + S_sHint) << pchValue;
    }
    run = RunHandler(SaveHostIP, {std::string(60, '1')});
    EXPECT_EQ(run.sErr, "<ERROR> Unrecognized property value for -H. \n" + S_sInvalid + S_sHint);
    EXPECT_STREQ(S_choice.sIolData.achHostIP, "10.0.0.1");
}

TEST_F(InterfaceOptionsTest, HostTrace)
{
    G_bVerboseMode = true;
    EXPECT_EQ(RunHandler(SaveHostIP, {"127.0.0.1"}).sOut, "\nBMC IP address: 127.0.0.1\n");
}

// --- -U / -P -----------------------------------------------------------------------

TEST_F(InterfaceOptionsTest, UserNameUpTo39Characters)
{
    const std::string s39(39, 'u');
    HandlerRun run = RunHandler(SaveUserName, {s39});
    EXPECT_EQ(run.iResult, 0);
    EXPECT_EQ(std::string(S_choice.sIolData.achUserName), s39);
    run = RunHandler(SaveUserName, {std::string(40, 'v')});
    EXPECT_EQ(run.iResult, 1);
    EXPECT_EQ(run.sErr, "<ERROR> Unrecognized property value for -U. \n" + S_sInvalid + S_sHint);
    EXPECT_EQ(std::string(S_choice.sIolData.achUserName), s39);
}

TEST_F(InterfaceOptionsTest, ShorterValueClearsTheField)
{
    RunHandler(SaveUserName, {"administrator"});
    RunHandler(SaveUserName, {"root"});
    EXPECT_STREQ(S_choice.sIolData.achUserName, "root");
    EXPECT_EQ(S_choice.sIolData.achUserName[5], '\0');
}

TEST_F(InterfaceOptionsTest, PasswordKeptWhole)
{
    G_bVerboseMode = true;
    HandlerRun run = RunHandler(SavePassWord, {"my pass,word"});
    EXPECT_EQ(run.iResult, 0);
    EXPECT_STREQ(S_choice.sIolData.achPassword, "my pass,word");
    EXPECT_EQ(run.sOut, "\nBMC User Password: my pass,word\n");
    run = RunHandler(SavePassWord, {std::string(40, 'p')});
    EXPECT_EQ(run.sErr, "<ERROR> Unrecognized property value for -P. \n" + S_sInvalid + S_sHint);
}

// --- -C ------------------------------------------------------------------------------

TEST_F(InterfaceOptionsTest, CipherSuites)
{
    for (const auto& [pchValue, iExpected] :
         std::vector<std::pair<const char*, int>>{{"3", 3}, {"0x80", 128}, {"191", 191}, {"17", 17}}) {
        const HandlerRun run = RunHandler(SaveCipherValue, {pchValue});
        EXPECT_EQ(run.iResult, 0) << pchValue;
        EXPECT_EQ(S_choice.sIolData.u16CipherSuiteID, iExpected) << pchValue;
    }
    for (const char* pchValue : {"20", "0x7F", "192", "-1", "0x"}) {
        const HandlerRun run = RunHandler(SaveCipherValue, {pchValue});
        EXPECT_EQ(run.iResult, 1) << pchValue;
        EXPECT_EQ(run.sErr, "<ERROR> Invalid property value for -C. \n" + S_sInvalid + S_sHint) << pchValue;
    }
    G_bVerboseMode = true;
    EXPECT_EQ(RunHandler(SaveCipherValue, {"0x11"}).sOut, "\nCipher Suite ID: 17\n");
}

// --- missing values ----------------------------------------------------------------

TEST_F(InterfaceOptionsTest, MissingValues)
{
    struct Case {
        int (*pfnHandler)(InterfaceChoice*, unsigned short, char*[]);
        const char* pchMessage;
    } aCases[] = {
        {SaveLanIF, "<ERROR> Please specify the LAN+ interface! \n \n"},
        {SaveHostIP, "<ERROR> Please specify the IP address! \n \n"},
        {SaveUserName, "<ERROR> Please specify the user name! \n \n"},
        {SavePassWord, "<ERROR> Please specify the pasword! \n \n"},
        {SaveCipherValue, "<ERROR> Please specify the cipher suite ID! \n \n"},
        {SetMessagingInterface, "<ERROR> Please specify the messaging interface! \n \n"},
    };
    for (const Case& missingCase : aCases) {
        const HandlerRun run = RunHandler(missingCase.pfnHandler, {});
        EXPECT_EQ(run.iResult, 1);
        EXPECT_EQ(run.sErr, missingCase.pchMessage);
        // A null argument array fails without a word (LAN options).
        if (missingCase.pfnHandler != SetMessagingInterface) {
            CapturedOutput output;
            EXPECT_EQ(missingCase.pfnHandler(&S_choice, 1, nullptr), 1);
            output.Finish();
            EXPECT_EQ(output.Err(), "");
        }
    }
}

// --- -msgintf ------------------------------------------------------------------------

TEST_F(InterfaceOptionsTest, OpenipmiInAnyCase)
{
    S_choice.eInterfaceInUse = eInterfaceLanPlus;
    G_bVerboseMode = true;
    const HandlerRun run = RunHandler(SetMessagingInterface, {"OpenIPMI"});
    EXPECT_EQ(run.iResult, 0);
    EXPECT_EQ(S_choice.eInterfaceInUse, eInterfaceOpenIPMI);
    EXPECT_EQ(run.sOut, "\nMessaging interface in use: OpenIPMI\n");
}

TEST_F(InterfaceOptionsTest, UnknownMessagingInterface)
{
    const HandlerRun run = RunHandler(SetMessagingInterface, {"smic"});
    EXPECT_EQ(run.iResult, 1);
    EXPECT_EQ(run.sErr, "<ERROR> Unrecognized property value for -msgintf. \n" + S_sInvalid);
    EXPECT_EQ(run.sOut, S_sHint);
}

TEST_F(InterfaceOptionsTest, BlankMessagingInterface)
{
    const HandlerRun run = RunHandler(SetMessagingInterface, {" , "});
    EXPECT_EQ(run.iResult, 1);
    EXPECT_EQ(run.sErr, "<ERROR> Unknown property value for -msgintf. \n" + S_sInvalid);
    EXPECT_EQ(run.sOut, S_sHint);
}

TEST_F(InterfaceOptionsTest, KcsioRefusedByAnotherInterfaceInIntfIni)
{
    WriteFile("intf.ini", "OpenIPMI_KCS\nCA2\n");
    const HandlerRun run = RunHandler(SetMessagingInterface, {"kcsio"});
    EXPECT_EQ(run.iResult, 1);
    EXPECT_EQ(run.sErr, "<ERROR> The system interface specified in intf.ini is not allowed!\n");
    EXPECT_EQ(run.sOut, "");
}

// -msgintf kcsio with a controlled module listing, in a death-test child:
// exits with 10 + the interface chosen, or with the handler's failure.
int ChooseKcsio()
{
    std::string sWord = "KCSIO";
    char* apchArgs[] = {sWord.data(), nullptr};
    S_choice.eInterfaceInUse = eInterfaceLanPlus;
    return SetMessagingInterface(&S_choice, 1, apchArgs) == 0 ? 10 + static_cast<int>(S_choice.eInterfaceInUse) : 1;
}

TEST_F(InterfaceOptionsTest, KcsioAcceptedWithoutIntfIniOrModulesDeathTest)
{
    const std::string sListing = "Module Size Used by\\ne1000 1 0\\n";
    EXPECT_EXIT(ExitWithFakeLsmod(&sListing, ChooseKcsio), testing::ExitedWithCode(10 + eInterfaceKCSIO), "^$");
}

TEST_F(InterfaceOptionsTest, KcsioAcceptedWhenTheListingFailsDeathTest)
{
    EXPECT_EXIT(ExitWithFakeLsmod(nullptr, ChooseKcsio), testing::ExitedWithCode(10 + eInterfaceKCSIO), "^$");
}

TEST_F(InterfaceOptionsTest, KcsioRefusedWithIpmiModulesLoadedDeathTest)
{
    const std::string sListing = "Module Size Used by\\nipmi_devintf 20480 0\\n";
    EXPECT_EXIT(ExitWithFakeLsmod(&sListing, ChooseKcsio), testing::ExitedWithCode(1),
                "^<ERROR> -msgintf kcsio cannot be used with IPMI modules loaded.\n" + S_sInvalid + "$");
}

TEST_F(InterfaceOptionsTest, KcsioWithKcsInIntfIniDeathTest)
{
    WriteFile("intf.ini", "KCS\nCA2\nByteBoundary\n");
    const std::string sListing = "";
    EXPECT_EXIT(ExitWithFakeLsmod(&sListing, ChooseKcsio), testing::ExitedWithCode(10 + eInterfaceKCSIO), "^$");
}

}  // namespace
