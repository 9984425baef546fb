#include "fru/fru_image.h"

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/fru_fixtures.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;
using namespace std::string_literals;

namespace {

const std::string S_sBinaryLead = "<ERROR> Incorrect FRU binary file. \n";
const std::string S_sDataLead = "<ERROR> Incorrect FRU data. \n";

struct Validation {
    int iResult;
    std::string sErr;
};

Validation Validate(const std::string& sImage, int iMode)
{
    CapturedOutput output;
    const int iResult = FRUValidateRawData(reinterpret_cast<const unsigned char*>(sImage.data()),
                                           static_cast<unsigned short>(sImage.size()), iMode);
    output.Finish();
    EXPECT_EQ(output.Out(), "");
    return {iResult, output.Err()};
}

std::string Header(uint8_t u8Internal, uint8_t u8Chassis, uint8_t u8Board, uint8_t u8Product, uint8_t u8Multi)
{
    std::string sHeader = "\x01"s;
    for (uint8_t u8 : {u8Internal, u8Chassis, u8Board, u8Product, u8Multi}) {
        sHeader += static_cast<char>(u8);
    }
    sHeader += '\0';
    return sHeader + static_cast<char>(ZeroSumChecksum(sHeader));
}

const std::string S_sChassis = FruChassisArea(0x17, {FruAsciiField("P1"), FruAsciiField("S1")});

TEST(FRUValidateRawDataTest, GoodImagesInBothModes)
{
    for (const std::string& sImage : {TypicalServerFru(), EveryEncodingFru(), Header(0, 0, 0, 0, 0)}) {
        EXPECT_EQ(Validate(sImage, FRU_CHECK_BINARY_FILE).iResult, 1);
        EXPECT_EQ(Validate(sImage, FRU_CHECK_BMC).iResult, 1);
    }
}

TEST(FRUValidateRawDataTest, SevenBytesAreTooFew)
{
    const Validation validation = Validate(Header(0, 0, 0, 0, 0).substr(0, 7), FRU_CHECK_BINARY_FILE);
    EXPECT_EQ(validation.iResult, 0);
    EXPECT_EQ(validation.sErr, S_sBinaryLead + "The FRU data length < 8. \n");
}

TEST(FRUValidateRawDataTest, VersionIsTheWholeByte)
{
    std::string sImage = Header(0, 1, 0, 0, 0) + S_sChassis;
    sImage[0] = 0x11;
    sImage[7] = static_cast<char>(sImage[7] - 0x10);
    const Validation validation = Validate(sImage, FRU_CHECK_BMC);
    EXPECT_EQ(validation.iResult, 0);
    EXPECT_EQ(validation.sErr, S_sDataLead + "The version field (0x11) in COMMON Area != 0x01. \n");
}

TEST(FRUValidateRawDataTest, HeaderPadAndChecksum)
{
    std::string sPad = Header(0, 0, 0, 0, 0);
    sPad[6] = 0x05;
    sPad[7] = static_cast<char>(sPad[7] - 5);
    EXPECT_EQ(Validate(sPad, FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "The PAD field (0x05) in COMMON Area != 0x00. \n");
    std::string sChecksum = Header(0, 0, 0, 0, 0);
    sChecksum[7] = static_cast<char>(sChecksum[7] + 1);
    EXPECT_EQ(Validate(sChecksum, FRU_CHECK_BINARY_FILE).sErr, S_sBinaryLead + "Error checksum in COMMON Area. \n");
}

TEST(FRUValidateRawDataTest, AreasOutOfOrder)
{
    // Board at 8, chassis at 16: the chassis offset is not below the board's.
    const std::string sImage = Header(0, 2, 1, 0, 0) + S_sChassis + S_sChassis;
    const Validation binary = Validate(sImage, FRU_CHECK_BINARY_FILE);
    EXPECT_EQ(binary.iResult, 0);
    EXPECT_EQ(binary.sErr,
              "<ERROR> Unable to handle the FRU binary file. \n"
              "In COMMON Area, the CHASSIS offset >= BOARD offset. \n");
    EXPECT_EQ(Validate(sImage, FRU_CHECK_BMC).sErr,
              "<ERROR> Unable to handle the FRU data. \nIn COMMON Area, the CHASSIS offset >= BOARD offset. \n");
}

TEST(FRUValidateRawDataTest, OneByteTooManyOnlyInAFile)
{
    const std::string sImage = TypicalServerFru() + "\x00"s;
    const Validation binary = Validate(sImage, FRU_CHECK_BINARY_FILE);
    EXPECT_EQ(binary.iResult, 0);
    EXPECT_EQ(binary.sErr, "<ERROR> Incorrect FRU file. \nFound data outside the scope of a FRU record. \n");
    EXPECT_EQ(Validate(sImage, FRU_CHECK_BMC).iResult, 1);  // an inventory area is longer than its data
}

TEST(FRUValidateRawDataTest, InternalAreaAloneAcceptsAnything)
{
    const std::string sImage = Header(1, 0, 0, 0, 0) + "\x01 whatever follows, of any length"s;
    EXPECT_EQ(Validate(sImage, FRU_CHECK_BINARY_FILE).iResult, 1);
    std::string sBadVersion = sImage;
    sBadVersion[8] = 0x02;
    EXPECT_EQ(Validate(sBadVersion, FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "The version field (0x02) in INTERNAL Area != 0x01. \n");
    EXPECT_EQ(Validate(Header(1, 0, 0, 0, 0), FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "Data is insufficient in INTERNAL Area. \n");
}

TEST(FRUValidateRawDataTest, InternalAreaBeforeOthersIsCountedWhole)
{
    const std::string sInternal = "\x01\x11\x22\x33\x44\x55\x66\x77\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF"s;
    EXPECT_EQ(Validate(Header(1, 3, 0, 0, 0) + sInternal + S_sChassis, FRU_CHECK_BINARY_FILE).iResult, 1);
}

TEST(FRUValidateRawDataTest, InfoAreaChecks)
{
    const std::string sGood = Header(0, 1, 0, 0, 0) + S_sChassis;
    std::string sVersion = sGood;
    sVersion[8] = 0x02;
    EXPECT_EQ(Validate(sVersion, FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "The version field (0x02) in CHASSIS Area != 0x01. \n");
    std::string sZero = sGood;
    sZero[9] = 0x00;
    EXPECT_EQ(Validate(sZero, FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "The area length field (0x00) in CHASSIS Area is not correct. \n");
    EXPECT_EQ(Validate(sGood.substr(0, 9), FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "Data is insufficient in CHASSIS Area. \n");
    EXPECT_EQ(Validate(sGood.substr(0, 20), FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "Data is insufficient in CHASSIS Area. \n");
    std::string sChecksum = sGood;
    sChecksum.back() = static_cast<char>(sChecksum.back() + 1);
    EXPECT_EQ(Validate(sChecksum, FRU_CHECK_BMC).sErr, S_sDataLead + "Error checksum in CHASSIS Area. \n");
}

TEST(FRUValidateRawDataTest, AreaLengthMustAgreeWithTheOffsets)
{
    // Board follows 24 bytes after the chassis, whose length byte says 16.
    const std::string sImage =
        Header(0, 1, 4, 0, 0) + S_sChassis + std::string(8, '\0') + FruBoardArea(0, 0, {FruAsciiField("M")});
    EXPECT_EQ(Validate(sImage, FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead +
                  "The area length field (0x02) in CHASSIS Area is not consistent with the information in "
                  "COMMON Area. \n");
}

TEST(FRUValidateRawDataTest, MultiRecordChecks)
{
    const std::string sLast = FruMultiRecord(0xC0, "\x01\x02\x03", true);
    EXPECT_EQ(Validate(Header(0, 0, 0, 0, 1) + sLast, FRU_CHECK_BINARY_FILE).iResult, 1);
    // The last record without its end-of-list bit: the next header is missing.
    const std::string sNotLast = FruMultiRecord(0xC0, "\x01\x02\x03", false);
    EXPECT_EQ(Validate(Header(0, 0, 0, 0, 1) + sNotLast, FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "Data is insufficient in MULTIRECORD Area record 2's header. \n");
    std::string sHeaderSum = Header(0, 0, 0, 0, 1) + sLast;
    sHeaderSum[12] = static_cast<char>(sHeaderSum[12] + 1);
    EXPECT_EQ(Validate(sHeaderSum, FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "Error checksum in MULTIRECORD Area record 1's header. \n");
    std::string sDataSum = Header(0, 0, 0, 0, 1) + sLast;
    sDataSum.back() = static_cast<char>(sDataSum.back() + 1);
    EXPECT_EQ(Validate(sDataSum, FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "Error checksum in MULTIRECORD Area record 1's record data. \n");
    EXPECT_EQ(Validate((Header(0, 0, 0, 0, 1) + sLast).substr(0, 15), FRU_CHECK_BINARY_FILE).sErr,
              S_sBinaryLead + "Data is insufficient in MULTIRECORD Area record 1's record data. \n");
}

TEST(FRUGetAreaInfoTest, LengthsFromTheOffsets)
{
    const std::string sHeader = Header(1, 2, 5, 0, 9);
    FRUAreaInfo asTable[FRU_AREA_COUNT];
    InitFRUAreaTable(asTable);
    EXPECT_EQ(FRUGetAreaInfo(reinterpret_cast<const unsigned char*>(sHeader.data()), FRU_CHECK_BMC, asTable), 1);
    EXPECT_EQ(asTable[FRU_AREA_INTERNAL].u16Offset, 8);
    EXPECT_EQ(asTable[FRU_AREA_INTERNAL].u16Length, 8);
    EXPECT_EQ(asTable[FRU_AREA_CHASSIS].u16Length, 24);
    EXPECT_EQ(asTable[FRU_AREA_BOARD].u16Length, 32);
    EXPECT_EQ(asTable[FRU_AREA_PRODUCT].u16Offset, 0);
    EXPECT_EQ(asTable[FRU_AREA_MULTIRECORD].u16Offset, 72);
    EXPECT_EQ(asTable[FRU_AREA_MULTIRECORD].u16Length, 0);
    EXPECT_STREQ(FRUAreaName(&asTable[FRU_AREA_MULTIRECORD]), "MULTIRECORD");
    EXPECT_STREQ(asTable[FRU_AREA_PAD].achTagName, "_SEE_PAD");
    EXPECT_STREQ(asTable[FRU_AREA_CHECKSUM].achTagName, "checksum");
}

TEST(CanKnowFRULength, OnlyInternalIsUnknown)
{
    FRUAreaInfo asTable[FRU_AREA_COUNT];
    InitFRUAreaTable(asTable);
    EXPECT_EQ(CanKnowFRULengthFromCommonArea(asTable), 1);
    asTable[FRU_AREA_INTERNAL].u16Offset = 8;
    EXPECT_EQ(CanKnowFRULengthFromCommonArea(asTable), 0);
    asTable[FRU_AREA_PRODUCT].u16Offset = 16;
    EXPECT_EQ(CanKnowFRULengthFromCommonArea(asTable), 1);
}

TEST(FRUAreaChecksumCorrectTest, SumsWithTheChecksum)
{
    const unsigned char au8Bytes[] = {0x10, 0x20, 0xC0};
    EXPECT_EQ(FRUAreaChecksumCorrect(au8Bytes, 3, 0x10), 1);
    EXPECT_EQ(FRUAreaChecksumCorrect(au8Bytes, 3, 0x11), 0);
    EXPECT_EQ(FRUAreaChecksumCorrect(au8Bytes, 0, 0x00), 1);
}

TEST(FRUImageTest, RawDataIsAppended)
{
    TempDir dir;
    WriteFile(dir.File("image.bin"), TypicalServerFru());
    FILE* pFile = std::fopen(dir.File("image.bin").c_str(), "rb");
    FRUImage image;
    ASSERT_EQ(AllocateFRUImage(&image, TypicalServerFru().size()), 1);
    EXPECT_EQ(image.au8Bytes.size(), FRU_MAX_IMAGE_SIZE + 1);  // room for any image
    EXPECT_EQ(FRUReadRawData(pFile, &image), 1);
    std::fclose(pFile);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(image.au8Bytes.data()), image.u16Size), TypicalServerFru());
}

TEST(FRUImageTest, NoImageBeyond64KiB)
{
    TempDir dir;
    WriteFile(dir.File("big.bin"), std::string(70000, '\x01'));
    FILE* pFile = std::fopen(dir.File("big.bin").c_str(), "rb");
    FRUImage image;
    ASSERT_EQ(AllocateFRUImage(&image, 70000), 1);
    EXPECT_EQ(image.au8Bytes.size(), 70000u);
    EXPECT_EQ(FRUReadRawData(pFile, &image), 0);
    std::fclose(pFile);
    const unsigned char u8Byte = 1;
    image.u16Size = 0xFFFF;
    EXPECT_EQ(AppendFRUBytes(&image, &u8Byte, 1), 0);
    EXPECT_EQ(FRUImageRoom(image), 0u);
}

TEST(FRUImageTest, AppendingStopsAtTheRoom)
{
    FRUImage image;
    const unsigned char au8Bytes[] = {0xAA, 0xBB};
    EXPECT_EQ(FRUImageRoom(image), 0u);  // nothing allocated yet
    EXPECT_EQ(AppendFRUBytes(&image, au8Bytes, 1), 0);
    ASSERT_EQ(AllocateFRUImage(&image, 16), 1);
    EXPECT_EQ(AppendFRUBytes(&image, au8Bytes, 2), 1);
    EXPECT_EQ(image.u16Size, 2);
    EXPECT_EQ(image.au8Bytes[1], 0xBB);
    EXPECT_EQ(FRUImageRoom(image), FRU_MAX_IMAGE_SIZE - 2);
    ASSERT_EQ(AllocateFRUImage(&image, 16), 1);  // a new read starts empty
    EXPECT_EQ(image.u16Size, 0);
    EXPECT_EQ(image.au8Bytes[1], 0x00);
}

TEST(FRUImageTest, ReservedRoomIsExactZeroFilledAndEmpty)
{
    FRUImage image = MakeFRUImage(reinterpret_cast<const unsigned char*>("\x01\x02\x03"), 3);
    ASSERT_EQ(ReserveFRUImageRoom(&image, 2064), 1);
    EXPECT_EQ(image.u16Size, 0);
    EXPECT_EQ(image.au8Bytes, std::vector<unsigned char>(2064, 0));
    EXPECT_EQ(FRUImageRoom(image), 2064u);
}

TEST(FRUImageTest, MadeFromBytesHoldsExactlyThem)
{
    const unsigned char au8Bytes[] = {1, 2, 3};
    const FRUImage image = MakeFRUImage(au8Bytes, 3);
    EXPECT_EQ(image.u16Size, 3);
    EXPECT_EQ(image.au8Bytes.size(), 3u);
    EXPECT_EQ(MakeFRUImage(nullptr, 3).u16Size, 0);
    const std::string sHuge(70000, '\x01');
    EXPECT_EQ(MakeFRUImage(reinterpret_cast<const unsigned char*>(sHuge.data()), sHuge.size()).u16Size,
              FRU_MAX_IMAGE_SIZE);
}

TEST(FRUCompareTest, TheFileImageAgainstTheInventory)
{
    const std::string sImage = TypicalServerFru();
    const FRUImage local = MakeFRUImage(reinterpret_cast<const unsigned char*>(sImage.data()), sImage.size());
    EXPECT_EQ(FRUCompare(FRUImage(), FRUImage()), 1);  // nothing to compare
    EXPECT_EQ(FRUCompare(local, FRUImage()), 0);       // no inventory image
    std::string sInventory = sImage + std::string(2048 - sImage.size(), '\0');
    FRUImage inventory = MakeFRUImage(reinterpret_cast<const unsigned char*>(sInventory.data()), sInventory.size());
    EXPECT_EQ(FRUCompare(local, inventory), 1);
    inventory.au8Bytes[20] ^= 1;
    EXPECT_EQ(FRUCompare(local, inventory), 0);
    inventory.au8Bytes[20] ^= 1;
    inventory.u16Size = 16;  // shorter than the file's image
    EXPECT_EQ(FRUCompare(local, inventory), 0);
}

TEST(FRUCompareTest, AnyTwoImages)
{
    const unsigned char au8Local[] = {1, 2, 3};
    const unsigned char au8Longer[] = {1, 2, 3, 0, 0};
    const unsigned char au8Other[] = {1, 2, 4};
    EXPECT_EQ(FRUCompare(MakeFRUImage(au8Local, 3), MakeFRUImage(au8Longer, 5)), 1);
    EXPECT_EQ(FRUCompare(MakeFRUImage(au8Local, 3), MakeFRUImage(au8Other, 3)), 0);
    EXPECT_EQ(FRUCompare(MakeFRUImage(au8Local, 3), MakeFRUImage(au8Longer, 2)), 0);
    EXPECT_EQ(FRUCompare(MakeFRUImage(au8Local, 0), FRUImage()), 1);
    FRUImage claimsMore = MakeFRUImage(au8Local, 3);
    claimsMore.u16Size = 5;  // a size past its bytes is never read
    EXPECT_EQ(FRUImageSize(claimsMore), 0);
    EXPECT_EQ(FRUImageSize(MakeFRUImage(au8Local, 3)), 3);
    EXPECT_EQ(FRUCompare(claimsMore, MakeFRUImage(au8Longer, 5)), 0);
}

TEST(FRUSearchInvalidAreaTest, OnlyBlanksAndComments)
{
    TempDir dir;
    const struct {
        std::string sRest;
        std::string sFile;
        int iExpected;
    } aCases[] = {
        {"  // end", "\n   \n// trailer\n", 0},
        {"", "", 0},
        {"", "\nstray\n", 1},
        {" x", "", 1},
        {"", "// " + std::string(400, 'c') + "\n", 0},
        {"", std::string(400, ' ') + "x\n", 1},
    };
    for (const auto& searchCase : aCases) {
        WriteFile(dir.File("rest.txt"), searchCase.sFile);
        TextReaderContext context;
        ASSERT_EQ(InitTextReader(&context, "rest.txt", std::fopen(dir.File("rest.txt").c_str(), "rb"), 0), 1);
        char achLine[258] = {};
        std::snprintf(achLine, sizeof achLine, "%s", searchCase.sRest.c_str());
        EXPECT_EQ(FRUSearchInvalidArea(&context, achLine), searchCase.iExpected) << searchCase.sFile;
        ReleaseTextReader(&context);
    }
}

}  // namespace

TEST(FRUAreaDifferencesTest, EachDifferingAreaIsNamedWithBothSidesBytes)
{
    const std::string sImage = TypicalServerFru();
    const FRUImage local = MakeFRUImage(reinterpret_cast<const unsigned char*>(sImage.data()), sImage.size());
    std::string sInventory = sImage + std::string(2048 - sImage.size(), '\0');
    FRUImage inventory = MakeFRUImage(reinterpret_cast<const unsigned char*>(sInventory.data()), sInventory.size());
    EXPECT_TRUE(FRUAreaDifferences(local, inventory).empty());

    const unsigned int uBoard = static_cast<unsigned char>(sImage[FRU_AREA_BOARD]) * 8u;
    const unsigned int uProduct = static_cast<unsigned char>(sImage[FRU_AREA_PRODUCT]) * 8u;
    ASSERT_GT(uBoard, 0u);
    ASSERT_GT(uProduct, uBoard);
    inventory.au8Bytes[uBoard + 3] ^= 0x40;
    inventory.au8Bytes[7] ^= 0x01;  // the header's checksum
    const auto asDifferences = FRUAreaDifferences(local, inventory);
    ASSERT_EQ(asDifferences.size(), 2u);
    EXPECT_EQ(asDifferences[0].eArea, FRU_AREA_COMMON);
    EXPECT_EQ(asDifferences[0].u16Offset, 0);
    EXPECT_EQ(asDifferences[0].au8FileBytes.size(), FRU_COMMON_HEADER_SIZE);
    EXPECT_EQ(asDifferences[1].eArea, FRU_AREA_BOARD);
    EXPECT_EQ(asDifferences[1].u16Offset, uBoard);
    // The area runs up to the next one, its pad included.
    EXPECT_EQ(asDifferences[1].au8FileBytes.size(), uProduct - uBoard);
    EXPECT_EQ(asDifferences[1].au8BMCBytes[3], static_cast<unsigned char>(sImage[uBoard + 3] ^ 0x40));
}

TEST(FRUAreaDifferencesTest, AnInventoryThatEndsFirstDiffersWhereItEnds)
{
    const std::string sImage = TypicalServerFru();
    const FRUImage local = MakeFRUImage(reinterpret_cast<const unsigned char*>(sImage.data()), sImage.size());
    const FRUImage inventory = MakeFRUImage(reinterpret_cast<const unsigned char*>(sImage.data()), 16);
    const auto asDifferences = FRUAreaDifferences(local, inventory);
    ASSERT_FALSE(asDifferences.empty());
    EXPECT_NE(asDifferences.front().eArea, FRU_AREA_COMMON);  // the header is there
    for (const FRUAreaDifference& difference : asDifferences) {
        EXPECT_LT(difference.au8BMCBytes.size(), difference.au8FileBytes.size());
    }
    EXPECT_EQ(FRUCompare(local, inventory), 0);
}

TEST(FRUAreaDifferencesTest, AnImageWithoutAHeaderIsOneWholeImage)
{
    const unsigned char au8Local[] = {1, 2, 3};
    const unsigned char au8Other[] = {1, 2, 4};
    const auto asDifferences = FRUAreaDifferences(MakeFRUImage(au8Local, 3), MakeFRUImage(au8Other, 3));
    ASSERT_EQ(asDifferences.size(), 1u);
    EXPECT_EQ(asDifferences[0].eArea, FRU_AREA_COUNT);
    EXPECT_EQ(asDifferences[0].au8FileBytes, std::vector<unsigned char>(au8Local, au8Local + 3));
    EXPECT_TRUE(FRUAreaDifferences(FRUImage(), FRUImage()).empty());
}
