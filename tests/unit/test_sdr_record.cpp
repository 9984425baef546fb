#include "sdr/sdr_record.h"

#include <string>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using valdrn_test::CapturedOutput;
using valdrn_test::FreeSlots;
using valdrn_test::PutRecord;
using valdrn_test::SdrFixedRecord;
using valdrn_test::SdrNamedRecord;

namespace {

const std::string S_sMemoryLead = "<ERROR> Incorrect SDR data. \n";
const std::string S_sTextLead = "<ERROR> SDR file format error. \n";

std::string CheckType(int iMode, int iNumber, unsigned char u8Type, int* piResult)
{
    CapturedOutput output;
    *piResult = SDRValidateRecordType(iMode, iNumber, u8Type);
    output.Finish();
    return output.Err();
}

SDREntry Entry(unsigned char u8Type, unsigned char u8Length)
{
    SDREntry entry = {};
    entry.u8RecordType = u8Type;
    entry.u8RecordLength = u8Length;
    return entry;
}

std::string CheckLength(int iMode, int iNumber, unsigned char u8Type, unsigned char u8Length, int* piResult)
{
    const SDREntry entry = Entry(u8Type, u8Length);
    CapturedOutput output;
    *piResult = SDRValidateRecordLength(iMode, iNumber, &entry);
    output.Finish();
    return output.Err();
}

TEST(SDRValidateRecordTypeTest, VerdictOfEveryType)
{
    for (int iType = 0; iType < 256; ++iType) {
        int iResult = -1;
        const std::string sErr = CheckType(SDR_CHECK_MEMORY, 1, static_cast<unsigned char>(iType), &iResult);
        const bool bValid = (iType >= 0x01 && iType <= 0x03) || iType == 0x08 || iType == 0x09 ||
                            (iType >= 0x10 && iType <= 0x14) || iType == 0xC0;
        EXPECT_EQ(iResult, bValid ? 1 : 0) << iType;
        EXPECT_EQ(sErr.empty(), bValid) << iType;
    }
}

TEST(SDRValidateRecordTypeTest, ReservedAndInvalidMessages)
{
    int iResult = 1;
    EXPECT_EQ(CheckType(SDR_CHECK_MEMORY, 3, 0x05, &iResult),
              S_sMemoryLead + "Record type (05h) is reserved. (record 3) \n");
    EXPECT_EQ(iResult, 0);
    EXPECT_EQ(CheckType(SDR_CHECK_TEXT_FILE, 12, 0x15, &iResult),
              S_sTextLead + "Record type (15h) is invalid. (line 12) \n");
    EXPECT_EQ(CheckType(SDR_CHECK_MEMORY, 1, 0xC1, &iResult),
              S_sMemoryLead + "Record type (C1h) is invalid. (record 1) \n");
    EXPECT_EQ(CheckType(SDR_CHECK_MEMORY, 1, 0x00, &iResult),
              S_sMemoryLead + "Record type (00h) is invalid. (record 1) \n");
    EXPECT_EQ(CheckType(SDR_CHECK_MEMORY, 1, 0x0F, &iResult),
              S_sMemoryLead + "Record type (0Fh) is reserved. (record 1) \n");
}

TEST(SDRValidateRecordLengthTest, OemLimits)
{
    int iResult = 0;
    EXPECT_EQ(CheckLength(SDR_CHECK_MEMORY, 1, 0xC0, 0x08, &iResult), "");
    EXPECT_EQ(iResult, 1);
    EXPECT_EQ(CheckLength(SDR_CHECK_MEMORY, 1, 0xC0, 0x40, &iResult), "");
    EXPECT_EQ(iResult, 1);
    EXPECT_EQ(CheckLength(SDR_CHECK_MEMORY, 2, 0xC0, 0x41, &iResult),
              S_sMemoryLead + "Record length (41h) is greater than the maximum length of type C0h. (record 2) \n");
    EXPECT_EQ(iResult, 0);
    EXPECT_EQ(CheckLength(SDR_CHECK_MEMORY, 2, 0xC0, 0x07, &iResult),
              S_sMemoryLead + "Record length (07h) is less than the less length of type C0h. (record 2) \n");
}

TEST(SDRValidateRecordLengthTest, EntityAssociationBounds)
{
    int iResult = 1;
    EXPECT_EQ(CheckLength(SDR_CHECK_TEXT_FILE, 7, 0x08, 0x11, &iResult),
              S_sTextLead + "Record length (11h) is greater than the maximum length of type 08h. (line 7) \n");
    EXPECT_EQ(CheckLength(SDR_CHECK_TEXT_FILE, 7, 0x08, 0x0F, &iResult),
              S_sTextLead + "Record length (0Fh) is less than the less length of type 08h. (line 7) \n");
    EXPECT_EQ(iResult, 0);
    EXPECT_EQ(CheckLength(SDR_CHECK_TEXT_FILE, 7, 0x08, 0x10, &iResult), "");
    EXPECT_EQ(iResult, 1);
}

TEST(SDRValidateRecordLengthTest, ZeroLength)
{
    int iResult = 1;
    EXPECT_EQ(CheckLength(SDR_CHECK_MEMORY, 4, 0x01, 0x00, &iResult),
              S_sMemoryLead + "Record length is zero. (record 4) \n");
    EXPECT_EQ(iResult, 0);
}

TEST(SDRValidateRecordLengthTest, EveryTableRow)
{
    for (unsigned int uType = 0; uType < SDR_TYPE_TABLE_SIZE; ++uType) {
        const unsigned char u8Min = SDR_RECORD_MIN_LEN[uType];
        const unsigned char u8Max = SDR_RECORD_MAX_LEN[uType];
        int iResult = 0;
        if (u8Max == 0) {
            CheckLength(SDR_CHECK_MEMORY, 1, static_cast<unsigned char>(uType), 5, &iResult);
            EXPECT_EQ(iResult, 0) << uType;  // reserved: any length is too long
            continue;
        }
        CheckLength(SDR_CHECK_MEMORY, 1, static_cast<unsigned char>(uType), u8Min, &iResult);
        EXPECT_EQ(iResult, 1) << uType;
        CheckLength(SDR_CHECK_MEMORY, 1, static_cast<unsigned char>(uType), u8Max, &iResult);
        EXPECT_EQ(iResult, 1) << uType;
        CheckLength(SDR_CHECK_MEMORY, 1, static_cast<unsigned char>(uType), static_cast<unsigned char>(u8Max + 1),
                    &iResult);
        EXPECT_EQ(iResult, 0) << uType;
        CheckLength(SDR_CHECK_MEMORY, 1, static_cast<unsigned char>(uType), static_cast<unsigned char>(u8Min - 1),
                    &iResult);
        EXPECT_EQ(iResult, 0) << uType;
    }
}

TEST(SDRValidateRecordLengthTest, TypeOutsideTheTableHasNoLength)
{
    int iResult = 1;
    EXPECT_EQ(CheckLength(SDR_CHECK_MEMORY, 1, 0x20, 0x10, &iResult),
              S_sMemoryLead + "Record length (10h) is greater than the maximum length of type 20h. (record 1) \n");
    EXPECT_EQ(iResult, 0);
}

TEST(SDRValidateRecordHeaderTest, EachCheckedByte)
{
    struct Case {
        unsigned char u8Position;
        unsigned char u8Value;
        const char* pchMessage;
    } aCases[] = {
        {3, 0x02, "Record type (02h) is not the same as that from '_SDR_TYPE 01'. "},
        {3, 0x01, nullptr},
        {2, 0x50, "SDR version (50h) != 51h in record type 01h. "},
        {2, 0x51, nullptr},
        {4, 0x2B, "Record length (2Bh) is inconsistent with that from '_REC_LEN 35'. "},
        {4, 0x30, nullptr},
        {0, 0xFF, nullptr},
        {1, 0x00, nullptr},
        {5, 0x77, nullptr},
    };
    for (const Case& headerCase : aCases) {
        const SDREntry entry = Entry(0x01, 0x35);
        CapturedOutput output;
        const int iResult =
            SDRValidateRecordHeader(SDR_CHECK_TEXT_FILE, 9, &entry, headerCase.u8Position, headerCase.u8Value);
        output.Finish();
        if (headerCase.pchMessage == nullptr) {
            EXPECT_EQ(iResult, 1);
            EXPECT_EQ(output.Err(), "");
        } else {
            EXPECT_EQ(iResult, 0);
            EXPECT_EQ(output.Err(), S_sTextLead + headerCase.pchMessage + "(line 9) \n");
        }
    }
}

TEST(SDRValidateRecordHeaderTest, BodyLengthDoesNotWrap)
{
    const SDREntry entry = Entry(0x01, 0x00);
    CapturedOutput output;
    EXPECT_EQ(SDRValidateRecordHeader(SDR_CHECK_MEMORY, 1, &entry, SDR_HEADER_BODY_LENGTH, 0xFB), 0);
}

// A file's list and the repository's, with free entries to put records in.
class ListTest : public testing::Test {
protected:
    static SDRRecordList FirstOf(const SDRRecordList& list, unsigned int uCount)
    {
        return SDRRecordList(list.begin(), list.begin() + uCount);
    }

