#include "fru/fru_text_reader.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/trace.h"
#include "fru/fru_text_common.h"
#include "support/fru_fixtures.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;
using namespace std::string_literals;

namespace {

const std::string S_sLead = "<ERROR> Incorrect FRU file.\n";

// 1-based number of the first line holding the text.
int LineOf(const std::string& sFile, const std::string& sText)
{
    const size_t uAt = sFile.find(sText);
    EXPECT_NE(uAt, std::string::npos) << sText;
    int iLine = 1;
    for (size_t i = 0; i < uAt; ++i) {
        iLine += sFile[i] == '\n' ? 1 : 0;
    }
    return iLine;
}

std::string Replace(std::string sText, const std::string& sOld, const std::string& sNew)
{
    const size_t uAt = sText.find(sOld);
    EXPECT_NE(uAt, std::string::npos) << sOld;
    return sText.replace(uAt, sOld.size(), sNew);
}

// The text with its last byte line (the last area's checksum) set to the
// image's last byte.
std::string WithChecksumOf(std::string sText, const std::string& sImage)
{
    const size_t uEnd = sText.rfind("\n", sText.rfind(")\n") - 1);
    const size_t uStart = sText.rfind("\n", uEnd - 1) + 1;
    char achChecksum[4];
    std::snprintf(achChecksum, sizeof achChecksum, "%02X", static_cast<unsigned char>(sImage.back()));
    return sText.replace(uStart, uEnd - uStart, achChecksum);
}

// A chassis-only image: header 01 00 01 00 00 00 00 FE.
const std::string S_sChassisOnly =
    FruImage({"", FruChassisArea(0x17, {FruAsciiField("P-1"), FruEmptyField()}), "", "", ""});

class FruReaderTest : public testing::Test {
protected:
    void TearDown() override { G_bVerboseMode = false; }

    int Read(const std::string& sContent)
    {
        m_sFile = sContent;
        WriteFile(m_dir.File("in.fru"), sContent);
        CapturedOutput output;
        const int iResult = ReadFRUFile(m_dir.File("in.fru").c_str(), &m_image);
        output.Finish();
        m_sOut = output.Out();
        m_sErr = output.Err();
        return iResult;
    }

    std::string Image() const
    {
        return std::string(reinterpret_cast<const char*>(m_image.au8Bytes.data()), m_image.u16Size);
    }

