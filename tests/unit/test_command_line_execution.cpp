#include "cli/command_line_execution.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace {

// Every handler call, as "name:argc:arg1,arg2".
std::vector<std::string> g_asCalls;
int g_iFailingRegistryIndex = -1;

template <int N>
int RecordingHandler(unsigned short u16ArgCount, char* apchArgs[])
{
    static const char* const apchNames[] = {"h", "d", "u", "v", "t", "version",   "kcs",     "msgintf",
                                            "n", "H", "U", "P", "C", "updateFRU", "debugmsg"};
    std::string sCall = std::string(apchNames[N]) + ":" + std::to_string(u16ArgCount) + ":";
    for (unsigned int i = 0; i < u16ArgCount; ++i) {
        sCall += (i ? "," : "") + std::string(apchArgs[i]);
    }
    g_asCalls.push_back(sCall);
    return N == g_iFailingRegistryIndex ? 1 : 0;
}

// The program's option table, with handlers that record their calls.
void RegisterProgramTable(TCommandLineExecution& engine)
{
    struct Row {
        const char* pchName;
        unsigned char u8Max;
        unsigned char u8Min;
        TOptionHandler pfn;
    };
    const Row asRows[] = {
        {"h", 0, 0, RecordingHandler<0>},         {"d", 2, 1, RecordingHandler<1>},
        {"u", 3, 2, RecordingHandler<2>},         {"v", 2, 1, RecordingHandler<3>},
        {"t", 2, 1, RecordingHandler<4>},         {"version", 0, 0, RecordingHandler<5>},
        {"kcs", 0, 0, RecordingHandler<6>},       {"msgintf", 1, 1, RecordingHandler<7>},
        {"n", 1, 1, RecordingHandler<8>},         {"H", 1, 1, RecordingHandler<9>},
        {"U", 1, 1, RecordingHandler<10>},        {"P", 1, 1, RecordingHandler<11>},
        {"C", 1, 1, RecordingHandler<12>},        {"updateFRU", 6, 3, RecordingHandler<13>},
        {"debugmsg", 0, 0, RecordingHandler<14>},
    };
    for (const Row& row : asRows) {
        ASSERT_EQ(engine.FunctionRegistry(row.pchName, row.u8Max, row.u8Min, row.pfn), eRC_Success);
    }
}

// Each parse gets a fresh engine with the program's table: an engine is
// used for one command line only (the given flags stay set).
class EngineTest : public testing::Test {
protected:
    void SetUp() override
    {
        g_asCalls.clear();
        g_iFailingRegistryIndex = -1;
    }

    // Parses "VALDRN" followed by the words; returns the parse result.
    int Parse(const std::vector<std::string>& asWords)
    {
        m_pEngine = std::make_unique<TCommandLineExecution>(15);
        RegisterProgramTable(*m_pEngine);
        m_asStore = asWords;
        m_apchArgv.clear();
        m_apchArgv.push_back(const_cast<char*>("VALDRN"));
        for (auto& sWord : m_asStore) {
            m_apchArgv.push_back(sWord.data());
        }
        m_apchArgv.push_back(nullptr);
        return m_pEngine->ParseCommandOptions(static_cast<short>(m_apchArgv.size() - 1), m_apchArgv.data());
    }

    void ExpectRejected(const std::vector<std::string>& asWords, eReturnCodeTag eCode)
    {
        EXPECT_EQ(Parse(asWords), 0);
        EXPECT_EQ(m_pEngine->ReturnCode(), eCode);
    }

    void ExpectAccepted(const std::vector<std::string>& asWords)
    {
        EXPECT_EQ(Parse(asWords), 1);
        EXPECT_EQ(m_pEngine->ReturnCode(), eRC_Success);
    }

    TCommandLineExecution& Engine() { return *m_pEngine; }

    std::unique_ptr<TCommandLineExecution> m_pEngine;
    std::vector<std::string> m_asStore;
    std::vector<char*> m_apchArgv;
};

