#include "base/trace.h"
#include "cli/diagnostics.h"

#include <stdio_ext.h>

#include <gtest/gtest.h>

#include "support/test_support.h"

using valdrn_test::CapturedOutput;

namespace {

class DiagnosticsTest : public testing::Test {
protected:
    void TearDown() override { G_bVerboseMode = false; }
};

TEST_F(DiagnosticsTest, SilentWhenVerboseIsOff)
{
    G_bVerboseMode = false;
    const unsigned char au8Data[] = {0x01, 0xAB};
    CapturedOutput output;
    DebugMessage("trace %d\n", 5);
    DebugPrintArray(au8Data, 2);
    DebugPrintArray(au8Data, 0);
    DebugPrintArray(nullptr, 3);
    output.Finish();
    EXPECT_EQ(output.Out(), "");
    EXPECT_EQ(output.Err(), "");
}

TEST_F(DiagnosticsTest, DebugMessageFormatsWhenVerbose)
{
    G_bVerboseMode = true;
    CapturedOutput output;
    DebugMessage("Record %04X of %s\n", 0x1A, "file");
    output.Finish();
    EXPECT_EQ(output.Out(), "Record 001A of file\n");
    EXPECT_EQ(output.Err(), "");
}

TEST_F(DiagnosticsTest, DebugPrintArrayPrintsHexBytes)
{
    G_bVerboseMode = true;
    const unsigned char au8Data[] = {0x00, 0x51, 0xFF};
    CapturedOutput output;
    DebugPrintArray(au8Data, 3);
    output.Finish();
    EXPECT_EQ(output.Out(), "00 51 FF \n");
}

TEST_F(DiagnosticsTest, DebugPrintArrayOfNothing)
{
    G_bVerboseMode = true;
    const unsigned char au8Data[] = {0x01};
    CapturedOutput output;
    DebugPrintArray(au8Data, 0);
    DebugPrintArray(nullptr, 0);
    DebugPrintArray(nullptr, 4);
    output.Finish();
    EXPECT_EQ(output.Out(), "None\nNone\nAn error occurs in displaying a hex data array.\n");
}

TEST_F(DiagnosticsTest, DebugMessageIsFlushedAtOnce)
{
    // The trace must reach a pipe or file before the program goes on (or
    // dies); check that nothing is left in the stdio buffer.
    G_bVerboseMode = true;
    CapturedOutput output;
    DebugMessage("now");
    EXPECT_EQ(__fpending(stdout), 0u);
    output.Finish();
    EXPECT_EQ(output.Out(), "now");
}

TEST(UsageFrame, InvalidOperationsAndHint)
{
    CapturedOutput output;
    PrintInvalidOperations(stderr);
    PrintHelpHint(stderr);
    PrintHelpHint(stdout);
    output.Finish();
    EXPECT_EQ(output.Err(), "Invalid operations. \nUse VALDRN -h for help.\n");
    EXPECT_EQ(output.Out(), "Use VALDRN -h for help.\n");
}

}  // namespace
