#include "sdr/sdr_binary_reader.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;
using namespace std::string_literals;

namespace {

TEST(CRC16, XmodemCheckValue)
{
    unsigned short u16Crc = 0;
    for (char c : std::string("123456789")) {
        u16Crc = GenerateCRC16(u16Crc, static_cast<unsigned char>(c));
    }
    EXPECT_EQ(u16Crc, 0x31C3);
    EXPECT_EQ(Crc16Xmodem("123456789"), 0x31C3);  // the fixtures' own CRC agrees
}

TEST(CRC16, TableMatchesThePolynomial)
{
    EXPECT_EQ(u16CRCTable[0], 0x0000);
    EXPECT_EQ(u16CRCTable[1], 0x1021);
    EXPECT_EQ(u16CRCTable[255], 0x1EF0);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(u16CRCTable[i], Crc16Xmodem(std::string(1, static_cast<char>(i)))) << i;
    }
}

TEST(PaddingBytes, RangesOfFF)
{
    const unsigned char au8Data[] = {0x00, 0xFF, 0xFF, 0x01};
    EXPECT_EQ(PaddingBytesEncountered(1, 3, au8Data), 1);
    EXPECT_EQ(PaddingBytesEncountered(2, 2, au8Data), 1);  // empty
    EXPECT_EQ(PaddingBytesEncountered(1, 4, au8Data), 0);
    EXPECT_EQ(PaddingBytesEncountered(0, 2, au8Data), 0);
}

TEST(Recognisers, Headers)
{
    const std::string sFormat0 = SdrBinaryFormat0({});
    EXPECT_EQ(IsOldSDRFile(reinterpret_cast<const unsigned char*>(sFormat0.data())), 1);
    const std::string sFormat1 = SdrBinaryFormat1({}, 3);
    EXPECT_EQ(IsNewSDRFile(reinterpret_cast<const unsigned char*>(sFormat1.data())), 1);
    EXPECT_EQ(IsNewVersionTwoSDRFile(reinterpret_cast<const unsigned char*>((sFormat1 + std::string(13, 0)).data())),
              0);
    const std::string sFormat2 = SdrBinaryFormat2({});
    EXPECT_EQ(IsNewVersionTwoSDRFile(reinterpret_cast<const unsigned char*>(sFormat2.data())), 1);
    EXPECT_EQ(IsNewSDRFile(reinterpret_cast<const unsigned char*>(sFormat2.data())), 0);
    std::string sBadSecond = sFormat2;
    sBadSecond[10] = static_cast<char>(sBadSecond[10] + 1);
    EXPECT_EQ(IsNewVersionTwoSDRFile(reinterpret_cast<const unsigned char*>(sBadSecond.data())), 0);
    std::string sBadFirst = sFormat1;
    sBadFirst[7] = static_cast<char>(sBadFirst[7] + 1);
    EXPECT_EQ(IsNewSDRFile(reinterpret_cast<const unsigned char*>(sBadFirst.data())), 0);
    EXPECT_EQ(IsOldSDRFile(reinterpret_cast<const unsigned char*>("\x01\x01")), 0);
}

class BinaryFileTest : public testing::Test {
protected:
    void TearDown() override { G_bVerboseMode = false; }

    unsigned int Read(const std::string& sContent)
    {
        WriteFile(m_dir.File("sdr.bin"), sContent);
        CapturedOutput output;
        const unsigned int uResult = ReadSDRBinFile(m_dir.File("sdr.bin").c_str(), &m_list);
        output.Finish();
        m_sOut = output.Out();
        m_sErr = output.Err();
        return uResult;
    }

    std::string Header(int iVersion, int iRecords, size_t uSize) const
    {
        char achLine[200];
        std::snprintf(achLine, sizeof achLine,
                      "Recognize SDR File as binary format version %d (%d records) \n"
                      "Start to process SDR file (total 0x%zX bytes) \n",
                      iVersion, iRecords, uSize);
        return achLine;
    }

    TempDir m_dir;
    SDRRecordList m_list;
    std::string m_sOut;
    std::string m_sErr;
};

const std::vector<std::string> S_asTwo = {SdrNamedRecord(0x0010, 0x01, "CPU"), SdrFixedRecord(0x0011, 0xC0, 0x0C)};

