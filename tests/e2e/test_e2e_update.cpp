// -updateFRU against the test BMC: each serial number in each string
// type, and the board's manufacturing date set to now; the device is read
// back with ipmitool, decoded with ipmitool and FreeIPMI, and uploaded and
// tested with VALDRN itself.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/e2e_support.h"
#include "support/fru_fixtures.h"

using namespace valdrn_test;

namespace {

constexpr int BOARD_AREA = 3;  // header bytes holding the area offsets
constexpr int CHASSIS_AREA = 2;
constexpr int PRODUCT_AREA = 4;
// 1996-01-01 00:00 UTC in seconds since 1970.
constexpr long FRU_EPOCH = 820454400L;

std::string Hex(size_t uValue)
{
    char achText[24];
    std::snprintf(achText, sizeof achText, "%zX", uValue);
    return achText;
}

class UpdateEndToEnd : public testing::Test {
protected:
    // A 512-byte device 0 holds the image; each upload reads all of it.
    UpdateEndToEnd() : m_e2e("fru=0:512") {}

    void SetUp() override
    {
        // The date is local time; the test reads it back as UTC.
        setenv("TZ", "UTC0", 1);
        tzset();
        m_sImage = TypicalServerFru();
        m_e2e.Write("in.fru.bin", m_sImage);
        ASSERT_EQ(m_e2e.Valdrn({"-d", "in.fru.bin", "fruID=0"}).iStatus, 0);
    }

    size_t Offset(const std::string& sField) const { return m_sImage.find(sField); }

    // Every byte of the area adds up to zero, checksum included.
    static bool AreaSumsToZero(const std::string& sDevice, int iHeaderByte)
    {
        const size_t uStart = static_cast<unsigned char>(sDevice[iHeaderByte]) * 8u;
        const size_t uLength = static_cast<unsigned char>(sDevice[uStart + 1]) * 8u;
        unsigned int uSum = 0;
        for (size_t i = 0; i < uLength; ++i) {
            uSum += static_cast<unsigned char>(sDevice[uStart + i]);
        }
        return uSum % 256 == 0;
    }

    CommandResult Update(const std::vector<std::string>& asParameters) const
    {
        std::vector<std::string> asWords = {"-updateFRU"};
        asWords.insert(asWords.end(), asParameters.begin(), asParameters.end());
        return m_e2e.Valdrn(asWords);
    }

    // VALDRN reads the device back into a text file that its own test
    // finds free of errors.
    void ExpectUploadTestsClean() const
    {
        // A new file each time: over an existing one, -u would ask first.
        std::remove(m_e2e.File("up.fru").c_str());
        const CommandResult upload = m_e2e.Valdrn({"-u", "up.fru", "encoding=ascii", "fruID=0"});
        EXPECT_EQ(upload.iStatus, 0) << upload.sErr;
        EXPECT_EQ(upload.sErr, "");
        EXPECT_NE(upload.sOut.find("Upload FRU data successful. \n\n"), std::string::npos) << upload.sOut;
        const CommandResult tested = m_e2e.ValdrnAlone({"-t", "up.fru", "fruID=0"});
        EXPECT_EQ(tested.iStatus, 0) << tested.sErr;
        EXPECT_EQ(tested.sErr, "");
    }

