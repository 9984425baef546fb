#include "sdr/sdr_text_reader.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;
using namespace std::string_literals;

namespace {

const std::string S_sLead = "<ERROR> SDR file format error.\n";
const std::string S_sCheckLead = "<ERROR> SDR file format error. \n";  // the record checks' own lead

class TextReaderTest : public testing::Test {
protected:
    void TearDown() override { G_bVerboseMode = false; }

    int Read(const std::string& sContent)
    {
        WriteFile(m_dir.File("in.sdr"), sContent);
        CapturedOutput output;
        const int iResult = ReadSDRFile(m_dir.File("in.sdr").c_str(), &m_list);
        output.Finish();
        m_sOut = output.Out();
        m_sErr = output.Err();
        return iResult;
    }

    std::vector<std::string> Records() const
    {
        std::vector<std::string> asRecords;
        for (const SDREntry& entry : m_list) {
            asRecords.push_back(RecordOf(entry));
        }
        return asRecords;
    }

    TempDir m_dir;
    SDRRecordList m_list;
    std::string m_sOut;
    std::string m_sErr;
};

// A compact sensor record laid out as the writer does, starting at line 3
// of a file whose line 1 is "_SDR (" preceded by a comment line.
std::string CompactText(const std::string& sIdLine, const char* pchLength = "24", const char* pchTypeLength = "C4")
{
    char achBodyLength[4];
    std::snprintf(achBodyLength, sizeof achBodyLength, "%02X",
                  static_cast<unsigned>(std::stoi(pchLength, nullptr, 16) - 5));
    std::string sText = "_SDR_TYPE   02\n_REC_LEN   "s + pchLength + "\n01\n00\n51\n02\n" + achBodyLength + "\n";
    for (int i = 5; i < 0x1F; ++i) {
        sText += "00\n";
    }
    return sText + pchTypeLength + "\n" + sIdLine;
}

TEST_F(TextReaderTest, EveryTypeInEveryEncoding)
{
    const std::vector<std::string> asRecords = SdrRecordsOfEveryType();
    const std::string sText = SdrTextFile(asRecords);
    for (const std::string& sFile : {sText, AsUtf8File(sText), AsUtf16File(sText)}) {
        m_list.clear();
        ASSERT_EQ(Read(sFile), 1) << m_sErr;
        EXPECT_EQ(m_sErr, "");
        EXPECT_EQ(m_sOut, "");
        EXPECT_EQ(Records(), asRecords);
        EXPECT_EQ(m_list[2].u16RecordID, 0x0003);
        EXPECT_EQ(m_list[2].u8RecordType, 0x02);
    }
}

TEST_F(TextReaderTest, BinaryFilesGoThroughTheBinaryReader)
{
    const std::vector<std::string> asRecords = {SdrNamedRecord(7, 0x01, "X"), SdrFixedRecord(8, 0x14, 0x10)};
    EXPECT_EQ(Read(SdrBinaryFormat1(asRecords)), 1);
    EXPECT_EQ(Records(), asRecords);
    EXPECT_EQ(m_sOut.substr(0, 51), "Recognize SDR File as binary format version 1 (2 re");
    m_list.clear();
    EXPECT_EQ(Read(SdrBinaryFormat1(asRecords, 1)), 0);
    EXPECT_EQ(m_sErr, "SDR binary file format error:\n");
}

TEST_F(TextReaderTest, OnlyTheBlockTagsMeansNoRecord)
{
    EXPECT_EQ(Read("_SDR (\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "There is no SDR record in the scope of \"_SDR ( )\". \n");
}

TEST_F(TextReaderTest, DisabledBlockBeforeOrAfterIsIgnored)
{
    const std::string sRecord = SdrFixedRecord(1, 0x14, 0x10);
    const std::string sDisabled = "_DISABLED_SDR (\n  anything at all ' \" xyz\n_SDR_TYPE 99\n)\n";
    EXPECT_EQ(Read(sDisabled + SdrTextFile({sRecord})), 1) << m_sErr;
    EXPECT_EQ(Records(), std::vector<std::string>{sRecord});
    m_list.clear();
    EXPECT_EQ(Read(SdrTextFile({sRecord}) + "\n" + sDisabled), 1) << m_sErr;
    EXPECT_EQ(Records(), std::vector<std::string>{sRecord});
}

TEST_F(TextReaderTest, BlockStructureErrors)
{
    struct Case {
        std::string sText;
        std::string sMessage;
    } aCases[] = {
        {"_DISABLED_SDR (\n_SDR (\n)\n)\n", "Nested '_DISABLED_SDR (' '_SDR (' tag is NOT allowed (line 2) \n"},
        {"_SDR (\n_DISABLED_SDR (\n)\n)\n", "Nested '_SDR (' '_DISABLED_SDR (' tag is NOT allowed (line 2) \n"},
        {"_SDR (\n)\n_SDR (\n)\n", "Multiple '_SDR (' tag is NOT allowed. (line 3) \n"},
        {"_DISABLED_SDR (\n)\n_DISABLED_SDR (\n)\n_SDR (\n)\n",
         "Multiple '_DISABLED_SDR (' tag is NOT allowed. (line 3) \n"},
        {"\n)\n_SDR (\n)\n", "Find data before the '_SDR (' or '_DISABLED_SDR (' tag. (line 2) \n"},
        {"_SDR (\n)\n)\n", "Multiple ')' tag is NOT allowed (line 3) \n"},
        {"x\n_SDR (\n)\n", "Find data outside the scope of the '_SDR ( )'. (line 1) \n"},
        {"_SDR (\n)\n01\n", "Find data outside the scope of the '_SDR ( )'. (line 3) \n"},
        {"_DISABLED_SDR (\n)\nstray\n_SDR (\n)\n", "Find data outside the scope of the '_SDR ( )'. (line 3) \n"},
        {"// only a comment\n\n", "Lack '_SDR (' tag (line 2) \n"},
        {"_SDR (\n_SDR_TYPE 01\n", "Lack ')' tag (line 2) \n"},
        {"_SDR (\n)\n_DISABLED_SDR (\n", "Lack ')' tag (line 3) \n"},
        {"_SDR(\n)\n", "Find data outside the scope of the '_SDR ( )'. (line 1) \n"},
    };
    for (const Case& blockCase : aCases) {
        m_list.clear();
        EXPECT_EQ(Read(blockCase.sText), 0) << blockCase.sText;
        EXPECT_EQ(m_sErr, S_sLead + blockCase.sMessage) << blockCase.sText;
    }
}

TEST_F(TextReaderTest, TagsWithCommentsAndBlanks)
{
    const std::string sRecord = SdrFixedRecord(1, 0x14, 0x10);
    std::string sText = "   _SDR (   // start\n\n\t\n" + SdrTextRecord(sRecord) + "  )  // end\n// trailer\n";
    EXPECT_EQ(Read(sText), 1) << m_sErr;
    EXPECT_EQ(Records(), std::vector<std::string>{sRecord});
}

TEST_F(TextReaderTest, TypeAndLengthLineErrors)
{
    struct Case {
        std::string sBody;
        std::string sMessage;
    } aCases[] = {
        {"_SDR_TYPE 01 02\n", "More than one Hex data follow the '_SDR_TYPE' tag. (line 2) \n"},
        {"_SDR_TYPE 1\n", "'1' is not a Hex byte data. (line 2) \n"},
        {"_SDR_TYPE 0g\n", "'0g' is not a Hex byte data. (line 2) \n"},
        {"_SDR_TYPE 014\n", "'014' is not a Hex byte data. (line 2) \n"},
        {"_SDR_TYPE\n", "Hex byte data does not follow the '_SDR_TYPE' tag. (line 2) \n"},
        {"_SDR_TYPE 14\n01\n", "\"01\" is not the '_REC_LEN' tag (line 3) \n"},
        {"_REC_LEN 10\n", "\"_REC_LEN\" is not the '_SDR_TYPE' tag (line 2) \n"},
        {"_SDR_TYPE 14\n", "\")\" is not the '_REC_LEN' tag (line 3) \n"},
        {"_SDR_TYPE 14\n_REC_LEN 10 11\n", "More than one Hex data follow the '_REC_LEN' tag. (line 3) \n"},
    };
    for (const Case& tagCase : aCases) {
        m_list.clear();
        EXPECT_EQ(Read("_SDR (\n" + tagCase.sBody + ")\n"), 0) << tagCase.sBody;
        EXPECT_EQ(m_sErr, S_sLead + tagCase.sMessage) << tagCase.sBody;
    }
}

TEST_F(TextReaderTest, ControlCharactersAreNotHexDigits)
{
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 0\x01\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "'0\x01' is not a Hex byte data. (line 2) \n");
}

TEST_F(TextReaderTest, TypeAndLengthAreValidated)
{
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 05\n_REC_LEN 10\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sCheckLead + "Record type (05h) is reserved. (line 2) \n");
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 15\n_REC_LEN 10\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sCheckLead + "Record type (15h) is invalid. (line 2) \n");
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 08\n_REC_LEN 11\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sCheckLead + "Record length (11h) is greater than the maximum length of type 08h. (line 3) \n");
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 08\n_REC_LEN 00\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sCheckLead + "Record length is zero. (line 3) \n");
}