TEST_F(BinaryFileTest, FormatZeroWithoutRecords)
{
    EXPECT_EQ(Read("\x00\x00"s), SDR_READ_DONE);
    EXPECT_EQ(m_list.size(), 0u);
    EXPECT_EQ(m_sOut, Header(0, 0, 2));
    EXPECT_EQ(m_sErr, "");
}

TEST_F(BinaryFileTest, FormatZeroRecordsReachTheList)
{
    const std::string sFile = SdrBinaryFormat0(S_asTwo);
    EXPECT_EQ(Read(sFile), SDR_READ_DONE);
    EXPECT_EQ(m_list.size(), 2u);
    EXPECT_EQ(m_sOut, Header(0, 2, sFile.size()));
    EXPECT_EQ(RecordOf(m_list[0]), S_asTwo[0]);
    EXPECT_EQ(m_list[0].u16RecordID, 0x0010);
    EXPECT_EQ(m_list[0].u8RecordType, 0x01);
    EXPECT_EQ(RecordOf(m_list[1]), S_asTwo[1]);
}

TEST_F(BinaryFileTest, FormatZeroCountTooSmall)
{
    std::vector<std::string> asThree = S_asTwo;
    asThree.push_back(SdrFixedRecord(0x12, 0x14, 0x10));
    EXPECT_EQ(Read(SdrBinaryFormat0(asThree, 2)), SDR_READ_FAILED);
    EXPECT_EQ(m_sErr, "SDR binary file format error:\n");
    EXPECT_EQ(m_list.size(), 3u);
}

TEST_F(BinaryFileTest, FormatOneCountTooLarge)
{
    EXPECT_EQ(Read(SdrBinaryFormat1(S_asTwo, 3)), SDR_READ_FAILED);
    EXPECT_EQ(m_sErr, "SDR binary file format error:\n");
}

TEST_F(BinaryFileTest, FormatOneGood)
{
    const std::string sFile = SdrBinaryFormat1(S_asTwo);
    EXPECT_EQ(Read(sFile), SDR_READ_DONE);
    EXPECT_EQ(m_sOut, Header(1, 2, sFile.size()));
    EXPECT_EQ(m_list.size(), 2u);
    EXPECT_EQ(RecordOf(m_list[1]), S_asTwo[1]);
}

TEST_F(BinaryFileTest, FormatTwoWithPadding)
{
    const std::string sFile = SdrBinaryFormat2(S_asTwo, -1, std::string(9, '\xFF'));
    EXPECT_EQ(Read(sFile), SDR_READ_DONE);
    EXPECT_EQ(m_sOut, Header(2, 2, sFile.size()));
    EXPECT_EQ(m_sErr, "");
    EXPECT_EQ(m_list.size(), 2u);
}

TEST_F(BinaryFileTest, FormatTwoOneRecordMoreThanItsCount)
{
    std::vector<std::string> asThree = S_asTwo;
    asThree.push_back(SdrFixedRecord(0x12, 0x14, 0x10));
    EXPECT_EQ(Read(SdrBinaryFormat2(asThree, 2)), SDR_READ_FAILED);
    EXPECT_EQ(m_sErr, "SDR binary file format error:\n");
}

TEST_F(BinaryFileTest, FormatTwoEndingBeforeItsCountIsAccepted)
{
    EXPECT_EQ(Read(SdrBinaryFormat2(S_asTwo, 5)), SDR_READ_DONE);
    EXPECT_EQ(m_list.size(), 2u);
}

TEST_F(BinaryFileTest, FormatTwoSizeFieldWrongByOne)
{
    EXPECT_EQ(Read(SdrBinaryFormat2(S_asTwo, -1, "", 1)), SDR_READ_FAILED);
    EXPECT_EQ(m_sErr, "<ERROR> Actual file size does not match the file size specified in the header! \n");
    EXPECT_EQ(m_sOut, "");
    EXPECT_EQ(m_list.size(), 0u);
}

