#include "operations/memory_guard.h"

#include <new>

#include <gtest/gtest.h>

#include "support/test_support.h"

using valdrn_test::CapturedOutput;

namespace {

TEST(MemoryGuard, TheReadsResultPassesThrough)
{
    CapturedOutput output;
    EXPECT_TRUE(WithinMemory(LOCAL_LIST_EXHAUSTED, [] { return true; }));
    EXPECT_FALSE(WithinMemory(LOCAL_LIST_EXHAUSTED, [] { return false; }));
    output.Finish();
    EXPECT_EQ(output.Err(), "");
}

TEST(MemoryGuard, ExhaustionIsSaidAndFails)
{
    CapturedOutput output;
    EXPECT_FALSE(WithinMemory(LOCAL_LIST_EXHAUSTED, []() -> bool { throw std::bad_alloc(); }));
    EXPECT_FALSE(WithinMemory(REPOSITORY_LIST_EXHAUSTED, []() -> bool { throw std::bad_alloc(); }));
    output.Finish();
    EXPECT_EQ(output.Err(), "Add Memory allocation error!\nGet Memory allocation error!\n");
}

}  // namespace