    void TearDown() override { G_bVerboseMode = false; }

    SDRRecordList m_local = FreeSlots(2048);
    SDRRecordList m_repository = FreeSlots(2048);
};

TEST_F(ListTest, ValidateRawDataAcceptsGoodRecords)
{
    PutRecord(m_repository[0], SdrNamedRecord(1, 0x01, "A"));
    PutRecord(m_repository[5], SdrFixedRecord(2, 0xC0, 0x40));
    CapturedOutput output;
    EXPECT_EQ(SDRValidateRawData(m_repository), 1);
    output.Finish();
    EXPECT_EQ(output.Err(), "");
    EXPECT_EQ(m_repository[0].u8Cursor, 0);     // the list is only read
    EXPECT_EQ(SDRValidateRawData(m_local), 1);  // an empty list
}

TEST_F(ListTest, ValidateRawDataNumbersOccupiedRecords)
{
    PutRecord(m_repository[0], SdrNamedRecord(1, 0x01, "A"));
    m_repository[1].u8RecordLength = 9;  // free slot with a length: skipped
    std::string sBad = SdrNamedRecord(2, 0x02, "B");
    sBad[2] = 0x50;
    PutRecord(m_repository[7], sBad);
    CapturedOutput output;
    EXPECT_EQ(SDRValidateRawData(m_repository), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), S_sMemoryLead + "SDR version (50h) != 51h in record type 02h. (record 2) \n");
}