TEST_F(BinaryFileTest, SwappedCrcBytes)
{
    const std::string sRecord = SdrFixedRecord(0x0042, 0x14, 0x10);
    std::string sFile = SdrBinaryFormat1({sRecord});
    const uint16_t u16Crc = Crc16Xmodem(sRecord);
    ASSERT_NE(u16Crc >> 8, u16Crc & 0xFF);
    std::swap(sFile[sFile.size() - 1], sFile[sFile.size() - 2]);
    EXPECT_EQ(Read(sFile), SDR_READ_FAILED);
    char achExpected[600];
    std::snprintf(achExpected, sizeof achExpected,
                  "SDR binary file format error. \n"
                  "Error position: 0x18 (file offset) \n"
                  "Error cause: CRC 16 checking failed! \n"
                  "              => Expected value: 0x%04X \n"
                  "              => Obtained value: 0x%04X \n"
                  "Error SDR record: \n"
                  "              => ID: 0x42 \n"
                  "              => Type: 0x14 \n"
                  "              => Length: 0x10 \n",
                  static_cast<unsigned>(((u16Crc & 0xFF) << 8) | (u16Crc >> 8)), u16Crc);
    EXPECT_EQ(m_sErr, achExpected);
}

TEST_F(BinaryFileTest, RecordRunningPastTheEnd)
{
    std::string sFile = SdrBinaryFormat0({SdrFixedRecord(0x0102, 0x14, 0x10)});
    sFile.resize(sFile.size() - 3);
    EXPECT_EQ(Read(sFile), SDR_READ_FAILED);
    EXPECT_EQ(m_sErr,
              "Adding the following SDR record exceeds the total file size! \n"
              "Error SDR record: \n"
              "              => ID: 0x102 \n"
              "              => Type: 0x14 \n"
              "              => Length: 0x10 \n");
}

TEST_F(BinaryFileTest, TrailingBytesShorterThanAHeader)
{
    // One stray byte after the last record: its "header" lies past the end
    // of the file and must be reported, not read from beyond the buffer.
    const std::string sFile = SdrBinaryFormat0({SdrFixedRecord(1, 0x14, 0x10)}) + "\x07";
    EXPECT_EQ(Read(sFile), SDR_READ_FAILED);
    EXPECT_EQ(m_sErr,
              "Adding the following SDR record exceeds the total file size! \n"
              "Error SDR record: \n"
              "              => ID: 0x07 \n"
              "              => Type: 0x00 \n"
              "              => Length: 0x05 \n");
}

TEST_F(BinaryFileTest, RecordTooLongForASlot)
{
    std::string sRecord = SdrRecord(1, 0xC0, std::string(200, '\x11'));
    EXPECT_EQ(Read(SdrBinaryFormat0({sRecord})), SDR_READ_FAILED);
    EXPECT_EQ(m_sErr,
              "SDR binary file format error. \n"
              "Error position: 0x06 (file offset) \n"
              "Error cause: record length exceeds 101 bytes! \n"
              "Error SDR record: \n"
              "              => ID: 0x01 \n"
              "              => Type: 0xC0 \n"
              "              => Length: 0xCD \n");
}

TEST_F(BinaryFileTest, NotBinaryIsSilent)
{
    EXPECT_EQ(Read("_SDR (\n)\n"), SDR_NOT_BINARY);
    EXPECT_EQ(m_sOut, "");
    EXPECT_EQ(m_sErr, "");
    EXPECT_EQ(Read("K"), SDR_NOT_BINARY);  // too short for any header
}

TEST_F(BinaryFileTest, EmptyAndMissingFiles)
{
    EXPECT_EQ(Read(""), SDR_READ_FAILED);
    EXPECT_EQ(m_sErr, "<ERROR> SDR file empty, " + m_dir.File("sdr.bin") + ".\n");
    CapturedOutput output;
    EXPECT_EQ(ReadSDRBinFile(m_dir.File("missing").c_str(), &m_list), SDR_READ_FAILED);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Failure to open SDR file " + m_dir.File("missing") + ". \n");
}

TEST_F(BinaryFileTest, SixtyFourKiBFileReadsNothing)
{
    // The read count is cut to 16 bits: 65536 bytes read as 0.
    EXPECT_EQ(Read(SdrBinaryFormat0({}) + std::string(65534, '\xFF')), SDR_READ_FAILED);
    EXPECT_EQ(m_sOut, "");
    EXPECT_EQ(m_sErr, "");
}

