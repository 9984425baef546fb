#include "cli/environment_checks.h"

#include <cstdlib>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

int CheckVerbosely()
{
    G_bVerboseMode = true;
    return CheckForLoadedIPMIModules();
}

TEST(CheckForLoadedIPMIModulesDeathTest, ModuleListed)
{
    const std::string sListing = "Module                  Size  Used by\\nipmi_si 86016 0\\nipmi_devintf 20480 0\\n";
    EXPECT_EXIT(ExitWithFakeLsmod(&sListing, CheckVerbosely), testing::ExitedWithCode(19), "");
}

TEST(CheckForLoadedIPMIModulesDeathTest, NoIpmiModule)
{
    const std::string sListing = "Module                  Size  Used by\\ne1000 1 0\\nipv6 2 0\\n";
    EXPECT_EXIT(ExitWithFakeLsmod(&sListing, CheckVerbosely), testing::ExitedWithCode(0), "");
}

TEST(CheckForLoadedIPMIModulesDeathTest, NoLsmodCommand)
{
    EXPECT_EXIT(ExitWithFakeLsmod(nullptr, CheckVerbosely), testing::ExitedWithCode(1), "");
}

TEST(CheckForLoadedIPMIModulesTest, TracesWhatItFinds)
{
    // On this machine, whatever it is, the trace names the outcome.
    G_bVerboseMode = true;
    CapturedOutput output;
    const int iResult = CheckForLoadedIPMIModules();
    output.Finish();
    G_bVerboseMode = false;
    const std::string sFirst = "Check for loaded IPMI module(s).\n";
    switch (iResult) {
    case ENV_CHECK_OK:
        EXPECT_EQ(output.Out(), sFirst);
        break;
    case ENV_CHECK_LISTING_FAILED:
        EXPECT_EQ(output.Out(), sFirst + "/sbin/lsmod failed\n");
        break;
    case ENV_CHECK_IPMI_MODULES_LOADED:
        EXPECT_EQ(output.Out(), sFirst + "IPMI module(s) found!\n");
        break;
    default:
        ADD_FAILURE() << "unexpected result " << iResult;
    }
    EXPECT_EQ(output.Err(), "");
}

// Runs the intf.ini check in a directory of its own.
class ConfigFileTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(getcwd(m_achSavedDir, sizeof m_achSavedDir), nullptr);
        ASSERT_EQ(chdir(m_dir.Path().c_str()), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(chdir(m_achSavedDir), 0);
        G_bVerboseMode = false;
    }
    int Check(const std::string& sContent)
    {
        WriteFile("intf.ini", sContent);
        return CheckSystemInterfaceInConfigFile("KCS");
    }

    TempDir m_dir;
    char m_achSavedDir[4096] = {};
};

TEST_F(ConfigFileTest, NoFileIsNoObjection)
{
    EXPECT_EQ(CheckSystemInterfaceInConfigFile("KCS"), 0);
}

TEST_F(ConfigFileTest, FirstTokenDecides)
{
    EXPECT_EQ(Check("KCS\nCA2\nByteBoundary\n"), 0);
    EXPECT_EQ(Check("KCS_interface\n"), 0);  // "_" separates tokens
    EXPECT_EQ(Check("  KCS  \r\n"), 0);
    EXPECT_EQ(Check(""), 0);
    EXPECT_EQ(Check("\n"), 0);
    EXPECT_EQ(Check("OpenIPMI_KCS\n"), 20);
    EXPECT_EQ(Check("kcs\n"), 20);  // exact comparison
    EXPECT_EQ(Check("BT\n"), 20);
}

TEST_F(ConfigFileTest, MismatchIsTraced)
{
    G_bVerboseMode = true;
    CapturedOutput output;
    EXPECT_EQ(Check("SMIC\n"), 20);
    output.Finish();
    EXPECT_EQ(output.Out(), "System Interface in intf.ini is SMIC, should be KCS!\n");
}

TEST_F(ConfigFileTest, OnlyTheFirst63CharactersOfTheLineAreRead)
{
    EXPECT_EQ(Check(std::string(70, ' ') + "OTHER\n"), 0);
}

TEST(CheckIpmitoolInstalledTest, FoundOnThePath)
{
    EXPECT_TRUE(CheckIpmitoolInstalled()) << "ipmitool is installed by the set-up script";
}

TEST(CheckIpmitoolInstalledTest, NotFoundWithoutIt)
{
    TempDir emptyDir;
    const char* pchPath = std::getenv("PATH");
    const std::string sSaved = pchPath != nullptr ? pchPath : "";
    setenv("PATH", emptyDir.Path().c_str(), 1);
    const bool bFound = CheckIpmitoolInstalled();
    setenv("PATH", sSaved.c_str(), 1);
    EXPECT_FALSE(bFound);
}

}  // namespace
