// The two steps that frame an operation's data: nothing to allocate, and
// the release marked in the trace only.
#include "operations/run_frame.h"

#include <gtest/gtest.h>

#include "base/trace.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

TEST(RunFrame, TheReleaseIsTracedOnlyInVerboseMode)
{
    CapturedOutput quiet;
    EXPECT_TRUE(VLInit());
    VLExit();
    quiet.Finish();
    EXPECT_EQ(quiet.Out() + quiet.Err(), "");
    G_bVerboseMode = true;
    CapturedOutput traced;
    EXPECT_TRUE(VLInit());
    VLExit();
    traced.Finish();
    G_bVerboseMode = false;
    EXPECT_EQ(traced.Out(), "memory space deallocation successful\n");
    EXPECT_EQ(traced.Err(), "");
}

}  // namespace