TEST_F(ListTest, ValidateRawDataChecksTypeThenLengthThenHeader)
{
    std::string sRecord = SdrFixedRecord(1, 0x08, 0x10);
    PutRecord(m_repository[0], sRecord);
    m_repository[0].u8RecordType = 0x05;
    CapturedOutput typeOutput;
    EXPECT_EQ(SDRValidateRawData(m_repository), 0);
    typeOutput.Finish();
    EXPECT_EQ(typeOutput.Err(), S_sMemoryLead + "Record type (05h) is reserved. (record 1) \n");

    PutRecord(m_repository[0], sRecord);
    m_repository[0].u8RecordLength = 0x11;
    CapturedOutput lengthOutput;
    EXPECT_EQ(SDRValidateRawData(m_repository), 0);
    lengthOutput.Finish();
    EXPECT_EQ(lengthOutput.Err(),
              S_sMemoryLead + "Record length (11h) is greater than the maximum length of type 08h. (record 1) \n");

    PutRecord(m_repository[0], sRecord);
    m_repository[0].au8RecordData[3] = 0x09;
    CapturedOutput headerOutput;
    EXPECT_EQ(SDRValidateRawData(m_repository), 0);
    headerOutput.Finish();
    EXPECT_EQ(headerOutput.Err(),
              S_sMemoryLead + "Record type (09h) is not the same as that from '_SDR_TYPE 08'. (record 1) \n");
}

TEST_F(ListTest, ValidateRawDataLeavesTheBodyLengthByte)
{
    std::string sRecord = SdrFixedRecord(1, 0x14, 0x10);
    sRecord[4] = 0x01;  // wrong body length: only the text reader checks it
    PutRecord(m_repository[0], sRecord);
    CapturedOutput output;
    EXPECT_EQ(SDRValidateRawData(m_repository), 1);
}

