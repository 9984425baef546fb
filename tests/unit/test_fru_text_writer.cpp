#include "fru/fru_text_writer.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "fru/fru_text_reader.h"
#include "support/fru_fixtures.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;
using namespace std::string_literals;

namespace {

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

class FruWriterTest : public testing::Test {
protected:
    void TearDown() override { G_bVerboseMode = false; }

    // The inventory image as read from the BMC: its area, with zeros after
    // the data as an inventory of a fixed size has.
    void Inventory(const std::string& sImage, size_t uAreaSize = 0)
    {
        m_sInventory = sImage;
        m_sInventory.resize(uAreaSize != 0 ? uAreaSize : sImage.size(), '\0');
    }

    int Save(unsigned int u32Encoding, const std::string& sName = "out.fru")
    {
        CapturedOutput output;
        const FRUImage inventory =
            MakeFRUImage(reinterpret_cast<const unsigned char*>(m_sInventory.data()), m_sInventory.size());
        const int iResult = SaveFRUFile(m_dir.File(sName).c_str(), inventory, u32Encoding);
        output.Finish();
        m_sOut = output.Out();
        m_sErr = output.Err();
        return iResult;
    }

    std::string Written() const { return ReadFile(m_dir.File("out.fru")); }

    // Reads the written file back; the local image.
    std::string ReadBack()
    {
        CapturedOutput output;
        FRUImage image;
        const int iResult = ReadFRUFile(m_dir.File("out.fru").c_str(), &image);
        output.Finish();
        EXPECT_EQ(iResult, 1) << output.Err();
        return std::string(reinterpret_cast<const char*>(image.au8Bytes.data()), image.u16Size);
    }

