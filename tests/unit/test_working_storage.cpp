#include "base/working_storage.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "support/test_support.h"

using valdrn_test::CapturedOutput;

namespace {

class WorkingStorageTest : public testing::Test {
protected:
    void TearDown() override
    {
        VLExit();
        G_bVerboseMode = false;
    }
};

TEST_F(WorkingStorageTest, InitClearsTheFRUImages)
{
    G_u16RawDataSizeFromFRUFile = 7;
    G_u16ReadSizeFromFRUInventory = 9;
    CapturedOutput output;
    ASSERT_TRUE(VLInit());
    output.Finish();
    EXPECT_EQ(output.Err(), "");
    EXPECT_EQ(G_pu8LocalFRUDataBuffer, nullptr);
    EXPECT_EQ(G_pu8InventoryFRUDataBuffer, nullptr);
    EXPECT_EQ(G_u16RawDataSizeFromFRUFile, 0);
    EXPECT_EQ(G_u16ReadSizeFromFRUInventory, 0);
}

TEST_F(WorkingStorageTest, ExitReleasesEverythingAndTraces)
{
    ASSERT_TRUE(VLInit());
    G_pu8LocalFRUDataBuffer = static_cast<unsigned char*>(std::malloc(16));
    G_pu8InventoryFRUDataBuffer = static_cast<unsigned char*>(std::malloc(32));
    G_bVerboseMode = true;
    CapturedOutput output;
    VLExit();
    output.Finish();
    EXPECT_EQ(output.Out(), "memory space deallocation successful\n");
    EXPECT_EQ(G_pu8LocalFRUDataBuffer, nullptr);
    EXPECT_EQ(G_pu8InventoryFRUDataBuffer, nullptr);
}

TEST_F(WorkingStorageTest, ExitIsQuietWithoutVerbose)
{
    ASSERT_TRUE(VLInit());
    CapturedOutput output;
    VLExit();
    output.Finish();
    EXPECT_EQ(output.Out(), "");
}

TEST_F(WorkingStorageTest, SecondInitDoesNotLeak)
{
    ASSERT_TRUE(VLInit());
    G_pu8LocalFRUDataBuffer = static_cast<unsigned char*>(std::malloc(8));
    ASSERT_TRUE(VLInit());
    EXPECT_EQ(G_pu8LocalFRUDataBuffer, nullptr);
}

// The FRU images are allocated and freed here, the local one with its room.
TEST_F(WorkingStorageTest, FruBuffersAreOwnedHere)
{
    ASSERT_TRUE(VLInit());
    EXPECT_EQ(LocalFRUBufferCapacity(), 0u);
    ASSERT_TRUE(AllocateLocalFRUBuffer(300));
    EXPECT_EQ(LocalFRUBufferCapacity(), 300u);
    ASSERT_NE(G_pu8LocalFRUDataBuffer, nullptr);
    for (unsigned int i = 0; i < 300; ++i) {
        ASSERT_EQ(G_pu8LocalFRUDataBuffer[i], 0) << i;
    }
    G_pu8LocalFRUDataBuffer[299] = 0x5A;
    ASSERT_TRUE(AllocateLocalFRUBuffer(40));  // the first is released, the new one is clean
    EXPECT_EQ(LocalFRUBufferCapacity(), 40u);
    EXPECT_EQ(G_pu8LocalFRUDataBuffer[39], 0);
    ASSERT_TRUE(AllocateInventoryFRUBuffer(2064));
    ASSERT_NE(G_pu8InventoryFRUDataBuffer, nullptr);
    EXPECT_EQ(G_pu8InventoryFRUDataBuffer[2063], 0);
    VLExit();
    EXPECT_EQ(G_pu8LocalFRUDataBuffer, nullptr);
    EXPECT_EQ(G_pu8InventoryFRUDataBuffer, nullptr);
    EXPECT_EQ(LocalFRUBufferCapacity(), 0u);
}

}  // namespace