TEST(EngineConstruction, StartsEmpty)
{
    TCommandLineExecution engine(15);
    EXPECT_EQ(engine.ReturnCode(), eRC_Success);
    EXPECT_EQ(engine.RegisteredCount(), 0);
    EXPECT_EQ(engine.GivenCount(), 0);
    EXPECT_EQ(engine.ExecutedCount(), 0);
    EXPECT_EQ(engine.Trigger(), 0);
}

TEST(EngineRegistration, NullNameOrHandlerFails)
{
    TCommandLineExecution engine(15);
    EXPECT_EQ(engine.FunctionRegistry(nullptr, 0, 0, RecordingHandler<0>), eRC_RegisterFailed);
    EXPECT_EQ(engine.ReturnCode(), eRC_RegisterFailed);
    EXPECT_EQ(engine.FunctionRegistry("h", 0, 0, nullptr), eRC_RegisterFailed);
    EXPECT_EQ(engine.RegisteredCount(), 0);
    EXPECT_EQ(engine.FunctionRegistry("h", 0, 0, RecordingHandler<0>), eRC_Success);
    EXPECT_EQ(engine.ReturnCode(), eRC_Success);
    EXPECT_EQ(engine.RegisteredCount(), 1);
}

TEST(EngineRegistration, CapacityIsABound)
{
    TCommandLineExecution engine(2);
    EXPECT_EQ(engine.FunctionRegistry("a", 0, 0, RecordingHandler<0>), eRC_Success);
    EXPECT_EQ(engine.FunctionRegistry("b", 0, 0, RecordingHandler<0>), eRC_Success);
    EXPECT_EQ(engine.FunctionRegistry("c", 0, 0, RecordingHandler<0>), eRC_RegisterFailed);
    EXPECT_EQ(engine.RegisteredCount(), 2);
}

TEST(EngineRegistration, NameMustFitItsBuffer)
{
    TCommandLineExecution engine(3);
    EXPECT_EQ(engine.FunctionRegistry("abcdefghijklmnopq", 0, 0, RecordingHandler<0>), eRC_Success);          // 17
    EXPECT_EQ(engine.FunctionRegistry("abcdefghijklmnopqr", 0, 0, RecordingHandler<0>), eRC_RegisterFailed);  // 18
    EXPECT_EQ(engine.RegisteredCount(), 1);
}

TEST_F(EngineTest, NoArgumentsIsCodeOne)
{
    ExpectRejected({}, eRC_NoCommandOption);
    TCommandLineExecution engine(15);
    EXPECT_EQ(engine.ParseCommandOptions(0, nullptr), 0);
    EXPECT_EQ(engine.ReturnCode(), eRC_NoCommandOption);
}

TEST_F(EngineTest, EngineIsNotReusable)
{
    ExpectAccepted({"-t", "a.sdr"});
    std::vector<char*> apchArgv = {const_cast<char*>("VALDRN"), const_cast<char*>("-t"), const_cast<char*>("b")};
    EXPECT_EQ(Engine().ParseCommandOptions(3, apchArgv.data()), 0);
    EXPECT_EQ(Engine().ReturnCode(), eRC_DuplicateOption);
}

TEST(EngineModifier, LoneModifierIsCodeFive)
{
    // With an operation registered last, that operation is the modifier;
    // given alone it is refused as a malformed line.
    TCommandLineExecution engine(2);
    engine.FunctionRegistry("debugmsg", 0, 0, RecordingHandler<14>);
    engine.FunctionRegistry("h", 0, 0, RecordingHandler<0>);
    std::vector<char*> apchArgv = {const_cast<char*>("VALDRN"), const_cast<char*>("-h")};
    EXPECT_EQ(engine.ParseCommandOptions(2, apchArgv.data()), 0);
    EXPECT_EQ(engine.ReturnCode(), eRC_IncorrectFormat);
}

TEST_F(EngineTest, DownloadWithoutFileIsCodeFive)
{
    ExpectRejected({"-d"}, eRC_IncorrectFormat);
    EXPECT_EQ(Engine().GivenCount(), 1);
    EXPECT_EQ(Engine().GivenArgumentCount(0), 0);
}