TEST_F(TextReaderTest, HeaderBytesAreCheckedWithTheirLineNumbers)
{
    std::string sText = "_SDR (\n" + CompactText("'ABCD'\n") + ")\n";
    EXPECT_EQ(Read(sText), 1) << m_sErr;
    sText.replace(sText.find("\n51\n"), 4, "\n50\n");
    m_list.clear();
    EXPECT_EQ(Read(sText), 0);
    EXPECT_EQ(m_sErr, S_sCheckLead + "SDR version (50h) != 51h in record type 02h. (line 6) \n");
}

TEST_F(TextReaderTest, TypeByteMustMatchTheTag)
{
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 14\n_REC_LEN 10\n01 00 51 08 0B\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sCheckLead + "Record type (08h) is not the same as that from '_SDR_TYPE 14'. (line 4) \n");
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 14\n_REC_LEN 10\n01 00 51 14 0C\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sCheckLead + "Record length (0Ch) is inconsistent with that from '_REC_LEN 10'. (line 4) \n");
}

TEST_F(TextReaderTest, IdStringLengthMustMatchTheTypeLengthByte)
{
    EXPECT_EQ(Read("_SDR (\n" + CompactText("'ABC'\n") + ")\n"), 0);
    EXPECT_EQ(
        m_sErr,
        S_sLead + "String length (03h) is not consistent with Type/Length Code (C4) in record type 02h. (line 36) \n");
}

