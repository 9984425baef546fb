#include "cli/entry_point.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "cli/interface_options.h"
#include "support/test_support.h"

using valdrn_test::CapturedOutput;

namespace {

const std::string S_sRule = std::string(79, '-') + "\n";

int FailingHandler(unsigned short, char*[])
{
    return 1;
}
int SucceedingHandler(unsigned short, char*[])
{
    return 0;
}

std::vector<char*> Argv(std::vector<std::string>& asWords)
{
    std::vector<char*> apchArgv = {const_cast<char*>("VALDRN")};
    for (auto& sWord : asWords) {
        apchArgv.push_back(sWord.data());
    }
    apchArgv.push_back(nullptr);
    return apchArgv;
}

class RunCommandLineTest : public testing::Test {
protected:
    void SetUp() override
    {
        m_engine.FunctionRegistry("h", 0, 0, SucceedingHandler);
        m_engine.FunctionRegistry("d", 2, 1, FailingHandler);
        m_engine.FunctionRegistry("t", 2, 1, SucceedingHandler);
        m_engine.FunctionRegistry("debugmsg", 0, 0, SucceedingHandler);
    }

    int Run(std::vector<std::string> asWords, CapturedOutput& output)
    {
        std::vector<char*> apchArgv = Argv(asWords);
        const int iStatus =
            TriggerCommandLine(m_engine, static_cast<int>(apchArgv.size() - 1), apchArgv.data(), m_interface);
        output.Finish();
        return iStatus;
    }