TEST_F(EngineTest, TooManyArgumentsIsCodeFive)
{
    ExpectRejected({"-d", "a.sdr", "b", "c"}, eRC_IncorrectFormat);
    EXPECT_EQ(Engine().GivenArgumentCount(0), 3);
}

TEST_F(EngineTest, UploadWithTrailingDebugmsgIsAccepted)
{
    ExpectAccepted({"-u", "out.sdr", "encoding=ascii", "-debugmsg"});
    EXPECT_EQ(Engine().GivenCount(), 2);
}

TEST_F(EngineTest, TwoZeroArgumentOptionsAreIncompatible)
{
    ExpectRejected({"-h", "-debugmsg"}, eRC_IncompatibleOptions);
}

TEST_F(EngineTest, DuplicateIsReportedBeforeIncompatible)
{
    ExpectRejected({"-d", "a.sdr", "-d", "b.sdr"}, eRC_DuplicateOption);
}

TEST_F(EngineTest, TwoOperationsAreIncompatible)
{
    ExpectRejected({"-d", "a.sdr", "-v", "b.sdr"}, eRC_IncompatibleOptions);
    ExpectRejected({"-t", "a.sdr", "-updateFRU", "a", "b", "c"}, eRC_IncompatibleOptions);
}

TEST_F(EngineTest, MsgintfWithLanIsIncompatible)
{
    ExpectRejected({"-d", "a.sdr", "-msgintf", "kcsio", "-n", "lanplus", "-H", "h", "-U", "u", "-P", "p", "-C", "3"},
                   eRC_IncompatibleOptions);
}

TEST_F(EngineTest, IncompleteLanOptionsAreCodeSeven)
{
    ExpectRejected({"-d", "a.sdr", "-n", "lanplus", "-H", "10.0.0.1"}, eRC_InvalidLanOptions);
    ExpectRejected({"-d", "a.sdr", "-C", "3"}, eRC_InvalidLanOptions);
}

TEST_F(EngineTest, CompleteLanOptionsAreAccepted)
{
    ExpectAccepted({"-d", "a.sdr", "-n", "lanplus", "-H", "h", "-U", "u", "-P", "p", "-C", "3"});
}

TEST_F(EngineTest, UnknownOptionIsCodeSix)
{
    ExpectRejected({"-x"}, eRC_UnrecognizedOption);
}

TEST_F(EngineTest, NamesAreCaseSensitive)
{
    ExpectRejected({"-D", "a.sdr"}, eRC_UnrecognizedOption);
}

TEST_F(EngineTest, BareDashOrSlashIsCodeFive)
{
    ExpectRejected({"-"}, eRC_IncorrectFormat);
    ExpectRejected({"/"}, eRC_IncorrectFormat);
}

TEST_F(EngineTest, BareDashLaterIsUnrecognized)
{
    ExpectRejected({"-d", "a.sdr", "-"}, eRC_UnrecognizedOption);
}

TEST_F(EngineTest, FirstWordMustBeAnOption)
{
    ExpectRejected({"file.sdr", "-d"}, eRC_IncorrectFormat);
    ExpectRejected({""}, eRC_IncorrectFormat);
}

TEST_F(EngineTest, AbsolutePathIsTakenForAnOption)
{
    ExpectRejected({"-d", "/tmp/a.sdr"}, eRC_UnrecognizedOption);
}

TEST_F(EngineTest, SlashIntroducesOptions)
{
    ExpectAccepted({"/d", "a.sdr", "/debugmsg"});
}

TEST_F(EngineTest, DebugmsgAloneHasNoOperation)
{
    ExpectRejected({"-debugmsg"}, eRC_NoOperation);
    ExpectRejected({"-msgintf", "kcsio"}, eRC_NoOperation);
}

TEST_F(EngineTest, StandAloneOptionsRejectCompanions)
{
    ExpectRejected({"-h", "-version"}, eRC_IncompatibleOptions);
    ExpectRejected({"-version", "-d", "a.sdr"}, eRC_IncompatibleOptions);
    ExpectRejected({"-kcs", "-d", "a.sdr"}, eRC_IncompatibleOptions);
    ExpectRejected({"-kcs", "-h"}, eRC_IncompatibleOptions);
    ExpectRejected({"-kcs"}, eRC_NoOperation);  // -kcs is not an operation
    ExpectAccepted({"-version"});
}

