#include "bmc/talk_to_bmc.h"

#include <unistd.h>
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "cli/entry_point.h"
#include "support/stub_library.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

// Runs in a directory of its own (intf.ini is read from the working
// directory) with the stand-in libraries of the given variant.
class TalkTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(getcwd(m_achSavedDir, sizeof m_achSavedDir), nullptr);
        ASSERT_EQ(chdir(m_dir.Path().c_str()), 0);
        UseVariant("full");
    }
    void TearDown() override
    {
        TerminateConnSession();
        G_pchOpenRawLibrary = "libopenraw.so";
        G_pchKCSIOLibrary = "libkcsio.so";
        EXPECT_EQ(chdir(m_achSavedDir), 0);
    }

    void UseVariant(const std::string& sVariant)
    {
        m_sOpenRaw = StubPath(sVariant, "openraw");
        m_sKCSIO = StubPath(sVariant, "kcsio");
        G_pchOpenRawLibrary = m_sOpenRaw.c_str();
        G_pchKCSIOLibrary = m_sKCSIO.c_str();
        m_openRaw.reset(new StubLibrary(m_sOpenRaw));
        m_kcsio.reset(new StubLibrary(m_sKCSIO));
    }

    TempDir m_dir;
    char m_achSavedDir[4096] = {};
    std::string m_sOpenRaw;
    std::string m_sKCSIO;
    std::unique_ptr<StubLibrary> m_openRaw;
    std::unique_ptr<StubLibrary> m_kcsio;
};