    TCommandLineExecution m_engine{15};
    InterfaceChoice m_interface;
};

const char* const S_pchKcsNote =
    "\nNote: If the option, -msgintf kcsio, is used,\n      make sure KCS driver modules are not loaded!\n\n";

TEST(ProductHeader, IsRuleTitleNoticeRule)
{
    CapturedOutput output;
    ShowProductHeader();
    output.Finish();
    const std::string sExpected = S_sRule + std::string(26, ' ') + "Valdrin Utility\n" + std::string(8, ' ') +
                                  "Copyright (C) 2026 The VALDRN Project. IPMI SDR and FRU tool.\n" + S_sRule;
    EXPECT_EQ(output.Out(), sExpected);
    EXPECT_EQ(output.Err(), "");
}

TEST(Version, PrintsVersionAndPlatform)
{
    CapturedOutput output;
    EXPECT_EQ(ShowVersion(0, nullptr), 0);
    output.Finish();
    EXPECT_EQ(output.Out(), "\n\n Version 1.24.3.112 (Linux) \n\n");
}

TEST(Help, StartsWithUsageAndEndsWithExamples)
{
    CapturedOutput output;
    EXPECT_EQ(ShowHelp(0, nullptr), 0);
    output.Finish();
    const std::string& sHelp = output.Out();
    EXPECT_EQ(sHelp.rfind("Usage: VALDRN Options [Filename] [fruID=FruID] \n\nOptions: \n", 0), 0u);
    const std::string sTail =
        "Example:\n"
        "    VALDRN -d ToBMC.sdr\n"
        "    VALDRN -debugmsg -u ToLocal.sdr encoding=ascii\n"
        "    VALDRN -v ToLocal.fru fruID=0x00\n"
        "    VALDRN -updateFRU fieldName=datetime offset=0x1B fruID=0x00\n"
        "    VALDRN -updateFRU fieldName=snProduct offset=0x60 strType=3\n"
        "                      strLength=0x05 strValue=\"12345\" fruID=0x00\n"
        "    VALDRN -d ToLocal.sdr -msgintf kcsio\n\n";
    ASSERT_GE(sHelp.size(), sTail.size());
    EXPECT_EQ(sHelp.substr(sHelp.size() - sTail.size()), sTail);
    // puts lines that carry their own "\n" end in an empty line.
    EXPECT_NE(sHelp.find("default is openipmi \n\n    -n lanplus"), std::string::npos);
    EXPECT_NE(sHelp.find("Cipher Suite ID.\n\nFilename: \n"), std::string::npos);
    EXPECT_NE(sHelp.find("(Max: 0xFF) \n\nExample:\n"), std::string::npos);
    // -kcs is a hidden option.
    EXPECT_EQ(sHelp.find("kcs "), std::string::npos);
}

TEST(VerboseModeHandler, SetsTheFlag)
{
    G_bVerboseMode = false;
    EXPECT_EQ(VerboseMode(0, nullptr), 0);
    EXPECT_TRUE(G_bVerboseMode);
    G_bVerboseMode = false;
}

TEST(RegisterFunctionOrExitDeathTest, FailureExitsWithThree)
{
    TCommandLineExecution engine(15);
    EXPECT_EXIT(RegisterFunctionOrExit(engine, nullptr, 0, 0, SucceedingHandler), testing::ExitedWithCode(3),
                "^<ERROR> Register Function is failed. \nInvalid operations. \n$");
}

TEST(RegisterFunctionOrExit, SuccessRegisters)
{
    TCommandLineExecution engine(15);
    RegisterFunctionOrExit(engine, "h", 0, 0, SucceedingHandler);
    EXPECT_EQ(engine.RegisteredCount(), 1);
}

TEST(ParseCommandLineWrapper, ReturnsOneOrZero)
{
    TCommandLineExecution engine(15);
    engine.FunctionRegistry("h", 0, 0, SucceedingHandler);
    engine.FunctionRegistry("debugmsg", 0, 0, SucceedingHandler);
    std::vector<std::string> asGood = {"-h"};
    auto apchGood = Argv(asGood);
    EXPECT_EQ(ParseCommandLine(2, apchGood.data(), engine), 1);
    TCommandLineExecution other(15);
    other.FunctionRegistry("h", 0, 0, SucceedingHandler);
    std::vector<std::string> asBad = {"-x"};
    auto apchBad = Argv(asBad);
    EXPECT_EQ(ParseCommandLine(2, apchBad.data(), other), 0);
    EXPECT_EQ(other.ReturnCode(), eRC_UnrecognizedOption);
}

TEST(ShowBadCommandLineTest, PrintsMessageAndHint)
{
    TCommandLineExecution engine(15);
    engine.FunctionRegistry("h", 0, 0, SucceedingHandler);
    std::vector<std::string> asWords = {"-h", "-h"};
    auto apchArgv = Argv(asWords);
    ParseCommandLine(3, apchArgv.data(), engine);
    CapturedOutput output;
    ShowBadCommandLine(engine);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Duplicate command option. \nInvalid operations. \nUse VALDRN -h for help.\n");
    EXPECT_EQ(output.Out(), "");
}

TEST_F(RunCommandLineTest, RejectedLineIsStatusFour)
{
    CapturedOutput output;
    EXPECT_EQ(Run({"-d"}, output), 4);
    EXPECT_EQ(output.Err(), "<ERROR> Incorrect command format. \nInvalid operations. \nUse VALDRN -h for help.\n");
}

TEST_F(RunCommandLineTest, SuccessIsStatusZero)
{
    CapturedOutput output;
    EXPECT_EQ(Run({"-t", "a.sdr", "-debugmsg"}, output), 0);
    EXPECT_EQ(output.Err(), "");
}

TEST_F(RunCommandLineTest, FailureOnLocalInterfaceAddsTheKcsNote)
{
    for (unsigned int uInterface : {0u, 1u}) {
        TCommandLineExecution engine(15);
        engine.FunctionRegistry("d", 2, 1, FailingHandler);
        engine.FunctionRegistry("debugmsg", 0, 0, SucceedingHandler);
        InterfaceChoice interface;
        interface.eInterfaceInUse = uInterface;
        std::vector<std::string> asWords = {"-d", "a.sdr"};
        auto apchArgv = Argv(asWords);
        CapturedOutput output;
        EXPECT_EQ(TriggerCommandLine(engine, 3, apchArgv.data(), interface), 1);
        output.Finish();
        EXPECT_EQ(output.Err(), S_pchKcsNote);
        EXPECT_EQ(output.Out(), "");
    }
}

TEST_F(RunCommandLineTest, FailureOnLanPlusHasNoNote)
{
    m_interface.eInterfaceInUse = eInterfaceLanPlus;
    CapturedOutput output;
    EXPECT_EQ(Run({"-d", "a.sdr"}, output), 1);
    EXPECT_EQ(output.Err(), "");
}

TEST(RunCommandLineLan, IncompleteLanOptionsAreStatusFour)
{
    TCommandLineExecution engine(15);
    engine.FunctionRegistry("d", 2, 1, SucceedingHandler);
    for (const char* pchName : {"n", "H", "U", "P", "C"}) {
        engine.FunctionRegistry(pchName, 1, 1, SucceedingHandler);
    }
    engine.FunctionRegistry("debugmsg", 0, 0, SucceedingHandler);
    std::vector<std::string> asWords = {"-d", "a.sdr", "-n", "lanplus", "-H", "10.0.0.1"};
    auto apchArgv = Argv(asWords);
    CapturedOutput output;
    EXPECT_EQ(TriggerCommandLine(engine, 7, apchArgv.data(), InterfaceChoice{}), 4);
    output.Finish();
    EXPECT_EQ(output.Err(),
              "<ERROR> Invalid LAN+ interface options. \nInvalid operations. \nUse VALDRN -h for help.\n");
}

}  // namespace

namespace {

TEST(ParseCommandLineWrapper, HugeCommandLineIsRejectedNotWrapped)
{
    // 65537 words would wrap to a one-word line in 16 bits; it must be
    // refused as a whole instead.
    TCommandLineExecution engine(15);
    engine.FunctionRegistry("h", 0, 0, SucceedingHandler);
    engine.FunctionRegistry("debugmsg", 0, 0, SucceedingHandler);
    std::vector<std::string> asWords(65537, "x");
    asWords[0] = "-h";
    auto apchArgv = Argv(asWords);
    EXPECT_EQ(ParseCommandLine(static_cast<int>(apchArgv.size() - 1), apchArgv.data(), engine), 0);
    EXPECT_EQ(engine.ReturnCode(), eRC_IncorrectFormat);
}

}  // namespace