TEST_F(EngineTest, ZeroArgumentOptionWithArgumentIsCodeFive)
{
    ExpectRejected({"-h", "extra"}, eRC_IncorrectFormat);
}

TEST_F(EngineTest, ArgumentsBeyondTheStoreAreRefusedWithoutOverrun)
{
    std::vector<std::string> asWords = {"-updateFRU"};
    for (int i = 0; i < 16; ++i) {
        asWords.push_back("a" + std::to_string(i));
    }
    ExpectRejected(asWords, eRC_IncorrectFormat);
    EXPECT_EQ(Engine().GivenArgumentCount(0), 16);
}

TEST_F(EngineTest, ArgumentCountSaturates)
{
    std::vector<std::string> asWords = {"-d"};
    for (int i = 0; i < 300; ++i) {
        asWords.push_back("f" + std::to_string(i));
    }
    ExpectRejected(asWords, eRC_IncorrectFormat);
    EXPECT_EQ(Engine().GivenArgumentCount(0), 255);
}

TEST_F(EngineTest, RejectedParseRunsNoHandler)
{
    ExpectRejected({"-d", "a.sdr", "-v", "b.sdr"}, eRC_IncompatibleOptions);
    EXPECT_TRUE(g_asCalls.empty());
}

TEST_F(EngineTest, TriggerRunsModifiersThenInterfaceThenOperation)
{
    ExpectAccepted({"-d", "a.sdr", "fruID=1", "-msgintf", "kcsio", "-debugmsg"});
    EXPECT_EQ(Engine().Trigger(), 0);
    EXPECT_EQ(g_asCalls, (std::vector<std::string>{"debugmsg:0:", "msgintf:1:kcsio", "d:2:a.sdr,fruID=1"}));
    EXPECT_EQ(Engine().ExecutedCount(), 3);
    EXPECT_EQ(Engine().ExecutedRegistryIndex(0), 14);
    EXPECT_EQ(Engine().ExecutedRegistryIndex(1), 7);
    EXPECT_EQ(Engine().ExecutedRegistryIndex(2), 1);
}

TEST_F(EngineTest, InterfaceOptionsRunInCommandLineOrder)
{
    ExpectAccepted({"-v", "x.fru", "-C", "3", "-P", "p", "-U", "u", "-H", "h", "-n", "lanplus"});
    EXPECT_EQ(Engine().Trigger(), 0);
    EXPECT_EQ(g_asCalls, (std::vector<std::string>{"C:1:3", "P:1:p", "U:1:u", "H:1:h", "n:1:lanplus", "v:1:x.fru"}));
}

TEST_F(EngineTest, FirstFailingHandlerStopsTheRun)
{
    g_iFailingRegistryIndex = 7;  // msgintf
    ExpectAccepted({"-d", "a.sdr", "-msgintf", "bad", "-debugmsg"});
    EXPECT_EQ(Engine().Trigger(), 1);
    EXPECT_EQ(g_asCalls, (std::vector<std::string>{"debugmsg:0:", "msgintf:1:bad"}));
    EXPECT_EQ(Engine().ExecutedCount(), 2);
    EXPECT_EQ(Engine().ExecutedResult(1), 1);
}

TEST_F(EngineTest, NumberedTriggerRunsOneGivenOption)
{
    ExpectAccepted({"-t", "a.sdr", "-debugmsg"});
    EXPECT_EQ(Engine().Trigger(5), 0);  // "t" is the fifth registration
    EXPECT_EQ(g_asCalls, (std::vector<std::string>{"t:1:a.sdr"}));
    EXPECT_EQ(Engine().ExecutedRegistryIndex(0), 4);
}