TEST(SDRHasIDStringTest, TypesWithNames)
{
    for (int iType = 0; iType < 256; ++iType) {
        const bool bNamed =
            iType == 0x01 || iType == 0x02 || iType == 0x03 || iType == 0x10 || iType == 0x11 || iType == 0x12;
        EXPECT_EQ(SDRHasIDString(static_cast<unsigned char>(iType)), bNamed ? 1 : 0) << iType;
    }
}

TEST_F(ListTest, RequiredSizeSumsLengthsAndWraps)
{
    EXPECT_EQ(GetRequiredSDRSize(SDRRecordList()), 0);
    m_local[0].u8RecordLength = 0x30;
    m_local[1].u8RecordLength = 0x10;  // counted although the slot is free
    m_local[2].u8RecordLength = 0x40;
    EXPECT_EQ(GetRequiredSDRSize(FirstOf(m_local, 2)), 0x40);
    EXPECT_EQ(GetRequiredSDRSize(FirstOf(m_local, 3)), 0x80);
    for (unsigned int i = 0; i < 2000; ++i) {
        m_local[i].u8RecordLength = 0x40;
    }
    EXPECT_EQ(GetRequiredSDRSize(FirstOf(m_local, 2000)), (2000 * 0x40) % 65536);
}

// --- SDRCompare -----------------------------------------------------------------

class CompareTest : public ListTest {
protected:
    void Both(unsigned int uSlot, const std::string& sRecord)
    {
        PutRecord(m_local[uSlot], sRecord);
        PutRecord(m_repository[uSlot], sRecord);
    }
    int Compare(unsigned short u16File, unsigned short u16BMC)
    {
        CapturedOutput output;
        const int iResult = SDRCompare(FirstOf(m_local, u16File), FirstOf(m_repository, u16BMC));
        output.Finish();
        m_sErr = output.Err();
        m_sOut = output.Out();
        return iResult;
    }
    std::string m_sErr;
    std::string m_sOut;
};

TEST_F(CompareTest, SameRecordsButTheIdsCompareEqual)
{
    Both(0, SdrNamedRecord(1, 0x01, "CPU"));
    Both(1, SdrFixedRecord(2, 0xC0, 0x20));
    m_repository[0].au8RecordData[0] = 0x77;  // the BMC chose another ID
    m_repository[1].au8RecordData[1] = 0x12;
    EXPECT_EQ(Compare(2, 2), 1);
    EXPECT_EQ(m_sErr, "");
}

TEST_F(CompareTest, CountsDiffer)
{
    Both(0, SdrNamedRecord(1, 0x01, "CPU"));
    EXPECT_EQ(Compare(1, 2), 0);
    EXPECT_EQ(m_sErr, "Record number different: in file is 1, in BMC is 2\n");
}