    TempDir m_dir;
    FRUImage m_image;
    std::string m_sFile;
    std::string m_sOut;
    std::string m_sErr;
};

TEST_F(FruReaderTest, TextOfTypicalServer)
{
    ASSERT_EQ(Read(FruText(TypicalServerFru())), 1) << m_sErr;
    EXPECT_EQ(m_sErr, "");
    EXPECT_EQ(m_sOut, "");
    EXPECT_EQ(Image(), TypicalServerFru());
}

TEST_F(FruReaderTest, TextInUtf8AndUtf16)
{
    const std::string sText = FruText(TypicalServerFru());
    EXPECT_EQ(Read(AsUtf8File(sText)), 1) << m_sErr;
    EXPECT_EQ(Image(), TypicalServerFru());
    EXPECT_EQ(Read(AsUtf16File(sText)), 1) << m_sErr;
    EXPECT_EQ(Image(), TypicalServerFru());
}

TEST_F(FruReaderTest, BinaryFileWithoutStartTag)
{
    EXPECT_EQ(Read(TypicalServerFru()), 1) << m_sErr;
    EXPECT_EQ(m_sOut, "Recognize FRU File as binary format ");
    EXPECT_EQ(Image(), TypicalServerFru());
    EXPECT_EQ(Read(TypicalServerFru() + "\x00"s), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Incorrect FRU file. \nFound data outside the scope of a FRU record. \n");
}

TEST_F(FruReaderTest, TextWithoutStartTagIsTakenForBinary)
{
    EXPECT_EQ(Read("_SEE_COMMON\n01 00 01 00 00 00 00 FE\n"), 0);
    EXPECT_EQ(m_sOut, "Recognize FRU File as binary format ");
    EXPECT_EQ(m_sErr, "<ERROR> Incorrect FRU binary file. \nThe version field (0x5F) in COMMON Area != 0x01. \n");
}

TEST_F(FruReaderTest, BinaryFileLargerThan64KiB)
{
    EXPECT_EQ(Read(TypicalServerFru() + std::string(70000, '\0')), 0);
    EXPECT_EQ(m_sErr, "<ERROR> " + m_dir.File("in.fru") + " is not a correct FRU file. \n");
}

TEST_F(FruReaderTest, StartTagRules)
{
    const std::string sText = FruText(S_sChassisOnly);
    EXPECT_EQ(Read(Replace(sText, "_FRU (\n", "   _FRU (   // the block\n")), 1) << m_sErr;
    EXPECT_EQ(Read(Replace(sText, "_FRU (\n", "_FRU ( 01\n")), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Find FRU tag/data outside the '_FRU( )' block.\n");
    EXPECT_EQ(Read("stray\n" + sText), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Find FRU tag/data outside the '_FRU( )' block.\n");
    EXPECT_EQ(Read(sText + "_FRU (\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Multiple '_FRU (' tag is NOT allowed. \n");
}

TEST_F(FruReaderTest, NothingButCommentsAfterTheEndTag)
{
    const std::string sText = FruText(S_sChassisOnly);
    EXPECT_EQ(Read(sText + "// done\n\n   \n"), 1) << m_sErr;
    EXPECT_EQ(Read(sText + "00\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Find FRU tag/data outside the '_FRU( )' block. \n");
    EXPECT_EQ(Read(Replace(sText, ")\n", ") 00\n")), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Find FRU tag/data outside the '_FRU( )' block. \n");
}

TEST_F(FruReaderTest, ChassisOnlyAreaTagMustComeNext)
{
    const std::string sText = FruText(S_sChassisOnly);
    ASSERT_NE(sText.find("01 00 01 00 00 00 00 FE"), std::string::npos);
    const std::string sWrong = Replace(sText, "_SEE_CHASSIS", "_SEE_BOARD");
    EXPECT_EQ(Read(sWrong), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Error data '_SEE_BOARD', it should be '_SEE_CHASSIS' in FRU file. (line " +
                          std::to_string(LineOf(sWrong, "_SEE_BOARD")) + ") \n");
}

TEST_F(FruReaderTest, AreaOffsetMustMatchTheBytesRead)
{
    // The header puts the chassis at 16, but it follows the header at 8.
    const std::string sText = Replace(FruText(S_sChassisOnly), "01 00 01 00 00 00 00 FE", "01 00 02 00 00 00 00 FD");
    EXPECT_EQ(Read(sText), 0);
    EXPECT_EQ(m_sErr, S_sLead + "The offset to CHASSIS Area is not correct. \n");
}

TEST_F(FruReaderTest, CommonHeaderChecks)
{
    const std::string sText = FruText(S_sChassisOnly);
    std::string sVersion = Replace(sText, "01 00 01 00 00 00 00 FE", "02 00 01 00 00 00 00 FD");
    EXPECT_EQ(Read(sVersion), 0);
    EXPECT_EQ(m_sErr, S_sLead + "The version field (0x02) in COMMON Area != 0x01. (line 4) \n");
    EXPECT_EQ(Read(Replace(sText, "01 00 01 00 00 00 00 FE", "01 00 01 00 00 00 05 F9")), 0);
    EXPECT_EQ(m_sErr, S_sLead + "The PAD field (0x05) in COMMON Area != 002X. (line 4) \n");
    EXPECT_EQ(Read(Replace(sText, "01 00 01 00 00 00 00 FE", "01 00 01 00 00 00 00 FF")), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Error checksum in COMMON Header in FRU file. \n");
    EXPECT_EQ(Read(Replace(sText, "01 00 01 00 00 00 00 FE", "01 00 01 00 00 00 00 F")), 0);
    EXPECT_EQ(m_sErr, S_sLead + "'F' is not a Hex byte data in COMMON Area. (line 4) \n");
    EXPECT_EQ(Read("_FRU (\n_SEE_COMMON\n01 00\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "COMMON Area is not complete. \n");
    EXPECT_EQ(Read("_FRU (\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Lack '_SEE_COMMON' tag in FRU file. \n");
}

TEST_F(FruReaderTest, AreaHeaderChecks)
{
    const std::string sText = FruText(S_sChassisOnly);
    const std::string sVersion = Replace(sText, "01 02 17", "02 02 17");
    EXPECT_EQ(Read(sVersion), 0);
    EXPECT_EQ(m_sErr, S_sLead + "The area version field (0x02) in CHASSIS Area is not correct. (line " +
                          std::to_string(LineOf(sVersion, "02 02 17")) + ") \n");
    const std::string sZero = Replace(sText, "01 02 17", "01 00 17");
    EXPECT_EQ(Read(sZero), 0);
    EXPECT_EQ(m_sErr, S_sLead + "The area length field (0x00) in CHASSIS Area is not correct. (line " +
                          std::to_string(LineOf(sZero, "01 00 17")) + ") \n");
}

TEST_F(FruReaderTest, AreaLengthAgainstTheHeader)
{
    const std::string sText = FruText(TypicalServerFru());
    const std::string sChanged = Replace(sText, "01 05 17", "01 06 17");
    EXPECT_EQ(Read(sChanged), 0);
    EXPECT_EQ(m_sErr,
              S_sLead +
                  "The area length field (0x06) in CHASSIS Area is not consistent with the information in COMMON "
                  "Area. (line " +
                  std::to_string(LineOf(sChanged, "01 06 17")) + ") \n");
}

TEST_F(FruReaderTest, C1ThenTheChecksumFillsThePadding)
{
    const std::string sText = FruText(S_sChassisOnly);
    ASSERT_NE(sText.find("C1 // end of fields"), std::string::npos);
    EXPECT_EQ(Read(sText), 1) << m_sErr;
    EXPECT_EQ(Image(), S_sChassisOnly);
}

TEST_F(FruReaderTest, C1FollowedByAQuotedString)
{
    const std::string sText =
        Replace(FruText(S_sChassisOnly), "C1 // end of fields; the padding is left to the reader\n", "C1\n'x'\n");
    EXPECT_EQ(Read(sText), 0);
    EXPECT_EQ(m_sErr, S_sLead + "In CHASSIS Area, C1 is followed by an one-byte length string. (line " +
                          std::to_string(LineOf(sText, "'x'") - 1) + ") \n");
}

// A board area whose first field is the 10-character text (type/length CA).
std::string BoardText(uint8_t u8Language, const std::string& sFirstLine)
{
    const std::string sImage =
        FruImage({"", "",
                  FruBoardArea(u8Language, 0x010203,
                               {FruAsciiField("0123456789"), FruAsciiField("Name"), FruAsciiField("SERIAL")}),
                  "", ""});
    std::string sText = FruText(sImage);
    return Replace(sText, "'0123456789'\n", sFirstLine);
}

TEST_F(FruReaderTest, StringLengthMustMatchItsTypeLengthByte)
{
    EXPECT_EQ(Read(BoardText(0, "'0123456789'\n")), 1) << m_sErr;
    const std::string sShort = BoardText(0, "'012345678'\n");
    EXPECT_EQ(Read(sShort), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Length of the quoted string (line " +
                          std::to_string(LineOf(sShort, "'012345678'") - 1) +
                          ") in BOARD Area is 9. \nLength specified in the type/length byte is 10. \n");
}

TEST_F(FruReaderTest, QuotedStringLineErrors)
{
    const std::string sOpen = BoardText(0, "'0123456789\n");
    EXPECT_EQ(Read(sOpen), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Quoted string (line " + std::to_string(LineOf(sOpen, "'0123456789") - 1) +
                          ") in BOARD Area is not complete. \n");
    const std::string sNoQuote = BoardText(0, "x '0123456789'\n");
    EXPECT_EQ(Read(sNoQuote), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Quoted string (line " + std::to_string(LineOf(sNoQuote, "x '") - 1) +
                          ") in BOARD Area does not begin with a quotation mark. \n");
    // Leading blanks, and anything after the last apostrophe, are not part
    // of the string.
    EXPECT_EQ(Read(BoardText(0, " \t '0123456789'   // ten characters\n")), 1) << m_sErr;
    // The last apostrophe closes it: one inside makes the text differ.
    EXPECT_EQ(Read(BoardText(0, "'01234'6789'\n")), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Error checksum in BOARD Area in FRU file. \n");
}

TEST_F(FruReaderTest, UnicodeFieldInAnEightBitFile)
{
    const std::string sText = BoardText(0x01, "'0123456789'\n");
    EXPECT_EQ(Read(sText), 0);
    EXPECT_EQ(m_sErr, S_sLead +
                          "<ERROR> Invalid file encoding format!\nBOARD Info Area contains data in Unicode. The "
                          "file must be Unicode encoded!\n");
}

TEST_F(FruReaderTest, SerialNumberStaysEnglish)
{
    // Language 0x01: the third data line's string (the serial number) is
    // 8-bit; only the first two fields would need Unicode.
    const std::string sImage = FruImage(
        {"", "",
         FruBoardArea(0x01, 0,
                      {FruEmptyField(), FruEmptyField(), FruAsciiField("SN-1"), FruEmptyField(), FruAsciiField("ID")}),
         "", ""});
    EXPECT_EQ(Read(FruText(sImage)), 1) << m_sErr;
    EXPECT_EQ(Image(), sImage);
}

TEST_F(FruReaderTest, UnicodeFieldsInUtf16AndUtf8Files)
{
    const std::string sWide = "V\0a\0l\0\xAC\x20"s;  // "Val€" in UTF-16LE
    const std::string sImage = FruImage(
        {"", "", FruBoardArea(0x22, 0, {FruUnicodeField(sWide), FruEmptyField(), FruAsciiField("SN")}), "", ""});
    // Written by hand: the UTF-16 file carries the field as it is, the
    // UTF-8 file as UTF-8 text.
    std::string sText = FruText(FruImage(
        {"", "", FruBoardArea(0x22, 0, {FruAsciiField("XXXXXXXX"), FruEmptyField(), FruAsciiField("SN")}), "", ""}));
    sText = WithChecksumOf(sText, sImage);
    // UTF-16 file.
    std::string sUtf16 = AsUtf16File(sText);
    const std::string sOldField = AsUtf16File("'XXXXXXXX'").substr(2);
    sUtf16.replace(sUtf16.find(sOldField), sOldField.size(), "'\0"s + sWide + "'\0"s);
    EXPECT_EQ(Read(sUtf16), 1) << m_sErr;
    EXPECT_EQ(Image(), sImage);
    // UTF-8 file.
    const std::string sUtf8 = Replace(AsUtf8File(sText), "'XXXXXXXX'", "'Val\xE2\x82\xAC'");
    EXPECT_EQ(Read(sUtf8), 1) << m_sErr;
    EXPECT_EQ(Image(), sImage);
}

TEST_F(FruReaderTest, Utf16UnicodeLengthMismatch)
{
    std::string sText =
        FruText(FruImage({"", "", FruBoardArea(0x22, 0, {FruAsciiField("XXXX"), FruAsciiField("SN")}), "", ""}));
    std::string sUtf16 = AsUtf16File(sText);
    const std::string sOldField = AsUtf16File("'XXXX'").substr(2);
    sUtf16.replace(sUtf16.find(sOldField), sOldField.size(), "'\0A\0B\0C\0'\0"s);  // 6 bytes, C4 says 4
    EXPECT_EQ(Read(sUtf16), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Length of the quoted string (line " + std::to_string(LineOf(sText, "'XXXX'") - 1) +
                          ") in BOARD Area is 6. \nLength specified in the type/length byte is 4. \n");
}

TEST_F(FruReaderTest, SixBitAndBcdPlusFields)
{
    const std::string sImage =
        FruImage({"", FruChassisArea(0x17, {FruSixBitField("CHS-42 X"), FruBcdField("1-2.3")}), "", "", ""});
    std::string sText =
        FruText(FruImage({"", FruChassisArea(0x17, {FruAsciiField("xx"), FruAsciiField("yy")}), "", "", ""}));
    // Hand-written: type/length bytes of the packed fields, their text quoted.
    sText = WithChecksumOf(Replace(sText, "C2\n'xx'\nC2\n'yy'\n", "86\n'CHS-42 X'\n43\n'1-2.3'\n"), sImage);
    EXPECT_EQ(Read(sText), 1) << m_sErr << sText;
    EXPECT_EQ(Image(), sImage);
    const std::string sLower = Replace(sText, "'CHS-42 X'", "'chs-42 x'");
    EXPECT_EQ(Read(sLower), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Fail to convert quoted string \"chs-42 x\" in CHASSIS Area. (line " +
                          std::to_string(LineOf(sLower, "'chs") - 1) + ") \n");
}

TEST_F(FruReaderTest, BinaryTypeCannotHoldAQuotedString)
{
    const std::string sText = Replace(FruText(S_sChassisOnly), "C3\n'P-1'\n", "03\n'P-1'\n");
    EXPECT_EQ(Read(sText), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Incorrect String Type in CHASSIS Area. (line " +
                          std::to_string(LineOf(sText, "'P-1'") - 1) + ") \n");
}

TEST_F(FruReaderTest, HexErrorsInAFieldBlock)
{
    const std::string sText = Replace(FruText(S_sChassisOnly), "C3\n", "C3 ZZ\n");
    EXPECT_EQ(Read(sText), 0);
    EXPECT_EQ(m_sErr, S_sLead + "'ZZ' is not a Hex byte data in CHASSIS Area. (line " +
                          std::to_string(LineOf(sText, "C3 ZZ")) + ") \n");
}

TEST_F(FruReaderTest, EndOfFileInsideAnArea)
{
    const std::string sText = FruText(S_sChassisOnly);
    EXPECT_EQ(Read(sText.substr(0, sText.find("C1 //"))), 0);
    EXPECT_EQ(m_sErr, S_sLead + "CHASSIS Area is not complete. \n");
    // The last line without its line end is cut off too.
    EXPECT_EQ(Read(sText.substr(0, sText.find("C1 //")) + "C1"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "CHASSIS Area is not complete. \n");
}

TEST_F(FruReaderTest, LongRawLinesAreRefused)
{
    const std::string sText = Replace(FruText(S_sChassisOnly), "C3\n", "C3 " + std::string(300, ' ') + "\n");
    EXPECT_EQ(Read(sText), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Line " + std::to_string(LineOf(sText, "C3  ")) + " is longer than 258 bytes. \n");
    const std::string sLongTag = Replace(FruText(S_sChassisOnly), "_SEE_COMMON", "_SEE_COMMON" + std::string(300, ' '));
    EXPECT_EQ(Read(sLongTag), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Line 3 is longer than 257 characters. \n");
}

TEST_F(FruReaderTest, MultiRecordArea)
{
    const std::string sImage =
        FruImage({"", "", "", "", FruPowerSupplyRecord(false) + FruMultiRecord(0xC0, "\xC1\x05\x06", true)});
    EXPECT_EQ(Read(FruText(sImage)), 1) << m_sErr;
    EXPECT_EQ(Image(), sImage);
}

TEST_F(FruReaderTest, LastMultiRecordWithoutEndOfList)
{
    const std::string sImage = FruImage({"", "", "", "", FruMultiRecord(0xC0, "\x01\x02", false)});
    EXPECT_EQ(Read(FruText(sImage)), 0);
    EXPECT_EQ(m_sErr, S_sLead + "')' is found but the record is not the last one in MULTIRECORD Area. \n");
}

TEST_F(FruReaderTest, MultiRecordChecksums)
{
    const std::string sImage = FruImage({"", "", "", "", FruMultiRecord(0xC0, "\x01\x02", true)});
    const std::string sText = FruText(sImage);
    std::string sHeader = sText.substr(sText.find("_SEE_MULTIRECORD\n") + 17, 14);
    EXPECT_EQ(Read(Replace(sText, sHeader, sHeader.substr(0, 12) + "00")), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Error checksum in MULTIRECORD Area record 0's header in FRU file. \n");
    EXPECT_EQ(Read(Replace(sText, "01 02\n", "01 03\n")), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Error checksum in MULTIRECORD Area record 0's record data in FRU file. \n");
}

// Found by fuzzing: a record header cut short by another area's tag took
// its missing bytes from past the image; zeros pass the header checksum, so
// the reader went round for ever.
TEST_F(FruReaderTest, MultiRecordHeaderCutShortByAnAreaTag)
{
    const std::string sImage = FruImage({"", "", "", "", FruMultiRecord(0xC0, "\x01\x02", true)});
    const std::string sText = FruText(sImage);
    const size_t uAfterTag = sText.find("_SEE_MULTIRECORD\n") + 17;
    const int iLine = static_cast<int>(std::count(sText.begin(), sText.begin() + uAfterTag, '\n')) + 1;
    EXPECT_EQ(Read(sText.substr(0, uAfterTag) + "00 _SEE_BOARD\n" + sText.substr(uAfterTag)), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Record 0's header in MULTIRECORD Area is not complete. (line " +
                          std::to_string(iLine) + ") \n");
}

TEST_F(FruReaderTest, ManagementAccessTextIsAppendedAsItStands)
{
    const std::string sImage = FruImage({"", "", "", "", FruMultiRecord(0x03, "\x01https://x/'y'", true)});
    std::string sText = FruText(sImage);
    sText = Replace(
        sText, sText.substr(sText.find("01 68 74"), std::string("01 68 74 74 70 73 3A 2F 2F 78 2F 27 79 27").size()),
        "01\n'https://x/'y''");
    EXPECT_EQ(Read(sText), 1) << m_sErr << sText;
    EXPECT_EQ(Image(), sImage);
}

TEST_F(FruReaderTest, InternalArea)
{
    const std::string sInternal = "\x01\xAA\xBB\xCC\xDD\xEE\xFF\x00"s;
    const std::string sImage = FruImage({sInternal, FruChassisArea(0x17, {FruEmptyField()}), "", "", ""});
    EXPECT_EQ(Read(FruText(sImage)), 1) << m_sErr;
    EXPECT_EQ(Image(), sImage);
    // As the last area it runs to the end tag.
    const std::string sLast = FruImage({sInternal + "\x12\x34"s, "", "", "", ""});
    EXPECT_EQ(Read(FruText(sLast)), 1) << m_sErr;
    EXPECT_EQ(Image(), sLast);
}

TEST_F(FruReaderTest, VerboseDebugLines)
{
    G_bVerboseMode = true;
    const std::string sImage = FruImage({"\x01\x00\x00\x00\x00\x00\x00\x00"s, S_sChassisOnly.substr(8), "", "", ""});
    EXPECT_EQ(Read(FruText(sImage)), 1) << m_sErr;
    EXPECT_EQ(m_sOut,
              "[debug] read internal\n[debug] Current token = `'\n[debug] FRUAreaChecksumCorrect check sum ok\n");
}

TEST_F(FruReaderTest, FileLevelFailures)
{
    EXPECT_EQ(Read("ab"), 0);
    EXPECT_EQ(m_sErr, "<ERROR> Error reading file, " + m_dir.File("in.fru") +
                          ".\n<ERROR> Failure to get encoding info from file " + m_dir.File("in.fru") + ".\n");
    EXPECT_EQ(Read("_FRU (\n_SEE_COMMON\n01 00 00 00 00 00 00 FF\n"), 0);
    EXPECT_EQ(m_sErr, S_sLead + "Lack ')' tag in FRU file. \n");
}

// Each read builds the image it is given from nothing; without an image
// there is nothing to read into.
TEST(FruReaderImage, EachReadBuildsTheImageItIsGiven)
{
    TempDir dir;
    const std::string sImage = TypicalServerFru();
    WriteFile(dir.File("in.fru"), FruText(sImage));
    WriteFile(dir.File("other.fru"), S_sChassisOnly);
    CapturedOutput output;
    FRUImage image;
    ASSERT_EQ(ReadFRUFile(dir.File("in.fru").c_str(), &image), 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(image.au8Bytes.data()), image.u16Size), sImage);
    FRUImage other;
    ASSERT_EQ(ReadFRUFile(dir.File("other.fru").c_str(), &other), 1);
    ASSERT_EQ(ReadFRUFile(dir.File("other.fru").c_str(), &image), 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(image.au8Bytes.data()), image.u16Size), S_sChassisOnly);
    EXPECT_EQ(image.au8Bytes[S_sChassisOnly.size()], 0);  // nothing of the first read is left past it
    EXPECT_EQ(ReadFRUFile(dir.File("other.fru").c_str(), nullptr), 0);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error!\n");
}

TEST(FruReaderImage, StepsWithoutAnImageReportAnInternalError)
{
    FRUReaderContext context;
    std::memset(static_cast<TextReaderContext*>(&context), 0, sizeof(TextReaderContext));
    char achLine[FRU_LINE_BUFFER_SIZE] = "01";
    FRUAreaInfo asTable[FRU_AREA_COUNT];
    InitFRUAreaTable(asTable);
    CapturedOutput output;
    EXPECT_EQ(FRUReadHexBlock(&context, "COMMON", 1, achLine), 0);
    EXPECT_EQ(FRUReadCommonArea(&context, achLine), 0);
    EXPECT_EQ(FRUReadInternalArea(&context, &asTable[FRU_AREA_INTERNAL], achLine), 0);
    EXPECT_EQ(FRUReadChassisBoardProductArea(&context, &asTable[FRU_AREA_BOARD], achLine), 0);
    EXPECT_EQ(FRUReadMultiRecordArea(&context, achLine), 0);
    EXPECT_EQ(FRUReadHexDataQuotedStringMixBlockWithLanguageCode(&context, "BOARD", 1, achLine, 0), 0);
    output.Finish();
    std::string sExpected;
    for (int i = 0; i < 6; ++i) {
        sExpected += "<ERROR> Internal Error!\n";
    }
    EXPECT_EQ(output.Err(), sExpected);
    EXPECT_EQ(std::string(achLine), "01");  // nothing was read
}

}  // namespace