TEST_F(EngineTest, NumberedTriggerOfAnOptionNotGiven)
{
    ExpectAccepted({"-t", "a.sdr"});
    EXPECT_EQ(Engine().Trigger(1), eRC_IncompatibleOptions);
    EXPECT_EQ(Engine().Trigger(16), eRC_IncompatibleOptions);  // index 15 == registered count
    EXPECT_EQ(Engine().Trigger(17), eRC_IncompatibleOptions);
    EXPECT_EQ(Engine().Trigger(0), eRC_IncompatibleOptions);  // wraps to 0xFFFF
    EXPECT_TRUE(g_asCalls.empty());
}

TEST_F(EngineTest, NumberedTriggerReturnsTheHandlerResult)
{
    g_iFailingRegistryIndex = 4;
    ExpectAccepted({"-t", "a.sdr"});
    EXPECT_EQ(Engine().Trigger(5), 1);
}

struct MessageCase {
    std::vector<std::string> asWords;
    const char* pchMessage;
};

TEST_F(EngineTest, ReturnCodeMessages)
{
    const MessageCase aCases[] = {
        {{}, "<ERROR> No command option specified. \n"},
        {{"-h", "-version"}, "<ERROR> Incompatible options are specified. \n"},
        {{"-d", "a", "-d", "b"}, "<ERROR> Duplicate command option. \n"},
        {{"-"}, "<ERROR> Incorrect command format. \n"},
        {{"-x"}, "<ERROR> Unrecognized command option. \n"},
        {{"-d", "a", "-n", "lanplus"}, "<ERROR> Invalid LAN+ interface options. \n"},
        {{"-debugmsg"}, "<ERROR> No operational command specified. (-d/-u/-v/-t/-h/-version/-updateFRU) \n"},
        {{"-h"}, "<ERROR> Unrecognized error code!! \n"},  // success has no message of its own
    };
    for (const MessageCase& messageCase : aCases) {
        TCommandLineExecution engine(15);
        RegisterProgramTable(engine);
        std::vector<std::string> asStore = messageCase.asWords;
        std::vector<char*> apchArgv = {const_cast<char*>("VALDRN")};
        for (auto& sWord : asStore) {
            apchArgv.push_back(sWord.data());
        }
        engine.ParseCommandOptions(static_cast<short>(apchArgv.size()), apchArgv.data());
        valdrn_test::CapturedOutput output;
        engine.ShowOptionReturnCodeString(stderr);
        output.Finish();
        EXPECT_EQ(output.Err(), std::string(messageCase.pchMessage) + "Invalid operations. \n");
        EXPECT_EQ(output.Out(), "");
    }
}

TEST(EngineMessages, RegistrationFailureMessage)
{
    TCommandLineExecution engine(1);
    engine.FunctionRegistry(nullptr, 0, 0, nullptr);
    valdrn_test::CapturedOutput output;
    engine.ShowOptionReturnCodeString(stdout);
    output.Finish();
    EXPECT_EQ(output.Out(), "<ERROR> Register Function is failed. \nInvalid operations. \n");
}

TEST(EngineLimits, MoreOptionsThanTheGivenStoreAreRefused)
{
    // Only possible with a registry larger than the program's own.
    TCommandLineExecution engine(20);
    std::vector<std::string> asNames;
    for (int i = 0; i < 19; ++i) {
        asNames.push_back("o" + std::to_string(i));
        ASSERT_EQ(engine.FunctionRegistry(asNames.back().c_str(), 1, 0, RecordingHandler<1>), eRC_Success);
    }
    ASSERT_EQ(engine.FunctionRegistry("d", 1, 0, RecordingHandler<1>), eRC_Success);
    std::vector<std::string> asWords = {"-d"};
    for (int i = 0; i < 19; ++i) {
        asWords.push_back("-o" + std::to_string(i));
    }
    std::vector<char*> apchArgv = {const_cast<char*>("VALDRN")};
    for (auto& sWord : asWords) {
        apchArgv.push_back(sWord.data());
    }
    EXPECT_EQ(engine.ParseCommandOptions(static_cast<short>(apchArgv.size()), apchArgv.data()), 0);
    EXPECT_EQ(engine.ReturnCode(), eRC_IncorrectFormat);
    EXPECT_EQ(engine.GivenCount(), 15);
}

}  // namespace