TEST_F(TextReaderTest, ShortAndLongRecords)
{
    // _REC_LEN one more than the string makes the record.
    EXPECT_EQ(Read("_SDR (\n" + CompactText("'ABCD'\n", "25") + ")\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "In record type 02h, record length < _REC_LEN (line 36) \n");
    EXPECT_EQ(Read("_SDR (\n" + CompactText("'ABCD' 00\n") + ")\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "In record type 02h, record length > _REC_LEN (line 36) \n");
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 14\n_REC_LEN 10\n01 00 51 14 0B 00 00 00 00 00 00 00 00 00 00 00 00\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "In record type 14h, record length > _REC_LEN (line 4) \n");
    // A comment after the last byte is not a token.
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 14\n_REC_LEN 10\n01 00 51 14 0B 00 00 00 00 00 00 00 00 00 00 00 // x\n)\n"), 1)
        << m_sErr;
}

TEST_F(TextReaderTest, RecordRunningIntoTheBlockEnd)
{
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 14\n_REC_LEN 10\n01 00 51 14 0B\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "')' is not a Hex byte data in record type 14h. (line 5) \n");
    EXPECT_EQ(Read("_SDR (\n" + CompactText("") + ")\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "\")\" is not a quoted string in record type 02h. (line 36) \n");
}

TEST_F(TextReaderTest, EmptyIdStringMustBeQuoted)
{
    const std::string sRecord = SdrNamedRecord(3, 0x02, "");
    std::string sText = "_SDR (\n" + CompactText("''\n", "20", "C0") + ")\n";
    EXPECT_EQ(Read(sText), 1) << m_sErr;
    ASSERT_EQ(m_list.size(), 1u);
    EXPECT_EQ(m_list[0].u8RecordLength, 0x20);
    m_list.clear();
    EXPECT_EQ(Read("_SDR (\n" + CompactText("\n", "20", "C0") + ")\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "\")\" is not a quoted string in record type 02h. (line 37) \n");
}

TEST_F(TextReaderTest, IdStringOnTheTypeLengthLine)
{
    std::string sText = "_SDR (\n" + CompactText("") + ")\n";
    sText.replace(sText.find("C4\n"), 3, "C4 'WXYZ'\n");
    EXPECT_EQ(Read(sText), 1) << m_sErr;
    EXPECT_EQ(RecordOf(m_list[0]).substr(0x20), "WXYZ");
}

TEST_F(TextReaderTest, HexIdStringWhenNotTypeCode11)
{
    const std::string sRecord = SdrRecordWithIdBytes(4, 0x02, 0x83, "\x12\x34\x56");
    EXPECT_EQ(Read(SdrTextFile({sRecord})), 1) << m_sErr;
    EXPECT_EQ(Records(), std::vector<std::string>{sRecord});
}

TEST_F(TextReaderTest, BadHexTokenInARecord)
{
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 14\n_REC_LEN 10\n01 00 51 14 0B 0x1\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "'0x1' is not a Hex byte data in record type 14h. (line 4) \n");
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 14\n_REC_LEN 10\n01 00 51 14 0B 00//x\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "'00//x' is not a Hex byte data in record type 14h. (line 4) \n");
}

TEST_F(TextReaderTest, CommentTokensEndDataLines)
{
    const std::string sText =
        "_SDR (\n_SDR_TYPE 14\n_REC_LEN 10\n01 00 51 // id and version\n14 0B\n"
        "// a full comment line\n00 00 00 00 00 00 00 00 00 00 00\n)\n";
    EXPECT_EQ(Read(sText), 1) << m_sErr;
}

TEST_F(TextReaderTest, LineNumbersCountTheMarkLine)
{
    const std::string sText = "_SDR (\n_SDR_TYPE 1\n)\n";
    for (const std::string& sFile : {AsUtf8File(sText), AsUtf16File(sText)}) {
        m_list.clear();
        EXPECT_EQ(Read(sFile), 0);
        EXPECT_EQ(m_sErr, S_sLead + "'1' is not a Hex byte data. (line 2) \n");
    }
}

TEST_F(TextReaderTest, Utf8IdStringBecomesLatin1)
{
    const std::string sRecord = SdrNamedRecord(1, 0x12, "Caf\xE9");
    EXPECT_EQ(Read(AsUtf8File(SdrTextFile({sRecord}))), 1) << m_sErr;
    EXPECT_EQ(Records(), std::vector<std::string>{sRecord});
}

TEST_F(TextReaderTest, Utf8BeyondLatin1EndsTheRecord)
{
    std::string sText = "\xEF\xBB\xBF_SDR (\n" + CompactText("'AB\xE2\x82\xAC'\n", "24", "C3") + ")\n";
    EXPECT_EQ(Read(sText), 0);
    EXPECT_EQ(m_sErr,
              "<ERROR> Invalid UTF-8 data found.\n"
              "Fail to convert string (line 36) from UTF-8 to 8-bit ASCII. \n" +
                  S_sLead + "Record type (02h) is not complete. (line 36) \n");
}

TEST_F(TextReaderTest, Utf16CharacterBeyondLatin1CutsTheLine)
{
    // U+20AC cannot become ISO-8859-1: the line ends before it, and the
    // string misses its closing quote.
    std::string sFile = AsUtf16File("_SDR (\n" + CompactText("'ABC"));
    sFile += "\xAC\x20'\0\n\0)\0\n\0"s;
    EXPECT_EQ(Read(sFile), 0);
    EXPECT_EQ(
        m_sErr,
        S_sLead + "String length (00h) is not consistent with Type/Length Code (C4) in record type 02h. (line 36) \n");
}

TEST_F(TextReaderTest, LongLinesAreRefusedNotOverrun)
{
    const std::string sLong = "01 00 51 14 0B" + std::string(300, ' ') + "00\n";
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 14\n_REC_LEN 10\n" + sLong + ")\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Line 4 is longer than 254 characters. \n");
    EXPECT_EQ(Read("// " + std::string(400, '=') + "\n_SDR (\n)\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Line 1 is longer than 254 characters. \n");
    // In UTF-16 the limit counts characters, not bytes.
    EXPECT_EQ(Read(AsUtf16File("_SDR (\n" + std::string(255, 'x') + "\n)\n")), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Line 2 is longer than 254 characters. \n");
}

TEST_F(TextReaderTest, LongLinesInADisabledBlockAreSkipped)
{
    const std::string sRecord = SdrFixedRecord(1, 0x14, 0x10);
    EXPECT_EQ(Read("_DISABLED_SDR (\n" + std::string(1000, 'z') + "\n)\n" + SdrTextFile({sRecord})), 1) << m_sErr;
    EXPECT_EQ(Records(), std::vector<std::string>{sRecord});
}

TEST_F(TextReaderTest, LineOf254CharactersIsFine)
{
    const std::string sRecord = SdrFixedRecord(1, 0x14, 0x10);
    std::string sText = SdrTextFile({sRecord});
    sText = "//" + std::string(252, '-') + "\n" + sText;
    EXPECT_EQ(Read(sText), 1) << m_sErr;
}

TEST_F(TextReaderTest, NulCharacterIsRefused)
{
    EXPECT_EQ(Read("_SDR (\n_SDR_TYPE 14\0 junk\n)\n"s), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Line 2 holds a NUL character. \n");
}

// A list holds one record less than SDR_LIST_SLOT_COUNT, however it was
// filled before.
TEST_F(TextReaderTest, CountLimitOfTheList)
{
    m_list = FreeSlots(SDR_LIST_SLOT_COUNT - 2);
    EXPECT_EQ(Read(SdrTextFile({SdrFixedRecord(1, 0x14, 0x10)})), 1) << m_sErr;
    EXPECT_EQ(m_list.size(), SDR_MAX_RECORD_COUNT);
    EXPECT_EQ(Read(SdrTextFile({SdrFixedRecord(1, 0x14, 0x10)})), 0);
    EXPECT_EQ(m_sErr, "The SDR record count exceeds FFFFh records. \n");
    EXPECT_EQ(m_list.size(), SDR_LIST_SLOT_COUNT);
    EXPECT_EQ(Read(SdrTextFile({SdrFixedRecord(1, 0x14, 0x10)})), 0);
    EXPECT_EQ(m_sErr, "The SDR record count exceeds FFFFh records. \n");
    EXPECT_EQ(m_list.size(), SDR_LIST_SLOT_COUNT);
}

// A file of as many records as a list holds reads whole; one more is refused.
TEST(TextReaderLimit, TheLargestFileReadsWhole)
{
    TempDir dir;
    std::vector<std::string> asRecords(SDR_MAX_RECORD_COUNT, SdrFixedRecord(1, 0x14, 0x10));
    WriteFile(dir.File("in.sdr"), SdrTextFile(asRecords));
    SDRRecordList list;
    CapturedOutput output;
    EXPECT_EQ(ReadSDRFile(dir.File("in.sdr").c_str(), &list), 1);
    EXPECT_EQ(list.size(), SDR_MAX_RECORD_COUNT);
    asRecords.push_back(asRecords.back());
    WriteFile(dir.File("in.sdr"), SdrTextFile(asRecords));
    list.clear();
    EXPECT_EQ(ReadSDRFile(dir.File("in.sdr").c_str(), &list), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "The SDR record count exceeds FFFFh records. \n");
}

TEST_F(TextReaderTest, EncodingAndOpenFailures)
{
    CapturedOutput output;
    EXPECT_EQ(ReadSDRFile(m_dir.File("missing.sdr").c_str(), &m_list), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Failure to open file, " + m_dir.File("missing.sdr") +
                                ".\n<ERROR> Failure to get encoding info from file " + m_dir.File("missing.sdr") +
                                ".\n");
    EXPECT_EQ(Read("ab"), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Error reading file, " + m_dir.File("in.sdr") +
                          ".\n<ERROR> Failure to get encoding info from file " + m_dir.File("in.sdr") + ".\n");
}

TEST_F(TextReaderTest, RecordsBeforeAnErrorStay)
{
    const std::string sRecord = SdrFixedRecord(1, 0x14, 0x10);
    EXPECT_EQ(Read("_SDR (\n" + SdrTextRecord(sRecord) + "_SDR_TYPE 77\n)\n"), 0);
    EXPECT_EQ(m_list.size(), 1u);
    EXPECT_EQ(RecordOf(m_list[0]), sRecord);
}

TEST_F(TextReaderTest, AppendsAfterTheCallersRecords)
{
    const std::string sRecord = SdrFixedRecord(1, 0x14, 0x10);
    m_list = FreeSlots(3);
    EXPECT_EQ(Read(SdrTextFile({sRecord})), 1);
    EXPECT_EQ(m_list.size(), 4u);
    EXPECT_EQ(RecordOf(m_list[3]), sRecord);
    EXPECT_EQ(m_list[0].u16RecordID, 0xFFFF);
}

TEST(TextReaderArguments, NullArguments)
{
    SDRRecordList list;
    CapturedOutput output;
    EXPECT_EQ(ReadSDRFile(nullptr, &list), 0);
    EXPECT_EQ(ReadSDRFile("x", nullptr), 0);
    EXPECT_EQ(SDRValidateStartEndTag(nullptr), 0);
    EXPECT_EQ(SDRReadOneRecord(nullptr, nullptr), 0);
    output.Finish();
    EXPECT_EQ(output.Err(),
              "<ERROR> Internal Error!\n<ERROR> Internal Error!\n<ERROR> Internal Error!\n"
              "<ERROR> Internal Error!\n");
}

}  // namespace
