#include "encoding/backup_writer.h"

#include <unistd.h>
#include <memory>

#include <gtest/gtest.h>

#include "support/test_support.h"

using valdrn_test::FileExists;
using valdrn_test::ReadFile;
using valdrn_test::TempDir;

using namespace std::string_literals;

namespace {

std::unique_ptr<SDREntry[]> FreeList()
{
    std::unique_ptr<SDREntry[]> list(new SDREntry[SDR_LIST_SLOT_COUNT]());
    for (unsigned int i = 0; i < SDR_LIST_SLOT_COUNT; ++i) {
        list[i].u16RecordID = SDR_FREE_SLOT_ID;
    }
    return list;
}

void PutRecord(SDREntry& entry, unsigned short u16Id, const std::string& sBytes)
{
    entry.u16RecordID = u16Id;
    entry.u8RecordLength = static_cast<unsigned char>(sBytes.size());
    std::copy(sBytes.begin(), sBytes.end(), entry.au8RecordData);
}

TEST(BackUpFRUBinFileTest, WritesTheBytes)
{
    TempDir dir;
    const unsigned char au8Image[] = {0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0xFE};
    EXPECT_EQ(BackUpFRUBinFile(dir.File("fru.bin").c_str(), au8Image, sizeof au8Image), 1);
    EXPECT_EQ(ReadFile(dir.File("fru.bin")), std::string(reinterpret_cast<const char*>(au8Image), 8));
}

TEST(BackUpFRUBinFileTest, TruncatesAnOldFile)
{
    TempDir dir;
    valdrn_test::WriteFile(dir.File("fru.bin"), "older and longer content");
    const unsigned char au8Image[] = {0xAA};
    EXPECT_EQ(BackUpFRUBinFile(dir.File("fru.bin").c_str(), au8Image, 1), 1);
    EXPECT_EQ(ReadFile(dir.File("fru.bin")), "\xAA");
}

TEST(BackUpFRUBinFileTest, CannotCreateIsSilentFailure)
{
    TempDir dir;
    const unsigned char au8Image[] = {0x01};
    valdrn_test::CapturedOutput output;
    EXPECT_EQ(BackUpFRUBinFile(dir.File("nodir/fru.bin").c_str(), au8Image, 1), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "");
}

TEST(BackUpFRUBinFileTest, FullDiskDeletesTheBackup)
{
    TempDir dir;
    ASSERT_EQ(symlink("/dev/full", dir.File("fru.bin").c_str()), 0);
    const unsigned char au8Image[] = {0x01, 0x02};
    EXPECT_EQ(BackUpFRUBinFile(dir.File("fru.bin").c_str(), au8Image, 2), 0);
    EXPECT_FALSE(FileExists(dir.File("fru.bin")));
}

TEST(BackUpSDRBinFileTest, WritesOccupiedSlotsInOrder)
{
    TempDir dir;
    auto list = FreeList();
    PutRecord(list[0], 0x0001, "\x01\x00\x51\x12\x01\xAB"s);
    PutRecord(list[1], 0xFFFF, "\xFF\xFF\x51\x12\x01\xCD"s);  // free slot with a length: skipped
    PutRecord(list[5], 0x0002, "\x02\x00\x51\xC0\x00"s);
    list[7].u16RecordID = 0x0003;  // no length: skipped
    PutRecord(list[SDR_LIST_SLOT_COUNT - 1], 0x0004, "\x04\x00\x51\x14\x00"s);
    EXPECT_EQ(BackUpSDRBinFile(dir.File("sdr.bin").c_str(), list.get()), 1);
    EXPECT_EQ(ReadFile(dir.File("sdr.bin")), "\x01\x00\x51\x12\x01\xAB\x02\x00\x51\xC0\x00\x04\x00\x51\x14\x00"s);
}

TEST(BackUpSDRBinFileTest, EmptyListGivesEmptyFile)
{
    TempDir dir;
    auto list = FreeList();
    EXPECT_EQ(BackUpSDRBinFile(dir.File("sdr.bin").c_str(), list.get()), 1);
    EXPECT_EQ(ReadFile(dir.File("sdr.bin")), "");
}

TEST(BackUpSDRBinFileTest, RecordLongerThanItsSlotFails)
{
    TempDir dir;
    auto list = FreeList();
    list[0].u16RecordID = 1;
    list[0].u8RecordLength = 200;
    EXPECT_EQ(BackUpSDRBinFile(dir.File("sdr.bin").c_str(), list.get()), 0);
    EXPECT_FALSE(FileExists(dir.File("sdr.bin")));
}

TEST(BackupWriters, NullArguments)
{
    auto list = FreeList();
    const unsigned char u8Byte = 0;
    valdrn_test::CapturedOutput output;
    EXPECT_EQ(BackUpFRUBinFile(nullptr, &u8Byte, 1), 0);
    EXPECT_EQ(BackUpFRUBinFile("x", nullptr, 1), 0);
    EXPECT_EQ(BackUpSDRBinFile(nullptr, list.get()), 0);
    EXPECT_EQ(BackUpSDRBinFile("x", nullptr), 0);
    output.Finish();
    EXPECT_EQ(output.Err(),
              "<ERROR> Internal Error!\n<ERROR> Internal Error!\n<ERROR> Internal Error!\n"
              "<ERROR> Internal Error!\n");
}

}  // namespace