    EndToEnd m_e2e;
    std::string m_sImage;
};

const std::string S_sSuccess = "Update FRU data successful!\n\n";

// A serial number field of the typical image and where it lives.
struct SerialField {
    const char* pchFieldName;
    const char* pchOldValue;
    int iHeaderByte;
    const char* pchIpmitoolLabel;
};

// The value padded as the update pads it, and the field's new bytes.
std::string PaddedSixBit(std::string sValue, size_t uLength)
{
    while ((sValue.size() * 3 + 3) / 4 < uLength) {
        sValue += ' ';
    }
    return sValue;
}

class SerialUpdate : public UpdateEndToEnd, public testing::WithParamInterface<SerialField> {};

// Each string type in turn into the same field: the type may change, the
// length stays.
TEST_P(SerialUpdate, EachStringTypeInTurn)
{
    const SerialField& field = GetParam();
    const size_t uOffset = Offset(field.pchOldValue);
    const size_t uLength = std::strlen(field.pchOldValue);
    struct Step {
        const char* pchType;
        std::string sValue;
        std::string sField;  // type/length byte and data
        std::string sShown;  // as ipmitool shows it
    };
    const std::vector<Step> asSteps = {
        {"1", "12-34.56", FruBcdField("12-34.56" + std::string(2 * uLength - 8, ' ')), "12-34.56"},
        {"2", "SN 42-AB", FruSixBitField(PaddedSixBit("SN 42-AB", uLength)), "SN 42-AB"},
        {"3", "NEWSER7", FruAsciiField("NEWSER7" + std::string(uLength - 7, ' ')), "NEWSER7"},
    };
    for (const Step& step : asSteps) {
        const CommandResult result =
            Update({std::string("fieldName=") + field.pchFieldName, "fruID=0", "offset=" + Hex(uOffset),
                    std::string("strType=") + step.pchType, "strLength=" + Hex(uLength), "strValue=" + step.sValue});
        EXPECT_EQ(result.iStatus, 0) << step.pchType << result.sErr;
        EXPECT_EQ(result.sErr, "");
        EXPECT_EQ(result.sOut, ProductHeader() + S_sSuccess);
        const std::string sDevice = m_e2e.FruArea(0);
        EXPECT_EQ(sDevice.substr(uOffset - 1, uLength + 1), step.sField) << step.pchType;
        EXPECT_TRUE(AreaSumsToZero(sDevice, field.iHeaderByte)) << step.pchType;
        // Nothing else moved but the area's checksum.
        std::string sExpected = m_sImage;
        sExpected.replace(uOffset - 1, uLength + 1, step.sField);
        const size_t uArea = static_cast<unsigned char>(m_sImage[field.iHeaderByte]) * 8u;
        const size_t uChecksum = uArea + static_cast<unsigned char>(m_sImage[uArea + 1]) * 8u - 1;
        sExpected[uChecksum] = sDevice[uChecksum];
        EXPECT_EQ(sDevice.substr(0, m_sImage.size()), sExpected) << step.pchType;
        const std::string sIpmitool = m_e2e.IpmitoolFruPrint(0);
        EXPECT_NE(sIpmitool.find(std::string(field.pchIpmitoolLabel) + step.sShown), std::string::npos)
            << step.pchType << sIpmitool;
        EXPECT_EQ(sIpmitool.find("hecksum"), std::string::npos) << sIpmitool;
        // FreeIPMI finds no checksum error (it cannot read BCD plus text
        // at all, which it reports as an invalid encoding instead).
        const std::string sIpmiFru = m_e2e.IpmiFru(0);
        EXPECT_EQ(sIpmiFru.find("hecksum"), std::string::npos) << sIpmiFru;
        if (std::string(step.pchType) != "1") {
            EXPECT_NE(sIpmiFru.find(step.sShown), std::string::npos) << sIpmiFru;
        }
        ExpectUploadTestsClean();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Fields, SerialUpdate,
    testing::Values(SerialField{"snBoard", "BSN0001234", BOARD_AREA, " Board Serial          : "},
                    SerialField{"snChassis", "CSN20261121A", CHASSIS_AREA, " Chassis Serial        : "},
                    SerialField{"snProduct", "PSN998877", PRODUCT_AREA, " Product Serial        : "}),
    [](const testing::TestParamInfo<SerialField>& info) { return std::string(info.param.pchFieldName); });

TEST_F(UpdateEndToEnd, ManufacturingDateBecomesNow)
{
    const size_t uOffset = static_cast<unsigned char>(m_sImage[BOARD_AREA]) * 8u + 3;
    const long lBefore = (std::time(nullptr) - FRU_EPOCH) / 60;
    const CommandResult result = Update({"fieldName=datetime", "offset=" + Hex(uOffset), "fruID=0"});
    const long lAfter = (std::time(nullptr) - FRU_EPOCH) / 60;
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sOut, ProductHeader() + S_sSuccess);
    const std::string sDevice = m_e2e.FruArea(0);
    const long lMinutes = static_cast<unsigned char>(sDevice[uOffset]) |
                          static_cast<unsigned char>(sDevice[uOffset + 1]) << 8 |
                          static_cast<unsigned char>(sDevice[uOffset + 2]) << 16;
    EXPECT_GE(lMinutes, lBefore);
    EXPECT_LE(lMinutes, lAfter);
    EXPECT_TRUE(AreaSumsToZero(sDevice, BOARD_AREA));

    const std::time_t tWritten = FRU_EPOCH + lMinutes * 60;
    char achDate[64];
    std::strftime(achDate, sizeof achDate, " Board Mfg Date        : %a %b %e %H:%M:%S %Y UTC\n",
                  std::gmtime(&tWritten));
    const std::string sIpmitool = m_e2e.IpmitoolFruPrint(0);
    EXPECT_NE(sIpmitool.find(achDate), std::string::npos) << achDate << sIpmitool;
    EXPECT_EQ(m_e2e.IpmiFru(0).find("hecksum"), std::string::npos);
    ExpectUploadTestsClean();
}

TEST_F(UpdateEndToEnd, ALengthThatDiffersFromTheDeviceWritesNothing)
{
    const CommandResult result = Update({"fieldName=snBoard", "fruID=0", "offset=" + Hex(Offset("BSN0001234")),
                                         "strType=3", "strLength=9", "strValue=NEWSER7"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sOut, ProductHeader() + "Update FRU data failed!\n\n");
    EXPECT_EQ(result.sErr, "<ERROR> String length specified must match string length in the FRU Inventory! \n");
    EXPECT_EQ(m_e2e.FruArea(0).substr(0, m_sImage.size()), m_sImage);
}

TEST_F(UpdateEndToEnd, AMissingDeviceFailsAtTheHeader)
{
    const CommandResult result = Update({"fieldName=datetime", "offset=33", "fruID=7"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sOut, ProductHeader() + "Update FRU data failed!\n\n");
    EXPECT_EQ(result.sErr,
              "<ERROR> Error in executing IPMI command because of: Failure to read data from FRU.\ncc = CB \n");
}

// The FRU ID of -updateFRU is its low byte: 100 is device 0.
TEST_F(UpdateEndToEnd, FruIdIsTakenAsEightBits)
{
    const size_t uOffset = Offset("BSN0001234");
    const CommandResult result = Update({"fieldName=snBoard", "fruID=100", "offset=" + Hex(uOffset), "strType=3",
                                         "strLength=A", "strValue=BSN0000100"});
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sOut, ProductHeader() + S_sSuccess);
    EXPECT_EQ(m_e2e.FruArea(0).substr(uOffset, 10), "BSN0000100");
    EXPECT_TRUE(AreaSumsToZero(m_e2e.FruArea(0), BOARD_AREA));
}

TEST_F(UpdateEndToEnd, BadParametersNeverReachTheBmc)
{
    const CommandResult result =
        Update({"fieldName=snBoard", "fruID=1FF", "offset=58", "strType=3", "strLength=A", "strValue=NEWSER7"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sOut, ProductHeader() + "Use VALDRN -h for help.\n");
    EXPECT_EQ(result.sErr, "<ERROR> FRU ID specified is reserved! \n");
    EXPECT_EQ(m_e2e.FruArea(0).substr(0, m_sImage.size()), m_sImage);
}

}  // namespace
