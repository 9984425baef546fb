#include "sdr/sdr_text_writer.h"

#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "encoding/text_encoding.h"
#include "sdr/sdr_text_reader.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;
using namespace std::string_literals;

namespace {

class TextWriterTest : public testing::Test {
protected:
    void TearDown() override { G_bVerboseMode = false; }

    // A fresh repository list holding the records.
    void Repository(const std::vector<std::string>& asRecords)
    {
        m_repository = FreeSlots(64);
        for (size_t i = 0; i < asRecords.size(); ++i) {
            PutRecord(m_repository[static_cast<unsigned int>(i)], asRecords[i]);
        }
    }

    int Save(unsigned int u32Encoding, const std::string& sName = "out.sdr")
    {
        CapturedOutput output;
        const int iResult = SaveSDRFile(m_dir.File(sName).c_str(), m_repository, u32Encoding);
        output.Finish();
        m_sOut = output.Out();
        m_sErr = output.Err();
        return iResult;
    }

    std::string Written() const { return ReadFile(m_dir.File("out.sdr")); }

    TempDir m_dir;
    SDRRecordList m_repository;
    std::string m_sOut;
    std::string m_sErr;
};

std::string HexLines(const std::string& sBytes)
{
    std::string sText;
    for (unsigned char c : sBytes) {
        char achLine[8];
        std::snprintf(achLine, sizeof achLine, "%02X\n", c);
        sText += achLine;
    }
    return sText;
}

TEST_F(TextWriterTest, EmptyListWritesOnlyTheBlock)
{
    EXPECT_EQ(Save(FILE_ENCODING_ASCII), 1);
    EXPECT_EQ(Written(), "_SDR (\n)\n");
    EXPECT_EQ(m_sOut, "The SDR data has been saved in file " + m_dir.File("out.sdr") + "! \n");
    CapturedOutput output;
    SDRRecordList local;
    EXPECT_EQ(ReadSDRFile(m_dir.File("out.sdr").c_str(), &local), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> SDR file format error.\nThere is no SDR record in the scope of \"_SDR ( )\". \n");
}

TEST_F(TextWriterTest, CompactSensorLayout)
{
    const std::string sRecord = SdrNamedRecord(0x0001, 0x02, "ABCD");
    ASSERT_EQ(sRecord.size(), 0x24u);
    Repository({sRecord});
    EXPECT_EQ(Save(FILE_ENCODING_ASCII), 1);
    EXPECT_EQ(Written(),
              "_SDR (\n_SDR_TYPE   02\n_REC_LEN   24\n" + HexLines(sRecord.substr(0, 0x20)) + "'ABCD'\n\n\n)\n");
    EXPECT_EQ(sRecord[0x1F], '\xC4');
}

TEST_F(TextWriterTest, OemRecordIsHexOnly)
{
    const std::string sRecord = SdrFixedRecord(0x0007, 0xC0, 0x40);
    Repository({sRecord});
    EXPECT_EQ(Save(FILE_ENCODING_ASCII), 1);
    EXPECT_EQ(Written(), "_SDR (\n_SDR_TYPE   C0\n_REC_LEN   40\n" + HexLines(sRecord) + "\n\n)\n");
}

TEST_F(TextWriterTest, NonTextIdStringIsHex)
{
    const std::string sRecord = SdrRecordWithIdBytes(0x0009, 0x02, 0x83, "\x27\x0A\x00"s);
    Repository({sRecord});
    EXPECT_EQ(Save(FILE_ENCODING_ASCII), 1);
    EXPECT_EQ(Written(), "_SDR (\n_SDR_TYPE   02\n_REC_LEN   23\n" + HexLines(sRecord) + "\n\n)\n");
}

TEST_F(TextWriterTest, FreeSlotsAreNotWritten)
{
    const std::string sRecord = SdrFixedRecord(0x0002, 0x14, 0x10);
    Repository({SdrFixedRecord(0x0001, 0x14, 0x10), sRecord});
    m_repository[0].u16RecordID = 0xFFFF;  // length set, but free
    EXPECT_EQ(Save(FILE_ENCODING_ASCII), 1);
    EXPECT_EQ(Written(), "_SDR (\n_SDR_TYPE   14\n_REC_LEN   10\n" + HexLines(sRecord) + "\n\n)\n");
}

TEST_F(TextWriterTest, Utf16WritesEveryCharacterWide)
{
    const std::string sRecord = SdrNamedRecord(0x0001, 0x12, "\xE9t\xE9");
    Repository({sRecord});
    EXPECT_EQ(Save(FILE_ENCODING_UTF16), 1);
    const std::string sPlain =
        "_SDR (\n_SDR_TYPE   12\n_REC_LEN   13\n" + HexLines(sRecord.substr(0, 0x10)) + "'\xE9t\xE9'\n\n\n)\n";
    EXPECT_EQ(Written(), AsUtf16File(sPlain));
}

TEST_F(TextWriterTest, Utf8WritesTheMarkAndConvertsLatin1)
{
    const std::string sRecord = SdrNamedRecord(0x0001, 0x12, "\xE9");
    Repository({sRecord});
    EXPECT_EQ(Save(FILE_ENCODING_UTF8), 1);
    const std::string sPlain =
        "_SDR (\n_SDR_TYPE   12\n_REC_LEN   11\n" + HexLines(sRecord.substr(0, 0x10)) + "'\xE9'\n\n\n)\n";
    EXPECT_EQ(Written(), AsUtf8File(sPlain));
}

TEST_F(TextWriterTest, RoundTripOfEveryTypeInEveryEncoding)
{
    const std::vector<std::string> asRecords = SdrRecordsOfEveryType();
    Repository(asRecords);
    for (unsigned int u32Encoding : {0u, 1u, 2u}) {
        ASSERT_EQ(Save(u32Encoding), 1) << m_sErr;
        unsigned int u32Detected = 99;
        ASSERT_EQ(GetFileEncoding(m_dir.File("out.sdr").c_str(), &u32Detected), 1);
        EXPECT_EQ(u32Detected, u32Encoding);
        SDRRecordList local;
        CapturedOutput output;
        ASSERT_EQ(ReadSDRFile(m_dir.File("out.sdr").c_str(), &local), 1);
        output.Finish();
        EXPECT_EQ(output.Err(), "");
        ASSERT_EQ(local.size(), asRecords.size());
        for (size_t i = 0; i < asRecords.size(); ++i) {
            const auto uSlot = static_cast<unsigned int>(i);
            EXPECT_EQ(RecordOf(local[uSlot]), asRecords[i]) << "encoding " << u32Encoding << " record " << i;
            EXPECT_EQ(local[uSlot].u16RecordID, m_repository[uSlot].u16RecordID);
        }
    }
}

TEST_F(TextWriterTest, InvalidListWritesNothing)
{
    std::string sBad = SdrFixedRecord(2, 0x14, 0x10);
    sBad[2] = 0x52;
    Repository({SdrFixedRecord(1, 0x14, 0x10), sBad});
    EXPECT_EQ(Save(FILE_ENCODING_ASCII), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Incorrect SDR data. \nSDR version (52h) != 51h in record type 14h. (record 2) \n");
    EXPECT_EQ(Written(), "");
    EXPECT_EQ(m_sOut, "");
}

TEST_F(TextWriterTest, IdStringThatCannotBeReadBackIsRefused)
{
    Repository({SdrNamedRecord(1, 0x01, "A\nB"), SdrNamedRecord(2, 0x01, "C")});
    EXPECT_EQ(Save(FILE_ENCODING_ASCII), 0);
    EXPECT_EQ(
        m_sErr,
        "<ERROR> Incorrect SDR data. \nID string byte (0Ah) cannot be written in an SDR text file. (record 1) \n");
    EXPECT_EQ(Written(), "");
    Repository({SdrNamedRecord(1, 0x01, "ok"), SdrNamedRecord(2, 0x01, "A\0B"s)});
    EXPECT_EQ(Save(FILE_ENCODING_UTF16), 0);
    EXPECT_EQ(
        m_sErr,
        "<ERROR> Incorrect SDR data. \nID string byte (00h) cannot be written in an SDR text file. (record 2) \n");
}

// Found by fuzzing: a type/length byte that claims more characters than
// the record holds was written as a quoted string the reader refuses.
TEST_F(TextWriterTest, IdStringLengthThatDisagreesWithItsTypeLengthByteIsRefused)
{
    Repository({SdrNamedRecord(1, 0x10, "DIMM"), SdrRecordWithIdBytes(2, 0x10, 0xEF, "0123456789")});
    EXPECT_EQ(Save(FILE_ENCODING_UTF8), 0);
    EXPECT_EQ(m_sErr,
              "<ERROR> Incorrect SDR data. \nID string length (0Ah) is not consistent with Type/Length Code "
              "(EF); the record cannot be written in an SDR text file. (record 2) \n");
    EXPECT_EQ(Written(), "");
    // One character fewer than the record holds: refused as well.
    Repository({SdrRecordWithIdBytes(1, 0x01, 0xC3, "ABCD")});
    EXPECT_EQ(Save(FILE_ENCODING_ASCII), 0);
    EXPECT_NE(m_sErr.find("ID string length (04h) is not consistent with Type/Length Code (C3)"), std::string::npos);
}

TEST_F(TextWriterTest, CannotCreateTheFile)
{
    EXPECT_EQ(Save(FILE_ENCODING_ASCII, "nodir/out.sdr"), 0);
    EXPECT_EQ(m_sErr, "<ERROR> File open error " + m_dir.File("nodir/out.sdr") + ".\n");
}

TEST_F(TextWriterTest, FullDiskStopsTheWrite)
{
    Repository({SdrFixedRecord(1, 0x14, 0x10)});
    ASSERT_EQ(symlink("/dev/full", m_dir.File("out.sdr").c_str()), 0);
    ScriptedStdin answer("n\n");
    EXPECT_EQ(Save(FILE_ENCODING_UTF8), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Disk Full! " + m_dir.File("out.sdr") + " may be corrupt or incomplete.\n");
    EXPECT_EQ(m_sOut, "Would you like to delete " + m_dir.File("out.sdr") + "? (y='YES')" + m_dir.File("out.sdr") +
                          " was not deleted.\n");
}

TEST_F(TextWriterTest, VerboseTraces)
{
    const std::string sRecord = SdrFixedRecord(0x0102, 0x14, 0x10);
    Repository({SdrFixedRecord(1, 0x14, 0x10), sRecord});
    m_repository[0].u16RecordID = 0xFFFF;
    G_bVerboseMode = true;
    EXPECT_EQ(Save(FILE_ENCODING_ASCII), 1);
    std::string sData;
    for (unsigned char c : sRecord) {
        char achHex[4];
        std::snprintf(achHex, sizeof achHex, "%02X ", c);
        sData += achHex;
    }
    EXPECT_EQ(m_sOut,
              "Record Seq=1, ID=FFFF, Type=14, Length=10\nData="
              "Record Seq=2, ID=0102, Type=14, Length=10\nData=" +
                  sData + "\nThe SDR data has been saved in file " + m_dir.File("out.sdr") + "! \n");
}

TEST(TextWriterArguments, NullPathAndBadEncoding)
{
    const SDRRecordList list;
    CapturedOutput output;
    EXPECT_EQ(SaveSDRFile(nullptr, list, 0), 0);
    EXPECT_EQ(SaveSDRFile("x.sdr", list, 3), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error!\n<ERROR> Internal Error!\n");
}

}  // namespace