TEST_F(BinaryFileTest, LargerFileIsReadInPart)
{
    // 65536 + 9 bytes: only the first 9 are read; the rest counts as zeros,
    // so the record after the first one fails.
    std::string sFile = SdrBinaryFormat1({SdrFixedRecord(1, 0x14, 0x10)});
    sFile += std::string(65536 + 9 - sFile.size(), '\x55');
    EXPECT_EQ(Read(sFile), SDR_READ_FAILED);
    EXPECT_EQ(m_sOut, Header(1, 1, sFile.size()));
    EXPECT_NE(m_sErr.find("CRC 16 checking failed"), std::string::npos) << m_sErr;
}

// A list holds one record less than SDR_LIST_SLOT_COUNT, however it was
// filled before.
TEST_F(BinaryFileTest, CountLimitOfTheList)
{
    const std::string sRecord = SdrFixedRecord(1, 0x14, 0x10);
    m_list = FreeSlots(SDR_LIST_SLOT_COUNT - 2);
    EXPECT_EQ(Read(SdrBinaryFormat0({sRecord})), SDR_READ_DONE) << m_sErr;
    EXPECT_EQ(RecordOf(m_list.back()), sRecord);
    EXPECT_EQ(Read(SdrBinaryFormat0({sRecord})), SDR_READ_FAILED);
    EXPECT_EQ(m_sErr, "The SDR record count exceeds FFFFh records. \n");
    m_list = FreeSlots(SDR_LIST_SLOT_COUNT);
    EXPECT_EQ(Read(SdrBinaryFormat2({sRecord})), SDR_READ_FAILED);
    EXPECT_EQ(m_sErr, "The SDR record count exceeds FFFFh records. \n");
    EXPECT_EQ(m_list.size(), SDR_LIST_SLOT_COUNT);
}

TEST_F(BinaryFileTest, VerboseTraces)
{
    G_bVerboseMode = true;
    const std::string sRecord = SdrFixedRecord(0x0A0B, 0x08, 0x10);
    const std::string sFile = SdrBinaryFormat2({sRecord}, -1, "\xFF\xFF");
    EXPECT_EQ(Read(sFile), SDR_READ_DONE);
    char achCrc[80];
    std::snprintf(achCrc, sizeof achCrc, "CRC 16: Calculated[%04X] vs FromData[%04X] \n", Crc16Xmodem(sRecord),
                  Crc16Xmodem(sRecord));
    EXPECT_EQ(m_sOut, Header(2, 1, sFile.size()) + achCrc +
                          "Record Type = 8 \nRecord Length = 10 \nRecord ID = a0b \nPadding bytes of 0xFF reached. \n");
}

TEST_F(BinaryFileTest, VersionTwoRecordsDirectly)
{
    const std::string sFile = SdrBinaryFormat2(S_asTwo);
    const auto* pu8Data = reinterpret_cast<const unsigned char*>(sFile.data());
    CapturedOutput output;
    EXPECT_EQ(SDRReadVersionTwoBinRecords(pu8Data, sFile.size(), 2, 21, &m_list), SDR_READ_DONE);
    EXPECT_EQ(m_list.size(), 2u);
    EXPECT_EQ(RecordOf(m_list[0]), S_asTwo[0]);
    EXPECT_EQ(RecordOf(m_list[1]), S_asTwo[1]);
    EXPECT_EQ(SDRReadVersionTwoBinRecords(pu8Data, sFile.size(), 2, sFile.size(), &m_list), SDR_READ_DONE);
    EXPECT_EQ(m_list.size(), 2u);
}

TEST_F(BinaryFileTest, OneRecordDirectly)
{
    const std::string sFile = WithCrc(S_asTwo[0]) + WithCrc(S_asTwo[1]);
    const auto* pu8Data = reinterpret_cast<const unsigned char*>(sFile.data());
    unsigned long ulOffset = 0;
    SDREntry entry = {};
    EXPECT_EQ(SDRReadOneBinRecord(pu8Data, sFile.size(), &ulOffset, &entry), SDR_RECORD_OK);
    EXPECT_EQ(ulOffset, S_asTwo[0].size() + 2);
    EXPECT_EQ(entry.u8Cursor, S_asTwo[0].size());
    EXPECT_EQ(RecordOf(entry), S_asTwo[0]);
    EXPECT_EQ(SDRReadOneBinRecord(pu8Data, sFile.size(), &ulOffset, &entry), SDR_RECORD_OK);
    EXPECT_EQ(ulOffset, sFile.size());
}

}  // namespace