TEST_F(CompareTest, TypeLengthAndDataDifferences)
{
    Both(0, SdrNamedRecord(1, 0x01, "CPU"));
    Both(1, SdrNamedRecord(2, 0x02, "FAN"));
    m_repository[1].u8RecordType = 0x03;
    EXPECT_EQ(Compare(2, 2), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Different record type in record 1!\n");

    Both(1, SdrNamedRecord(2, 0x02, "FAN"));
    m_repository[1].u8RecordLength = 0x22;
    EXPECT_EQ(Compare(2, 2), 0);
    EXPECT_EQ(m_sErr, "Different record length in record 1!\n");

    Both(1, SdrNamedRecord(2, 0x02, "FAN"));
    m_repository[1].au8RecordData[0x21] = 'X';
    EXPECT_EQ(Compare(2, 2), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Different record data in record 1, 33  byte!\n");
}

TEST_F(CompareTest, FreeSlotsAreSkippedAndLeftoversIgnored)
{
    Both(0, SdrNamedRecord(1, 0x01, "CPU"));
    PutRecord(m_local[2], SdrNamedRecord(3, 0x01, "GPU"));  // slot 1 free in the file list
    PutRecord(m_repository[1], SdrNamedRecord(2, 0x01, "GPU"));
    PutRecord(m_repository[2], SdrNamedRecord(4, 0x01, "XXX"));
    // File slot 2 meets BMC slot 1; the BMC's slot 2 is left over.
    EXPECT_EQ(Compare(3, 3), 1);
    m_repository[1].au8RecordData[0x30] = 'H';
    EXPECT_EQ(Compare(3, 3), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Different record data in record 2, 48  byte!\n");
}

TEST_F(CompareTest, OneListWithARecordMoreBehindFreeSlots)
{
    Both(0, SdrNamedRecord(1, 0x01, "CPU"));
    // The file list's second record stands beyond the count, behind a free
    // slot: the cursor runs out and the lists are taken as equal.
    PutRecord(m_local[2], SdrNamedRecord(3, 0x02, "EXTRA"));
    PutRecord(m_repository[1], SdrNamedRecord(2, 0x01, "TWO"));
    EXPECT_EQ(Compare(2, 2), 1);
    EXPECT_EQ(m_sErr, "");
}

TEST_F(CompareTest, VerboseTraceShowsPositions)
{
    Both(4, SdrFixedRecord(9, 0x14, 0x10));
    G_bVerboseMode = true;
    EXPECT_EQ(Compare(5, 5), 1);
    const std::string sBytes = "09 00 51 14 0B ";
    std::string sExpected = "Record number: in local file is 5, in BMC is 5 \n";
    std::string sData;
    for (unsigned char c : valdrn_test::RecordOf(m_local[4])) {
        char achHex[4];
        std::snprintf(achHex, sizeof achHex, "%02X ", c);
        sData += achHex;
    }
    sExpected += "File Seq=0005, ID=0005h, Data=" + sData + "\n";
    sExpected += "BMC  Seq=0005, ID=0005h, Data=" + sData + "\n";
    EXPECT_EQ(m_sOut, sExpected);
    EXPECT_EQ(sData.substr(0, sBytes.size()), sBytes);
}

TEST(RepositoryTrace, DebugPrintGetSDRTrace)
{
    SDREntry entry = FreeSDRSlot();
    PutRecord(entry, SdrFixedRecord(0x0102, 0xC0, 0x08));
    CapturedOutput quiet;
    DebugPrintGetSDR(0x0102, 0x0103, 2, 10, &entry);
    quiet.Finish();
    EXPECT_EQ(quiet.Out(), "");

    G_bVerboseMode = true;
    CapturedOutput output;
    DebugPrintGetSDR(0x0102, 0x0103, 2, 10, &entry);
    DebugPrintGetSDR(0x0200, 0xFFFF, 0xFFFF, 10, nullptr);
    output.Finish();
    const std::string sRecord = valdrn_test::RecordOf(entry);
    std::string sData;
    for (unsigned char c : sRecord) {
        char achHex[4];
        std::snprintf(achHex, sizeof achHex, "%02X ", c);
        sData += achHex;
    }
    EXPECT_EQ(output.Out(), "   SDRRecordID=0102, RecordLength=0008\n   RecordData=" + sData +
                                "\n   RecordGot=3, RecordTotal=A, RecordLimit=FFFF\n   NextSDRRecordID=0103\n"
                                "   SDRRecordID=0200, RecordLength=0000\n   RecordData=SDR record size too big\n"
                                "   RecordGot=10000, RecordTotal=A, RecordLimit=FFFF\n   NextSDRRecordID=FFFF\n");
    G_bVerboseMode = false;
}

// The last entry of the largest list is checked as the first is.
TEST(SDRChecks, TheLastEntryOfTheLargestListIsChecked)
{
    const std::string sRecord = SdrNamedRecord(1, 0x01, "CPU");
    SDRRecordList list = FreeSlots(SDR_MAX_RECORD_COUNT);
    PutRecord(list[0], sRecord);
    CapturedOutput output;
    EXPECT_EQ(SDRValidateRawData(list), 1);
    std::string sBad = SdrNamedRecord(2, 0x02, "B");
    sBad[2] = 0x50;
    PutRecord(list.back(), sBad);
    EXPECT_EQ(SDRValidateRawData(list), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), S_sMemoryLead + "SDR version (50h) != 51h in record type 02h. (record 2) \n");
}

TEST(SDRSlot, OccupiedNeedsLengthAndId)
{
    SDREntry entry = FreeSDRSlot();
    EXPECT_EQ(entry.u16RecordID, 0xFFFF);
    EXPECT_EQ(entry.u8RecordLength, 0);
    EXPECT_FALSE(IsSDRSlotOccupied(entry));
    entry.u8RecordLength = 10;
    EXPECT_FALSE(IsSDRSlotOccupied(entry));
    entry.u16RecordID = 0x0001;
    EXPECT_TRUE(IsSDRSlotOccupied(entry));
    entry.u8RecordLength = 0;
    EXPECT_FALSE(IsSDRSlotOccupied(entry));
}

TEST(SDRChecks, NullEntries)
{
    CapturedOutput output;
    EXPECT_EQ(SDRValidateRecordLength(1, 1, nullptr), 0);
    EXPECT_EQ(SDRValidateRecordHeader(1, 1, nullptr, 0, 0), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error!\n<ERROR> Internal Error!\n");
}

}  // namespace

// --- SDRDifferences ----------------------------------------------------------------

TEST_F(CompareTest, DifferencesOfSameRecordsAreNone)
{
    Both(0, SdrNamedRecord(1, 0x01, "CPU"));
    Both(1, SdrFixedRecord(2, 0xC0, 0x20));
    m_repository[0].au8RecordData[0] = 0x77;  // the BMC's own ID is no difference
    CapturedOutput output;
    EXPECT_TRUE(SDRDifferences(FirstOf(m_local, 2), FirstOf(m_repository, 2)).empty());
    output.Finish();
    EXPECT_EQ(output.Err() + output.Out(), "");
}

TEST_F(CompareTest, DifferencesListEveryRecordNotOnlyTheFirst)
{
    Both(0, SdrNamedRecord(1, 0x01, "CPU"));
    Both(1, SdrNamedRecord(2, 0x02, "FAN"));
    Both(2, SdrNamedRecord(3, 0x02, "PSU"));
    m_repository[0].u8RecordType = 0x03;
    m_repository[2].au8RecordData[10] ^= 0x01;
    const auto asDifferences = SDRDifferences(FirstOf(m_local, 3), FirstOf(m_repository, 3));
    ASSERT_EQ(asDifferences.size(), 2u);
    EXPECT_EQ(asDifferences[0].iFilePosition, 0);
    EXPECT_EQ(asDifferences[0].iBMCPosition, 0);
    EXPECT_EQ(asDifferences[1].iFilePosition, 2);
    EXPECT_EQ(asDifferences[1].iBMCPosition, 2);
    EXPECT_EQ(asDifferences[1].au8FileBytes.size(), m_local[2].u8RecordLength);
    EXPECT_NE(asDifferences[1].au8FileBytes, asDifferences[1].au8BMCBytes);
}

TEST_F(CompareTest, DifferencesNameRecordsFoundOnOneSideAndPassFreeSlots)
{
    Both(0, SdrNamedRecord(1, 0x01, "CPU"));
    PutRecord(m_repository[2], SdrNamedRecord(2, 0x02, "FAN"));
    m_repository[1].u16RecordID = SDR_FREE_SLOT_ID;
    m_repository[1].u8RecordLength = 0;
    auto asDifferences = SDRDifferences(FirstOf(m_local, 1), FirstOf(m_repository, 3));
    ASSERT_EQ(asDifferences.size(), 1u);
    EXPECT_EQ(asDifferences[0].iFilePosition, -1);
    EXPECT_EQ(asDifferences[0].iBMCPosition, 2);
    EXPECT_TRUE(asDifferences[0].au8FileBytes.empty());
    asDifferences = SDRDifferences(FirstOf(m_local, 1), SDRRecordList());
    ASSERT_EQ(asDifferences.size(), 1u);
    EXPECT_EQ(asDifferences[0].iFilePosition, 0);
    EXPECT_EQ(asDifferences[0].iBMCPosition, -1);
    EXPECT_TRUE(SDRDifferences(SDRRecordList(), SDRRecordList()).empty());
}
