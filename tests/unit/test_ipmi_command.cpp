#include "bmc/ipmi_command.h"

#include <unistd.h>
#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "bmc/talk_to_bmc.h"
#include "cli/interface_options.h"
#include "support/stubbed_interface.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

class SystemDispatchTest : public StubbedInterfaceTest {
protected:
    IPMICommandRecord Record(std::initializer_list<unsigned char> au8Request)
    {
        IPMICommandRecord record = {};
        record.u16ResponseLength = IPMI_RESPONSE_DATA_SIZE;
        for (unsigned char u8Byte : au8Request) {
            record.au8RequestData[record.u8RequestLength++] = u8Byte;
        }
        std::memset(record.au8ResponseData, 0xEE, sizeof record.au8ResponseData);
        return record;
    }
};

TEST_F(SystemDispatchTest, SuccessNeedsTwoResponseBytes)
{
    IPMICommandRecord record = Record({});
    m_stub->Answer(0, 0x00, {0x34, 0x12});
    EXPECT_TRUE(DoIPMICommand(NETFN_LUN_STORAGE, 0x22, &record));
    EXPECT_EQ(record.u8CompletionCode, 0x00);
    EXPECT_EQ(record.u16ResponseLength, 2);
    EXPECT_EQ(record.au8ResponseData[0], 0x34);
    EXPECT_EQ(record.au8ResponseData[2], 0x00);  // cleared before the request
    EXPECT_EQ(m_stub->Calls(), "RawRequest 28 22 capacity=100 [];");
    m_stub->Answer(0, 0x00, {0x34});
    record = Record({});
    EXPECT_FALSE(DoIPMICommand(NETFN_LUN_STORAGE, 0x22, &record));
}

TEST_F(SystemDispatchTest, ShortAnswersOfThreeCommands)
{
    for (unsigned char u8Cmd : {0x27, 0x2C, 0x12}) {
        IPMICommandRecord record = Record({0x01});
        m_stub->Answer(0, 0x00, {0x01});
        EXPECT_TRUE(DoIPMICommand(NETFN_LUN_STORAGE, u8Cmd, &record)) << int(u8Cmd);
        // The rule keys on the command byte alone, whatever the NetFn.
        record = Record({0x01});
        EXPECT_TRUE(DoIPMICommand(NETFN_LUN_APP, u8Cmd, &record)) << int(u8Cmd);
    }
}

TEST_F(SystemDispatchTest, CompletionCodeDecides)
{
    IPMICommandRecord record = Record({0x00, 0x00});
    m_stub->Answer(0, 0xC5, {0x01, 0x02});
    EXPECT_FALSE(DoIPMICommand(NETFN_LUN_STORAGE, 0x23, &record));
    EXPECT_EQ(record.u8CompletionCode, 0xC5);
}

TEST_F(SystemDispatchTest, TraceOfARequest)
{
    G_bVerboseMode = true;
    IPMICommandRecord record = Record({0x01, 0x02});
    m_stub->Answer(0, 0x00, {0xAB, 0xCD});
    CapturedOutput output;
    DoIPMICommand(0x29, 0x23, &record);
    output.Finish();
    EXPECT_EQ(output.Out(),
              "   NetFn=0xA, Cmd=0x23, ReqLen=0x2\n   ReqData=01 02 \n"
              "   cCode=0x0, RspLen=0x2\n   RspData=AB CD \n\n");
    EXPECT_EQ(m_stub->Calls(), "RawRequest 29 23 capacity=100 [01 02];");
}

TEST(DispatchWithoutInterface, NothingIsSent)
{
    IPMICommandRecord record = {};
    record.u16ResponseLength = 100;
    EXPECT_FALSE(DoIPMICommand(NETFN_LUN_APP, CMD_GET_DEVICE_ID, &record));
    EXPECT_EQ(record.u8CompletionCode, 0xFF);
}

TEST(ByteRoutines, WordsAndIndexes)
{
    EXPECT_EQ(GetLowByteOfWord(0x1234), 0x34);
    EXPECT_EQ(GetHighByteOfWord(0x1234), 0x12);
    const unsigned char au8Bytes[] = {0x10, 0x20, 0x30};
    EXPECT_EQ(ParseByIndex(au8Bytes, 1, 1), 0x20);
    EXPECT_EQ(ParseByIndex(au8Bytes, 1, 0), 0x20);
    EXPECT_EQ(ParseByIndex(au8Bytes, 1, 2), 0x3020);
}

TEST(RepositoryInfo, FieldsFromTheResponse)
{
    const unsigned char au8Response[14] = {0x51, 0x34, 0x12, 0x00, 0x40, 1, 2, 3, 4, 5, 6, 7, 8, 0xEF};
    SDRRepositoryInfo info = {};
    SetRepositoryInfo(au8Response, &info);
    EXPECT_EQ(info.u8SDRVersion, 0x51);
    EXPECT_EQ(info.u16RecordCount, 0x1234);
    EXPECT_EQ(info.u16FreeSpace, 0x4000);
    EXPECT_EQ(info.u8OverflowFlag, 1);
    EXPECT_EQ(info.u8UpdateMode, 3);
    EXPECT_TRUE(info.bDeleteSDRSupported);
    EXPECT_TRUE(info.bPartialAddSupported);
    EXPECT_TRUE(info.bReserveSupported);
    EXPECT_TRUE(info.bAllocationInfoSupported);
    const unsigned char au8None[14] = {0x51};
    SetRepositoryInfo(au8None, &info);
    EXPECT_EQ(info.u8OverflowFlag, 0);
    EXPECT_FALSE(info.bPartialAddSupported);
    EXPECT_FALSE(info.bReserveSupported);
}

TEST(ShellQuoting, LiteralWordsStayAsTheyAre)
{
    EXPECT_EQ(QuoteForShell("admin"), "admin");
    EXPECT_EQ(QuoteForShell("10.0.0.1"), "10.0.0.1");
    EXPECT_EQ(QuoteForShell("user_1@x-y=z+a%b,c:d/e"), "user_1@x-y=z+a%b,c:d/e");
}

TEST(ShellQuoting, EverythingElseIsQuoted)
{
    EXPECT_EQ(QuoteForShell("a b"), "'a b'");
    EXPECT_EQ(QuoteForShell("it's"), "'it'\\''s'");
    EXPECT_EQ(QuoteForShell("$(reboot);`x`\"*?"), "'$(reboot);`x`\"*?'");
    EXPECT_EQ(QuoteForShell(""), "''");
    EXPECT_EQ(QuoteForShell(nullptr), "''");
    // What the shell makes of it is the value itself.
    for (const char* pchValue : {"a'b\"c$d;e f", "x\\y", "~root", "!x", "a\tb"}) {
        const std::string sCommand = "printf %s " + QuoteForShell(pchValue);
        FILE* pPipe = popen(sCommand.c_str(), "r");
        char achBuffer[64] = {};
        const size_t uRead = fread(achBuffer, 1, sizeof achBuffer - 1, pPipe);
        pclose(pPipe);
        EXPECT_EQ(std::string(achBuffer, uRead), pchValue);
    }
}

}  // namespace