TEST_F(TalkTest, OpenIPMIRawPath)
{
    {
        TTalkToBMC talk(INTERFACE_OPENIPMI_RAW);
        EXPECT_FALSE(talk.IsConnectToBMCOK());
        ASSERT_TRUE(talk.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
        EXPECT_TRUE(talk.IsConnectToBMCOK());
        EXPECT_EQ(m_openRaw->Calls(), "RawOpen;");
        EXPECT_EQ(m_kcsio->Calls(), "");
    }
    EXPECT_EQ(m_openRaw->Calls(), "RawOpen;RawClose;");
}

TEST_F(TalkTest, OpenIPMIReadsNoConfiguration)
{
    WriteFile("intf.ini", "BT\nF\nnonsense\n");
    TTalkToBMC talk(INTERFACE_OPENIPMI_RAW);
    EXPECT_TRUE(talk.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_EQ(talk.GetAddressToFirmwareInfo(), 0);
}

TEST_F(TalkTest, InitTwiceFails)
{
    TTalkToBMC raw(INTERFACE_OPENIPMI_RAW);
    ASSERT_TRUE(raw.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_FALSE(raw.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    TTalkToBMC kcs(INTERFACE_KCS_IO);
    ASSERT_TRUE(kcs.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_FALSE(kcs.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_EQ(m_kcsio->Calls(), "InitKCSIO port=CA8 spacing=1;");
}

TEST_F(TalkTest, MissingEntryPointUnloadsAndFails)
{
    UseVariant("missing");
    TTalkToBMC raw(INTERFACE_OPENIPMI_RAW);
    EXPECT_FALSE(raw.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_FALSE(raw.IsConnectToBMCOK());
    EXPECT_EQ(m_openRaw->Calls(), "");  // RawOpen is never called
    TTalkToBMC kcs(INTERFACE_KCS_IO);
    EXPECT_FALSE(kcs.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_EQ(m_kcsio->Calls(), "");
}

TEST_F(TalkTest, FailingOpenIsReported)
{
    UseVariant("failing");
    TTalkToBMC raw(INTERFACE_OPENIPMI_RAW);
    EXPECT_FALSE(raw.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_EQ(m_openRaw->Calls(), "RawOpen;");
    TTalkToBMC kcs(INTERFACE_KCS_IO);
    EXPECT_FALSE(kcs.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_FALSE(kcs.IsConnectToBMCOK());
}

TEST_F(TalkTest, LibraryThatCannotBeLoaded)
{
    G_pchOpenRawLibrary = "libvaldrn-no-such-library.so";
    TTalkToBMC raw(INTERFACE_OPENIPMI_RAW);
    EXPECT_FALSE(raw.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
}

TEST_F(TalkTest, OtherInterfaceTypes)
{
    TTalkToBMC typeTwo(2);
    EXPECT_FALSE(typeTwo.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));  // needs an argument
    int iArgument = 0;
    EXPECT_FALSE(typeTwo.Init(&iArgument, 0xCA8, ThirtyTwoBitBoundary));  // KCS only
    TTalkToBMC typeOne(1);
    EXPECT_FALSE(typeOne.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_FALSE(typeOne.IsConnectToBMCOK());
    EXPECT_EQ(m_openRaw->Calls() + m_kcsio->Calls(), "");
}

// --- intf.ini -------------------------------------------------------------------

std::string KCSInit(const std::string& sIni, bool* pbInit, StubLibrary& kcsio)
{
    if (!sIni.empty()) {
        WriteFile("intf.ini", sIni);
    } else {
        unlink("intf.ini");
    }
    kcsio.Reset();
    {
        TTalkToBMC talk(INTERFACE_KCS_IO);
        *pbInit = talk.Init(nullptr, 0xCA2, ByteBoundary);
    }
    return kcsio.Calls();
}

TEST_F(TalkTest, WithoutIntfIniInitsArgumentsOfInit)
{
    bool bInit = false;
    EXPECT_EQ(KCSInit("", &bInit, *m_kcsio), "InitKCSIO port=CA2 spacing=0;UinitKCSIO;");
    EXPECT_TRUE(bInit);
}

TEST_F(TalkTest, IntfIniWithOnlyTheInterfaceKeepsThePresets)
{
    bool bInit = false;
    EXPECT_EQ(KCSInit("KCS\n", &bInit, *m_kcsio), "InitKCSIO port=CA8 spacing=1;UinitKCSIO;");
    EXPECT_TRUE(bInit);
}

TEST_F(TalkTest, IntfIniValues)
{
    bool bInit = false;
    EXPECT_EQ(KCSInit("kcs\nCA2\nbyteboundary\n3000\n", &bInit, *m_kcsio), "InitKCSIO port=CA2 spacing=0;UinitKCSIO;");
    EXPECT_TRUE(bInit);
    EXPECT_EQ(KCSInit("KCS_interface of the board\n0x0CA4\nSixteenBitBoundary\n", &bInit, *m_kcsio),
              "InitKCSIO port=CA4 spacing=2;UinitKCSIO;");
    EXPECT_TRUE(bInit);
    EXPECT_EQ(KCSInit("Kcs\n10\nReserved\n", &bInit, *m_kcsio), "InitKCSIO port=10 spacing=3;UinitKCSIO;");
    EXPECT_EQ(KCSInit("KCS\nFFFE\nThirtyTwoBitBoundary\n", &bInit, *m_kcsio),
              "InitKCSIO port=FFFE spacing=1;UinitKCSIO;");
}

TEST_F(TalkTest, IntfIniRefusals)
{
    for (const char* pchIni : {"KCS\nF\n", "KCS\nFFFF\n", "KCS\nxyz\n", "IPMB\n", "\n", "KCS\nCA2\nWordBoundary\n"}) {
        bool bInit = true;
        EXPECT_EQ(KCSInit(pchIni, &bInit, *m_kcsio), "") << pchIni;
        EXPECT_FALSE(bInit) << pchIni;
    }
}

TEST_F(TalkTest, GetConfigReadsTheFourLines)
{
    WriteFile("intf.ini", "SMIC\nca2\nByteBoundary\n4000\n");
    TTalkToBMC talk(INTERFACE_KCS_IO);
    SystemInterface eInterface = SYSTEM_INTERFACE_KCS;
    unsigned short u16Port = 0;
    RegisterSpacing eSpacing = ThirtyTwoBitBoundary;
    long lFirmware = 0;
    EXPECT_EQ(talk.GetConfig(&eInterface, &u16Port, &eSpacing, &lFirmware), TALK_SUCCESS);
    EXPECT_EQ(eInterface, SYSTEM_INTERFACE_SMIC);
    EXPECT_EQ(u16Port, 0xCA2);
    EXPECT_EQ(eSpacing, ByteBoundary);
    EXPECT_EQ(lFirmware, 0x4000);
    WriteFile("intf.ini", "BT\n");
    EXPECT_EQ(talk.GetConfig(&eInterface, &u16Port, &eSpacing, &lFirmware), TALK_SUCCESS);
    EXPECT_EQ(eInterface, SYSTEM_INTERFACE_BT);
    EXPECT_EQ(lFirmware, 0x3000);
    EXPECT_EQ(talk.GetConfig(nullptr, &u16Port, &eSpacing, &lFirmware), TALK_BAD_DATA);
    unlink("intf.ini");
    EXPECT_EQ(talk.GetConfig(&eInterface, &u16Port, &eSpacing, &lFirmware), TALK_CONFIG_MISSING);
    WriteFile("other.ini", "KCS\n0x20\n");
    EXPECT_TRUE(talk.SaveIniFilePath("other.ini"));
    EXPECT_EQ(talk.GetConfig(&eInterface, &u16Port, &eSpacing, &lFirmware), TALK_SUCCESS);
    EXPECT_EQ(u16Port, 0x20);
}

TEST_F(TalkTest, SaveIniFilePathLimits)
{
    TTalkToBMC talk(INTERFACE_KCS_IO);
    EXPECT_FALSE(talk.SaveIniFilePath(nullptr));
    EXPECT_TRUE(talk.SaveIniFilePath(std::string(255, 'p').c_str()));
    EXPECT_FALSE(talk.SaveIniFilePath(std::string(256, 'p').c_str()));
}

// --- requests ---------------------------------------------------------------------

TEST_F(TalkTest, RequestThroughRawRequest)
{
    TTalkToBMC talk(INTERFACE_OPENIPMI_RAW);
    unsigned char au8Request[4] = {0x01, 0x02, 0x03, 0x04};
    unsigned char au8Response[100] = {};
    unsigned short u16Length = 100;
    EXPECT_EQ(talk.RequestBMC(0x0A, 0x23, 0, au8Request, 4, au8Response, &u16Length), TALK_INVALID_HANDLE);
    ASSERT_TRUE(talk.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    m_openRaw->Answer(0, 0x00, {0xAA, 0xBB, 0xCC});
    EXPECT_EQ(talk.RequestBMC(0x0A, 0x23, 1, au8Request, 4, au8Response, &u16Length), TALK_SUCCESS);
    EXPECT_EQ(talk.CompletionCode(), 0x00);
    EXPECT_EQ(u16Length, 3);
    EXPECT_EQ(au8Response[2], 0xCC);
    EXPECT_EQ(m_openRaw->Calls(), "RawOpen;RawRequest 29 23 capacity=100 [01 02 03 04];");
    m_openRaw->Answer(0, 0xC5, {});
    EXPECT_EQ(talk.RequestBMC(0x0A, 0x25, 0, au8Request, 2, au8Response, &u16Length), TALK_SUCCESS);
    EXPECT_EQ(talk.CompletionCode(), 0xC5);  // the BMC's answer is not judged here
    m_openRaw->Answer(5, 0x00, {});
    EXPECT_EQ(talk.RequestBMC(0x06, 0x01, 0, au8Request, 0, au8Response, &u16Length), TALK_LIBRARY_STATUS);
    EXPECT_EQ(std::string(talk.ErrorMessage(TALK_LIBRARY_STATUS)), std::string(strerror(5)));
    EXPECT_EQ(talk.RequestBMC(0x06, 0x01, 0, nullptr, 0, au8Response, &u16Length), TALK_BAD_DATA);
    EXPECT_EQ(talk.CompletionCode(), 0xFF);
}

TEST_F(TalkTest, RequestThroughKCSIORequest)
{
    TTalkToBMC talk(INTERFACE_KCS_IO);
    ASSERT_TRUE(talk.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    unsigned char au8Request[1] = {0x01};
    unsigned char au8Response[100] = {};
    unsigned short u16Length = 100;
    m_kcsio->Answer(0, 0x00, {0x00});
    EXPECT_EQ(talk.RequestBMC(0x0A, 0x2C, 0, au8Request, 1, au8Response, &u16Length), TALK_SUCCESS);
    EXPECT_NE(m_kcsio->Calls().find("KCSIORequest 28 2C capacity=100 [01];"), std::string::npos);
}

TEST_F(TalkTest, IPMBRequestsOnlyThroughTheRawLibrary)
{
    unsigned char au8Request[1] = {0x00};
    unsigned char au8Response[100] = {};
    unsigned short u16Length = 100;
    TTalkToBMC raw(INTERFACE_OPENIPMI_RAW);
    ASSERT_TRUE(raw.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_EQ(raw.RequestIPMB(0x72, 0x06, 0x01, 0, au8Request, 0, au8Response, &u16Length), TALK_SUCCESS);
    EXPECT_NE(m_openRaw->Calls().find("slave=72 RawIPMBRequest 18 01"), std::string::npos);
    TTalkToBMC kcs(INTERFACE_KCS_IO);
    ASSERT_TRUE(kcs.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_EQ(kcs.RequestIPMB(0x72, 0x06, 0x01, 0, au8Request, 0, au8Response, &u16Length), TALK_NOT_SUPPORTED);
}

TEST_F(TalkTest, TimeoutSetters)
{
    TTalkToBMC raw(INTERFACE_OPENIPMI_RAW);
    ASSERT_TRUE(raw.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_FALSE(raw.SetRegisterTimeOut(5));  // no KCS handle
    TTalkToBMC kcs(INTERFACE_KCS_IO);
    ASSERT_TRUE(kcs.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary));
    EXPECT_TRUE(kcs.SetRegisterTimeOut(5));
    EXPECT_TRUE(kcs.SetMessageTransferTimeOut(6));
    EXPECT_TRUE(kcs.SetWaitTimeBeforeReadRsp(7));
    EXPECT_NE(
        m_kcsio->Calls().find("KCSIOSetIOTimeOut 5;KCSIOSetMessageTransferTimeOut 6;KCSIOSetWaitTimeBeforeReadRsp 7;"),
        std::string::npos);
    m_kcsio->Answer(1, 0, {});
    EXPECT_FALSE(kcs.SetRegisterTimeOut(5));
}

TEST_F(TalkTest, ErrorMessages)
{
    TTalkToBMC talk(INTERFACE_OPENIPMI_RAW);
    EXPECT_STREQ(talk.ErrorMessage(0), "Success!");
    EXPECT_STREQ(talk.ErrorMessage(1), "General error!");
    EXPECT_STREQ(talk.ErrorMessage(2), "Interface not supported!");
    EXPECT_STREQ(talk.ErrorMessage(3), "BMC didn't accept the data you sent!");
    EXPECT_STREQ(talk.ErrorMessage(4), "Invalid raw handle!");
    EXPECT_STREQ(talk.ErrorMessage(5), "Failed to load dynamic link library!");
    EXPECT_STREQ(talk.ErrorMessage(6), "Invalid function address!");
    EXPECT_STREQ(talk.ErrorMessage(8), "Unknown error!");
    EXPECT_STREQ(talk.ErrorMessage(-1), "Unknown error!");
}

TEST_F(TalkTest, ClassTracesAreSilent)
{
    CapturedOutput output;
    {
        TTalkToBMC talk(INTERFACE_OPENIPMI_RAW);
        talk.IsConnectToBMCOK();
        talk.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary);
        talk.Init(nullptr, 0xCA8, ThirtyTwoBitBoundary);
        unsigned char au8Buffer[100] = {};
        unsigned short u16Length = 100;
        talk.RequestBMC(6, 1, 0, au8Buffer, 0, au8Buffer, &u16Length);
    }
    output.Finish();
    EXPECT_EQ(output.Out(), "");
    EXPECT_EQ(output.Err(), "");
}

TEST(DllFunctions, NullArguments)
{
    EXPECT_EQ(OpenDllFile(nullptr), nullptr);
    EXPECT_EQ(GetDllFunction(nullptr, "x"), nullptr);
    EXPECT_FALSE(CloseDllFile(nullptr));
}

// --- module functions ------------------------------------------------------------

TEST_F(TalkTest, InitializeKCSForEachLocalInterface)
{
    EXPECT_TRUE(InitializeKCS(eInterfaceOpenIPMI));
    ASSERT_NE(G_pTalkBMC, nullptr);
    EXPECT_EQ(m_openRaw->Calls(), "RawOpen;");
    TerminateKCS();
    EXPECT_EQ(G_pTalkBMC, nullptr);
    EXPECT_EQ(m_openRaw->Calls(), "RawOpen;RawClose;");
    EXPECT_TRUE(InitializeKCS(eInterfaceKCSIO));
    EXPECT_EQ(m_kcsio->Calls(), "InitKCSIO port=CA8 spacing=1;");
}

TEST_F(TalkTest, InitializeKCSFailure)
{
    UseVariant("failing");
    CapturedOutput output;
    EXPECT_FALSE(InitializeKCS(eInterfaceOpenIPMI));
    output.Finish();
    EXPECT_EQ(output.Err(), "\n\nKCS initialization error. Please check configuration.\n\n");
    EXPECT_NE(G_pTalkBMC, nullptr);  // kept for TerminateConnSession
    TerminateConnSession();
    EXPECT_EQ(G_pTalkBMC, nullptr);
}

TEST_F(TalkTest, CheckKCS)
{
    char* apchArgs[1] = {nullptr};
    const InterfaceChoice local;
    EXPECT_EQ(CheckKCS(local, 0, apchArgs), 1);  // the engine's array: no probe
    EXPECT_EQ(m_openRaw->Calls(), "");
    CapturedOutput output;
    EXPECT_EQ(CheckKCS(local, 0, nullptr), 0);
    output.Finish();
    EXPECT_EQ(output.Out(), "\n\nKCS is available\n");
    EXPECT_EQ(m_openRaw->Calls(), "RawOpen;RawClose;");  // probed, then closed
    EXPECT_EQ(G_pTalkBMC, nullptr);
    UseVariant("failing");
    CapturedOutput failure;
    EXPECT_EQ(CheckKCS(local, 0, nullptr), 1);
    failure.Finish();
    EXPECT_EQ(failure.Err(), "\n\nKCS initialization error. Please check configuration.\n\n");
}

}  // namespace
