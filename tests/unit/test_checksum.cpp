#include "encoding/checksum.h"

#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace {

TEST(ComputeChecksumTest, OneByteChange)
{
    const unsigned char u8Old = 0x01;
    const unsigned char u8New = 0x03;
    unsigned char u8Checksum = 0;
    EXPECT_EQ(ComputeChecksum(0x10, 1, &u8Old, &u8New, &u8Checksum), 1);
    EXPECT_EQ(u8Checksum, 0x0E);
}

TEST(ComputeChecksumTest, KeepsAnAreaSummingToZero)
{
    // An 8-byte board-like area: bytes then a checksum that zeroes the sum.
    std::vector<unsigned char> au8Area = {0x01, 0x01, 0x19, 0xA0, 0xB1, 0xC2, 0xFF, 0x00};
    au8Area[7] = static_cast<unsigned char>(0x100 - std::accumulate(au8Area.begin(), au8Area.end() - 1, 0) % 256);
    const std::vector<unsigned char> au8New = {0x00, 0xFF, 0xFE};
    unsigned char u8Checksum = 0;
    EXPECT_EQ(ComputeChecksum(au8Area[7], 3, &au8Area[3], au8New.data(), &u8Checksum), 1);
    std::copy(au8New.begin(), au8New.end(), au8Area.begin() + 3);
    au8Area[7] = u8Checksum;
    EXPECT_EQ(std::accumulate(au8Area.begin(), au8Area.end(), 0) % 256, 0);
}

TEST(ComputeChecksumTest, LargeSumsWrapCorrectly)
{
    const std::vector<unsigned char> au8Old(255, 0x00);
    const std::vector<unsigned char> au8New(255, 0xFF);
    unsigned char u8Checksum = 0;
    EXPECT_EQ(ComputeChecksum(0x00, 255, au8Old.data(), au8New.data(), &u8Checksum), 1);
    // The 255 new bytes add 255 * 255 = 0xFE01; the checksum takes 0x01 away.
    EXPECT_EQ(u8Checksum, 0xFF);
}

TEST(ComputeChecksumTest, NothingChanges)
{
    const unsigned char u8Byte = 0x42;
    unsigned char u8Checksum = 0;
    EXPECT_EQ(ComputeChecksum(0x37, 0, &u8Byte, &u8Byte, &u8Checksum), 1);
    EXPECT_EQ(u8Checksum, 0x37);
}

TEST(ComputeChecksumTest, NullPointers)
{
    const unsigned char u8Byte = 0;
    unsigned char u8Checksum = 0x99;
    valdrn_test::CapturedOutput output;
    EXPECT_EQ(ComputeChecksum(0, 1, nullptr, &u8Byte, &u8Checksum), 0);
    EXPECT_EQ(ComputeChecksum(0, 1, &u8Byte, nullptr, &u8Checksum), 0);
    EXPECT_EQ(ComputeChecksum(0, 1, &u8Byte, &u8Byte, nullptr), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "Internal error! \nInternal error! \nInternal error! \n");
    EXPECT_EQ(u8Checksum, 0x99);
}

}  // namespace