    TempDir m_dir;
    std::string m_sInventory;
    std::string m_sOut;
    std::string m_sErr;
};

const std::string S_sHeaderOnly = FruImage({"", "", "", "", ""});

TEST_F(FruWriterTest, OnlyTheCommonHeader)
{
    Inventory(S_sHeaderOnly);
    EXPECT_EQ(Save(0), 1);
    EXPECT_EQ(Written(), "_FRU (\n_SEE_COMMON\n" + HexLines(S_sHeaderOnly) + ")\n");
    EXPECT_EQ(m_sOut, "The FRU data has been saved in file " + m_dir.File("out.fru") + "! \n");
    EXPECT_EQ(m_sErr, "");
}

TEST_F(FruWriterTest, ByteOrderMarks)
{
    Inventory(S_sHeaderOnly);
    EXPECT_EQ(Save(1), 1);
    EXPECT_EQ(Written(), AsUtf8File("_FRU (\n_SEE_COMMON\n" + HexLines(S_sHeaderOnly) + ")\n"));
    EXPECT_EQ(Save(2), 1);
    EXPECT_EQ(Written(), AsUtf16File("_FRU (\n_SEE_COMMON\n" + HexLines(S_sHeaderOnly) + ")\n"));
}

// A board area whose product name (field 1) is the five characters.
std::string BoardImage(uint8_t u8Language, const std::string& sProductName)
{
    return FruImage({"", "",
                     FruBoardArea(u8Language, 0x0A0B0C,
                                  {FruAsciiField("ACME"), sProductName, FruAsciiField("SN123"), FruEmptyField()}),
                     "", ""});
}

TEST_F(FruWriterTest, BoardFieldsAsQuotedStrings)
{
    const std::string sImage = BoardImage(0, FruAsciiField("Board"));
    Inventory(sImage);
    EXPECT_EQ(Save(0), 1);
    const std::string sArea = sImage.substr(8);
    const std::string sExpected = "_FRU (\n_SEE_COMMON\n" + HexLines(sImage.substr(0, 8)) + "_SEE_BOARD\n" +
                                  HexLines(sArea.substr(0, 6)) + "C4\n'ACME'\nC5\n'Board'\nC5\n'SN123'\nC0\n" +
                                  HexLines(sArea.substr(6 + 5 + 6 + 6 + 1)) + ")\n";
    EXPECT_EQ(Written(), sExpected);
}

// Found by fuzzing: the reader supplies zeros between C1 and the checksum,
// so any other byte there was written and read back as another image.
TEST_F(FruWriterTest, DataBetweenEndOfFieldsAndChecksumIsRefused)
{
    std::string sImage = BoardImage(0, FruAsciiField("Board"));
    const size_t uAreaEnd = 8 + static_cast<unsigned char>(sImage[9]) * 8;
    const size_t uC1 = 8 + 6 + 5 + 6 + 6 + 1;
    ASSERT_EQ(static_cast<unsigned char>(sImage[uC1]), 0xC1);
    ASSERT_LT(uC1 + 2, uAreaEnd - 1) << "the fixture needs padding";
    sImage[uC1 + 2] = 0x20;
    sImage[uAreaEnd - 1] = static_cast<char>(sImage[uAreaEnd - 1] - 0x20);  // the checksum still holds
    Inventory(sImage);
    EXPECT_EQ(Save(2), 0);
    EXPECT_EQ(m_sErr,
              "<ERROR> FRU write - Board Info Area has data after its end of fields (C1)\n"
              "The FRU text format holds only zero bytes between C1 and the checksum\n");
    EXPECT_EQ(m_sOut, "");
}

TEST_F(FruWriterTest, UnicodeBoardFieldRefusedInEightBitOutput)
{
    const std::string sBoard = std::string("B\0o\0", 4);
    Inventory(BoardImage(0x01, FruUnicodeField(sBoard)));
    EXPECT_EQ(Save(0), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Board Info Area contains Unicode data\nThe file encoding format cannot be ASCII\n");
    EXPECT_EQ(m_sOut, "");
}

TEST_F(FruWriterTest, UnicodeFieldsRawInUtf16AndConvertedInUtf8)
{
    const std::string sWide = std::string("B\0\xE9\0\xAC\x20", 6);
    const std::string sImage = BoardImage(0x01, FruUnicodeField(sWide));
    Inventory(sImage);
    EXPECT_EQ(Save(2), 1) << m_sErr;
    const std::string sWritten = Written();
    EXPECT_NE(sWritten.find("C\0"
                            "6\0\n\0'\0"s +
                            sWide + "'\0\n\0"s),
              std::string::npos);
    // The serial number (field 2) stays 8-bit whatever the language.
    EXPECT_NE(sWritten.find(AsUtf16File("'SN123'\n").substr(2)), std::string::npos);
    EXPECT_EQ(ReadBack(), sImage);
    EXPECT_EQ(Save(1), 1) << m_sErr;
    EXPECT_NE(Written().find("C6\n'B\xC3\xA9\xE2\x82\xAC'\n"), std::string::npos);
    EXPECT_EQ(ReadBack(), sImage);
}

TEST_F(FruWriterTest, Utf8KeepsEveryCharacter)
{
    // U+0141 has a low byte below 0x80: UTF16ToUTF8 would drop it.
    const std::string sWide = std::string(
        "\x41\x01"
        "x\0",
        4);
    const std::string sImage = BoardImage(0x01, FruUnicodeField(sWide));
    Inventory(sImage);
    EXPECT_EQ(Save(1), 1) << m_sErr;
    EXPECT_NE(Written().find("'\xC5\x81x'"), std::string::npos);
    EXPECT_EQ(ReadBack(), sImage);
}

TEST_F(FruWriterTest, EmptyFieldIsItsByteLineAlone)
{
    const std::string sImage = FruImage({"", FruChassisArea(0x17, {FruEmptyField(), FruEmptyField()}), "", "", ""});
    Inventory(sImage);
    EXPECT_EQ(Save(0), 1);
    EXPECT_EQ(Written(), "_FRU (\n_SEE_COMMON\n" + HexLines(sImage.substr(0, 8)) + "_SEE_CHASSIS\n" +
                             HexLines(sImage.substr(8)) + ")\n");
}

TEST_F(FruWriterTest, ManagementAccessRecords)
{
    const std::string sRaw = FruMultiRecord(0x03, "\x07" + std::string(16, '\x41'), false);
    const std::string sText = FruMultiRecord(0x03,
                                             "\x02"
                                             "bmc-1",
                                             true);
    const std::string sImage = FruImage({"", "", "", "", sRaw + sText});
    Inventory(sImage);
    EXPECT_EQ(Save(0), 1);
    EXPECT_EQ(Written(), "_FRU (\n_SEE_COMMON\n" + HexLines(sImage.substr(0, 8)) + "_SEE_MULTIRECORD\n" +
                             HexLines(sRaw) + HexLines(sText.substr(0, 6)) + "'bmc-1'\n)\n");
    EXPECT_EQ(ReadBack(), sImage);
}

TEST_F(FruWriterTest, RoundTripInEveryAcceptingEncoding)
{
    struct Case {
        std::string sImage;
        std::vector<unsigned int> au32Encodings;
    } aCases[] = {
        {TypicalServerFru(), {0, 1, 2}},
        {EveryEncodingFru(), {1, 2}},
        {FruImage({"\x01\x10\x20\x30\x40\x50\x60\x70\x80\x90\xA0\xB0\xC0\xD0\xE0\xF0"s,
                   FruChassisArea(0x01, {FruAsciiField("\xE9t\xE9 \xFF")}), "", "", ""}),
         {0, 1, 2}},
    };
    for (const Case& roundTrip : aCases) {
        Inventory(roundTrip.sImage, 1024);  // an inventory area larger than its data
        for (unsigned int u32Encoding : roundTrip.au32Encodings) {
            ASSERT_EQ(Save(u32Encoding), 1) << m_sErr;
            EXPECT_EQ(ReadBack(), roundTrip.sImage) << "encoding " << u32Encoding;
        }
    }
}

TEST_F(FruWriterTest, EveryEncodingRefusedInEightBitOutput)
{
    Inventory(EveryEncodingFru());
    EXPECT_EQ(Save(0), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Board Info Area contains Unicode data\nThe file encoding format cannot be ASCII\n");
}

TEST_F(FruWriterTest, ProductFileIdIsRefusedButNotTheSerialNumber)
{
    const std::string sWide = std::string("I\0D\0", 4);
    const std::string sProduct =
        FruProductArea(0x02, {FruEmptyField(), FruEmptyField(), FruEmptyField(), FruEmptyField(), FruAsciiField("SN"),
                              FruEmptyField(), FruUnicodeField(sWide)});
    Inventory(FruImage({"", "", "", sProduct, ""}));
    EXPECT_EQ(Save(0), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Product Info Area contains Unicode data\nThe file encoding format cannot be ASCII\n");
}

TEST_F(FruWriterTest, InvalidInventoryIsNotWritten)
{
    std::string sImage = TypicalServerFru();
    sImage[20] = static_cast<char>(sImage[20] + 1);
    Inventory(sImage);
    EXPECT_EQ(Save(0), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Incorrect FRU data. \nError checksum in CHASSIS Area. \n");
    EXPECT_FALSE(FileExists(m_dir.File("out.fru")));
}

TEST_F(FruWriterTest, FieldsRunningPastTheArea)
{
    // A valid area (the checksum holds) whose fields do not end in C1
    // within its length.
    std::string sArea =
        "\x01\x01\x17\xC4"
        "ABCD"s;
    sArea.back() = static_cast<char>(ZeroSumChecksum(sArea.substr(0, 7)));
    Inventory(FruImage({"", sArea, "", "", ""}));
    EXPECT_EQ(Save(0), 0);
    EXPECT_EQ(m_sErr, "<ERROR> FRU write - Chassis Info Area length insufficient\n");
}

TEST_F(FruWriterTest, BinaryFieldCannotBeSaved)
{
    Inventory(FruImage({"", FruChassisArea(0x17, {"\x02\x12\x34"s}), "", "", ""}));
    EXPECT_EQ(Save(0), 0);
    EXPECT_EQ(m_sErr, "");
}

// Fields whose text would not read back from a quoted line go out as one
// line of hex bytes, type/length byte first: a line feed, the NUL padding
// many boards carry, half a UTF-16 character (found by fuzzing), and
// U+0000 in UTF-8.
TEST_F(FruWriterTest, FieldsThatCannotBeQuotedAreWrittenAsOneHexLine)
{
    Inventory(FruImage({"", FruChassisArea(0x17, {FruAsciiField("A\nB")}), "", "", ""}));
    EXPECT_EQ(Save(0), 1) << m_sErr;
    EXPECT_NE(Written().find("\nC3 41 0A 42\n"), std::string::npos) << Written();
    EXPECT_EQ(ReadBack(), m_sInventory);

    const std::string sPadded = BoardImage(0, FruAsciiField("SN1\0\0"s));
    const std::string sOdd = BoardImage(0x01, FruUnicodeField("B\0o"s));
    const std::string sNulChar = BoardImage(0x01, FruUnicodeField("B\0\0\0"s));
    for (const std::string& sImage : {sPadded, sOdd, sNulChar}) {
        for (unsigned int u32Encoding : {1u, 2u}) {
            Inventory(sImage);
            EXPECT_EQ(Save(u32Encoding), 1) << m_sErr;
            EXPECT_EQ(ReadBack(), sImage) << "encoding " << u32Encoding;
        }
    }
    // Found by fuzzing: the reader takes its start tag from anywhere in a
    // line, so a field holding it would read as a second start tag.
    const std::string sTag = BoardImage(0, FruAsciiField("X_FRU (1"));
    const std::string sUnicodeTag = BoardImage(0x01, FruUnicodeField("_\0F\0R\0U\0 \0(\0"s));
    for (const std::string& sImage : {sTag, sUnicodeTag}) {
        for (unsigned int u32Encoding : {1u, 2u}) {
            Inventory(sImage);
            EXPECT_EQ(Save(u32Encoding), 1) << m_sErr;
            EXPECT_EQ(ReadBack(), sImage) << "encoding " << u32Encoding;
        }
    }
    // Found by fuzzing: 64 bytes of hex are too long for one UTF-16 line;
    // in an English area the field takes two lines, in another language
    // it is refused (the line count tells English fields from Unicode).
    const std::string sLong = "S\n" + std::string(61, 'x');
    const std::string sLongEnglish = BoardImage(0, FruAsciiField(sLong));
    for (unsigned int u32Encoding : {0u, 1u, 2u}) {
        Inventory(sLongEnglish);
        EXPECT_EQ(Save(u32Encoding), 1) << m_sErr;
        EXPECT_EQ(ReadBack(), sLongEnglish) << "encoding " << u32Encoding;
    }
    Inventory(BoardImage(0x01, FruAsciiField(sLong)));
    EXPECT_EQ(Save(2), 0);
    EXPECT_EQ(m_sErr,
              "<ERROR> FRU write - the field at offset 0x0013 cannot be written as text\n"
              "It is too long for one line of a UTF-16 file; choose encoding=utf8\n");
    Inventory(sPadded);
    EXPECT_EQ(Save(0), 1);
    EXPECT_NE(Written().find("\nC5 53 4E 31 00 00\nC5\n'SN123'\n"), std::string::npos) << Written();
}

// Found by fuzzing: a field that must go out as hex bytes but holds C1. The
// reader would take that C1 for the end of the fields and fill zeros up to
// the checksum, so the field is refused rather than written wrong: a
// six-bit field whose spare bits are set, in an area of another language,
// and an English field with NUL padding.
TEST_F(FruWriterTest, HexFieldHoldingEndOfFieldsIsRefused)
{
    const std::string sSixBit = BoardImage(0xF0, "\x82\xC1\xF0"s);  // Unicode fields: no 8-bit file
    const std::string sPadded = BoardImage(0, FruAsciiField("A\xC1\0"s));
    for (const std::string& sImage : {sSixBit, sPadded}) {
        for (unsigned int u32Encoding : {0u, 1u, 2u}) {
            if (sImage == sSixBit && u32Encoding == 0) {
                continue;
            }
            Inventory(sImage);
            EXPECT_EQ(Save(u32Encoding), 0) << "encoding " << u32Encoding;
            EXPECT_EQ(m_sErr,
                      "<ERROR> FRU write - the field at offset 0x0013 cannot be written as text\n"
                      "Its text does not read back, and as hex bytes its C1 would end the fields\n");
            EXPECT_EQ(m_sOut, "");
        }
    }
    // C1 in a field that can be quoted is only a character.
    const std::string sQuoted = BoardImage(0, FruAsciiField("A\xC1"
                                                            "B"s));
    for (unsigned int u32Encoding : {0u, 1u, 2u}) {
        Inventory(sQuoted);
        EXPECT_EQ(Save(u32Encoding), 1) << m_sErr;
        EXPECT_EQ(ReadBack(), sQuoted) << "encoding " << u32Encoding;
    }
}

TEST_F(FruWriterTest, ManagementAccessTextThatCannotBeQuotedIsWrittenAsBytes)
{
    const std::string sImage = FruImage({"", "", "", "", FruMultiRecord(0x03, "\x01host\0name"s, true)});
    Inventory(sImage);
    EXPECT_EQ(Save(0), 1) << m_sErr;
    EXPECT_EQ(Written().find('\''), std::string::npos) << Written();
    EXPECT_EQ(ReadBack(), sImage);
}

TEST_F(FruWriterTest, FullDiskStopsTheSave)
{
    Inventory(TypicalServerFru());
    ASSERT_EQ(symlink("/dev/full", m_dir.File("out.fru").c_str()), 0);
    ScriptedStdin answer("y\n");
    EXPECT_EQ(Save(2), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Disk Full! " + m_dir.File("out.fru") + " may be corrupt or incomplete.\n");
    EXPECT_FALSE(FileExists(m_dir.File("out.fru")));
}

TEST_F(FruWriterTest, CannotCreateTheFile)
{
    Inventory(S_sHeaderOnly);
    EXPECT_EQ(Save(0, "nodir/out.fru"), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Cannot open file " + m_dir.File("nodir/out.fru") + "! \n");
}

TEST_F(FruWriterTest, VerboseTrace)
{
    Inventory(S_sHeaderOnly);
    G_bVerboseMode = true;
    EXPECT_EQ(Save(0), 1);
    EXPECT_EQ(m_sOut, "\n*** FRU written ***\n)\n\n*** End of FRU written ***\nThe FRU data has been saved in file " +
                          m_dir.File("out.fru") + "! \n");
}

// An image with no bytes, or a size past its bytes, is not written.
TEST(FruWriterImage, AnImageWithoutItsBytesIsRefused)
{
    TempDir dir;
    CapturedOutput output;
    EXPECT_EQ(SaveFRUFile(dir.File("out.fru").c_str(), FRUImage(), 0), 0);
    FRUImage claimsMore = MakeFRUImage(reinterpret_cast<const unsigned char*>(TypicalServerFru().data()), 8);
    claimsMore.u16Size = 9;
    EXPECT_EQ(SaveFRUFile(dir.File("out.fru").c_str(), claimsMore, 0), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error!\n<ERROR> Internal Error!\n");
    EXPECT_FALSE(FileExists(dir.File("out.fru")));
}

}  // namespace
