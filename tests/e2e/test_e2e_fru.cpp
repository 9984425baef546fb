// FRU download, upload and verify through the real VALDRN command line,
// over RMCP+ with Debian's ipmitool, against the test BMC; the devices'
// contents are read back with ipmitool and decoded with ipmitool and
// FreeIPMI on the side.
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/e2e_support.h"
#include "support/fru_fixtures.h"

using namespace valdrn_test;

namespace {

// Devices: 0 and 1 roomy, 2 exactly the 40-byte image, 3 a 20-byte area,
// 4 one byte short of the 40-byte image. Every upload and verify reads a
// whole device, 16 bytes per ipmitool run: 512 bytes hold every image here
// and still need two-byte offsets.
const char* const DEVICES = "fru=0:512,1:512,2:40,3:20,4:39";

const std::string S_sStartLine = "Start to download FRU data! \n";
const std::string S_sDownloaded = "Download FRU data successful. \n\n";
const std::string S_sBinary = "Recognize FRU File as binary format ";

// Header and a chassis area of 32 bytes.
std::string FortyByteImage()
{
    FruAreas areas;
    areas.sChassis = FruChassisArea(0x17, {FruAsciiField("PART-40-BYTES"), FruAsciiField("SER-0040")});
    return FruImage(areas);
}

// Header and an internal use area of 8 bytes.
std::string SixteenByteImage()
{
    FruAreas areas;
    areas.sInternal = std::string("\x01\x10\x20\x30\x40\x50\x60\x70", 8);
    return FruImage(areas);
}

// Lines of the -debugmsg trace that begin with the text.
std::vector<std::string> LinesStartingWith(const std::string& sText, const std::string& sStart)
{
    std::vector<std::string> asLines;
    size_t uAt = 0;
    while (uAt < sText.size()) {
        size_t uEnd = sText.find('\n', uAt);
        if (uEnd == std::string::npos) {
            uEnd = sText.size();
        }
        const std::string sLine = sText.substr(uAt, uEnd - uAt);
        if (sLine.compare(0, sStart.size(), sStart) == 0) {
            asLines.push_back(sLine);
        }
        uAt = uEnd + 1;
    }
    return asLines;
}

size_t Occurrences(const std::string& sText, const std::string& sWhat)
{
    size_t uCount = 0;
    for (size_t uAt = sText.find(sWhat); uAt != std::string::npos; uAt = sText.find(sWhat, uAt + 1)) {
        ++uCount;
    }
    return uCount;
}

std::string Lower(std::string sText)
{
    std::transform(sText.begin(), sText.end(), sText.begin(), [](unsigned char c) { return std::tolower(c); });
    return sText;
}

class FruEndToEnd : public testing::Test {
protected:
    FruEndToEnd() : m_e2e(DEVICES) {}

    CommandResult DownloadBinary(const std::string& sImage, int iFruID, const std::string& sName = "in.fru.bin")
    {
        m_e2e.Write(sName, sImage);
        return m_e2e.Valdrn({"-d", sName, "fruID=" + std::to_string(iFruID)});
    }

    // The device's first bytes, as many as the image has.
    std::string DeviceStart(int iFruID, size_t uLength) const { return m_e2e.FruArea(iFruID).substr(0, uLength); }

    // Both decoders show the text and neither finds a checksum or format
    // error.
    void ExpectDecodersAgree(int iFruID, const std::vector<std::string>& asIpmiFru,
                             const std::vector<std::string>& asIpmitool) const
    {
        const std::string sIpmiFru = m_e2e.IpmiFru(iFruID);
        const std::string sIpmitool = m_e2e.IpmitoolFruPrint(iFruID);
        for (const std::string& sLine : asIpmiFru) {
            EXPECT_NE(sIpmiFru.find(sLine), std::string::npos) << sLine << "\n" << sIpmiFru;
        }
        for (const std::string& sLine : asIpmitool) {
            EXPECT_NE(sIpmitool.find(sLine), std::string::npos) << sLine << "\n" << sIpmitool;
        }
        EXPECT_EQ(Lower(sIpmiFru).find("checksum"), std::string::npos) << sIpmiFru;
        EXPECT_EQ(Lower(sIpmitool).find("checksum"), std::string::npos) << sIpmitool;
        EXPECT_EQ(Lower(sIpmitool).find("error"), std::string::npos) << sIpmitool;
    }

    EndToEnd m_e2e;
};

const std::vector<std::string> S_asTypicalIpmiFru = {
    "FRU Chassis Serial Number: CSN20261121A\n", "FRU Board Serial Number: BSN0001234\n",
    "FRU Board Product Name: X99 Server Board\n", "FRU Product Serial Number: PSN998877\n",
    "FRU Power Supply Overall Capacity: 750 Watts\n"};
const std::vector<std::string> S_asTypicalIpmitool = {
    " Chassis Serial        : CSN20261121A\n", " Board Serial          : BSN0001234\n",
    " Board Mfg Date        : Sat Apr  4 18:56:00 2020 UTC\n", " Product Asset Tag     : ASSET-42\n"};

TEST_F(FruEndToEnd, TextFileIntoDeviceZero)
{
    const std::string sImage = TypicalServerFru();
    m_e2e.Write("in.fru", FruText(sImage));
    const CommandResult result = m_e2e.Valdrn({"-d", "in.fru", "fruID=0"});
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    EXPECT_EQ(result.sOut, ProductHeader() + S_sStartLine + S_sDownloaded);
    EXPECT_EQ(DeviceStart(0, sImage.size()), sImage);
    ExpectDecodersAgree(0, S_asTypicalIpmiFru, S_asTypicalIpmitool);
}

TEST_F(FruEndToEnd, BinaryFileIntoDeviceOne)
{
    const std::string sImage = TypicalServerFru();
    const CommandResult result = DownloadBinary(sImage, 1);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sOut, ProductHeader() + S_sBinary + S_sStartLine + S_sDownloaded);
    EXPECT_EQ(DeviceStart(1, sImage.size()), sImage);
    // The rest of the device is left as it was.
    EXPECT_EQ(m_e2e.FruArea(1).substr(sImage.size()), std::string(512 - sImage.size(), '\xFF'));
    EXPECT_EQ(DeviceStart(0, 8), std::string(8, '\xFF'));
    ExpectDecodersAgree(1, S_asTypicalIpmiFru, S_asTypicalIpmitool);
}

TEST_F(FruEndToEnd, TheExampleFilesDownloadAndVerify)
{
    for (const char* pchName : {"ServerBoard.fru", "ServerBoard.fru.bin"}) {
        m_e2e.Write(pchName, ReadFile(std::string(EXAMPLES_DIR) + "/" + pchName));
        const CommandResult download = m_e2e.Valdrn({"-d", pchName, "fruID=1"});
        EXPECT_EQ(download.iStatus, 0) << pchName << download.sErr;
        EXPECT_NE(download.sOut.find(S_sDownloaded), std::string::npos) << pchName;
        const CommandResult verify = m_e2e.Valdrn({"-v", pchName, "fruID=1"});
        EXPECT_EQ(verify.iStatus, 0) << pchName << verify.sErr;
    }
}

TEST_F(FruEndToEnd, UploadInEachEncodingVerifiesAndDownloadsAgain)
{
    const std::string sImage = TypicalServerFru();
    ASSERT_EQ(DownloadBinary(sImage, 0).iStatus, 0);
    for (const char* pchEncoding : {"ascii", "utf8", "utf16"}) {
        const std::string sName = std::string("up-") + pchEncoding + ".fru";
        const CommandResult upload = m_e2e.Valdrn({"-u", sName, std::string("encoding=") + pchEncoding, "fruID=0"});
        EXPECT_EQ(upload.iStatus, 0) << upload.sErr;
        EXPECT_EQ(upload.sErr, "");
        EXPECT_EQ(upload.sOut, ProductHeader() + "Start to save FRU file, " + sName + " \n" +
                                   "The FRU data has been saved in file " + sName + "! \n" +
                                   "Upload FRU data successful. \n\n");
        const CommandResult verify = m_e2e.Valdrn({"-v", sName, "fruID=0"});
        EXPECT_EQ(verify.iStatus, 0) << verify.sErr;
        EXPECT_EQ(verify.sOut, ProductHeader() + "Verify FRU file " + sName + " with FRU inventory successful! \n\n");
        const CommandResult tested = m_e2e.ValdrnAlone({"-t", sName, "fruID=0"});
        EXPECT_EQ(tested.iStatus, 0) << tested.sErr;
        // The uploaded text carries the same image into another device.
        const CommandResult again = m_e2e.Valdrn({"-d", sName, "fruID=1"});
        EXPECT_EQ(again.iStatus, 0) << again.sErr;
        EXPECT_EQ(m_e2e.FruArea(1), m_e2e.FruArea(0).substr(0, 512)) << pchEncoding;
    }
}

TEST_F(FruEndToEnd, EveryFieldEncodingTravelsInUnicodeFiles)
{
    const std::string sImage = EveryEncodingFru();
    ASSERT_EQ(DownloadBinary(sImage, 0).iStatus, 0);
    for (const char* pchEncoding : {"utf8", "utf16"}) {
        const std::string sName = std::string("up-") + pchEncoding + ".fru";
        const CommandResult upload = m_e2e.Valdrn({"-u", sName, std::string("encoding=") + pchEncoding, "fruID=0"});
        EXPECT_EQ(upload.iStatus, 0) << upload.sErr;
        EXPECT_EQ(upload.sErr, "");
        const CommandResult verify = m_e2e.Valdrn({"-v", sName, "fruID=0"});
        EXPECT_EQ(verify.iStatus, 0) << verify.sErr;
        const CommandResult again = m_e2e.Valdrn({"-d", sName, "fruID=1"});
        EXPECT_EQ(again.iStatus, 0) << again.sErr;
        EXPECT_EQ(DeviceStart(1, sImage.size()), sImage) << pchEncoding;
    }
    const std::string sIpmitool = m_e2e.IpmitoolFruPrint(1);
    EXPECT_NE(sIpmitool.find(" Board Serial          : BSN-UNI-1\n"), std::string::npos) << sIpmitool;
    EXPECT_EQ(Lower(sIpmitool).find("checksum"), std::string::npos) << sIpmitool;
}

TEST_F(FruEndToEnd, UnicodeFieldsCannotBeUploadedAsAscii)
{
    ASSERT_EQ(DownloadBinary(EveryEncodingFru(), 0).iStatus, 0);
    const CommandResult upload = m_e2e.Valdrn({"-u", "up.fru", "encoding=ascii", "fruID=0"});
    // The read from the BMC succeeded; the failed save is reported only.
    EXPECT_EQ(upload.iStatus, 0);
    EXPECT_EQ(upload.sOut, ProductHeader() + "Start to save FRU file, up.fru \n");
    EXPECT_EQ(upload.sErr,
              "<ERROR> Board Info Area contains Unicode data\nThe file encoding format cannot be ASCII\n"
              "Failure to upload FRU data!\n");
}

TEST_F(FruEndToEnd, VerifyFindsADifferentDevice)
{
    ASSERT_EQ(DownloadBinary(TypicalServerFru(), 0).iStatus, 0);
    m_e2e.Write("other.fru.bin", EveryEncodingFru());
    const CommandResult result = m_e2e.Valdrn({"-v", "other.fru.bin", "fruID=0"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sOut, ProductHeader() + S_sBinary);
    EXPECT_EQ(result.sErr, "The FRU data in file and FRU inventory are different!\nVerify FRU file failed!\n");
}

// fruID= is kept as 16 bits: 10000 is device 0, 10001 device 1.
TEST_F(FruEndToEnd, FruIdIsCutTo16Bits)
{
    const std::string sImage = FortyByteImage();
    m_e2e.Write("in.fru.bin", sImage);
    const CommandResult download = m_e2e.Valdrn({"-d", "in.fru.bin", "fruID=10001"});
    EXPECT_EQ(download.iStatus, 0) << download.sErr;
    EXPECT_EQ(download.sOut, ProductHeader() + S_sBinary + S_sStartLine + S_sDownloaded);
    EXPECT_EQ(DeviceStart(1, sImage.size()), sImage);
    EXPECT_EQ(DeviceStart(0, 8), std::string(8, '\xFF'));
    const CommandResult verify = m_e2e.Valdrn({"-v", "in.fru.bin", "fruID=0x10001"});
    EXPECT_EQ(verify.iStatus, 0) << verify.sErr;
    const CommandResult other = m_e2e.Valdrn({"-v", "in.fru.bin", "fruID=10000"});
    EXPECT_EQ(other.iStatus, 1);
    EXPECT_EQ(other.sErr, "The FRU data in file and FRU inventory are different!\nVerify FRU file failed!\n");
}

TEST_F(FruEndToEnd, AnImageAsLargeAsTheAreaIsAccepted)
{
    const std::string sImage = FortyByteImage();
    ASSERT_EQ(sImage.size(), 40u);
    const CommandResult result = DownloadBinary(sImage, 2);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sOut, ProductHeader() + S_sBinary + S_sStartLine + S_sDownloaded);
    EXPECT_EQ(m_e2e.FruArea(2), sImage);
}

TEST_F(FruEndToEnd, AnImageOneByteLargerThanTheAreaIsRefused)
{
    const CommandResult result = DownloadBinary(FortyByteImage(), 4);
    // The reader's success stays the run's status, as it always has.
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_EQ(result.sOut, ProductHeader() + S_sBinary + S_sStartLine);
    EXPECT_EQ(result.sErr, "FRU file size too big, can not download. \nFailure to download FRU data! \n\n");
    EXPECT_EQ(m_e2e.FruArea(4), std::string(39, '\xFF'));
}

TEST_F(FruEndToEnd, FortyBytesAreWrittenAsSixteenSixteenAndEight)
{
    m_e2e.Write("in.fru.bin", FortyByteImage());
    const CommandResult result = m_e2e.Valdrn({"-d", "in.fru.bin", "fruID=0", "-debugmsg"});
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(Occurrences(result.sOut, "\n=> CMD_WRITE_FRU_DATA\n"), 3u);
    const std::vector<std::string> asExpected = {"   CMD_WRITE_FRU_DATA --- count = 16 ",
                                                 "   CMD_WRITE_FRU_DATA --- count = 16 ",
                                                 "   CMD_WRITE_FRU_DATA --- count = 8 "};
    EXPECT_EQ(LinesStartingWith(result.sOut, "   CMD_WRITE_FRU_DATA"), asExpected);
    EXPECT_EQ(DeviceStart(0, 40), FortyByteImage());
}

TEST_F(FruEndToEnd, AnAreaOfTwentyBytesIsReadInTwoChunks)
{
    const std::string sImage = SixteenByteImage();
    ASSERT_EQ(DownloadBinary(sImage, 3).iStatus, 0);
    const CommandResult upload = m_e2e.Valdrn({"-u", "up.fru", "encoding=ascii", "fruID=3", "-debugmsg"});
    EXPECT_EQ(upload.iStatus, 0) << upload.sErr;
    EXPECT_NE(upload.sOut.find("FRU Inventory area size = 0x14 Bytes \n"), std::string::npos);
    EXPECT_EQ(Occurrences(upload.sOut, "\n=> CMD_READ_FRU_DATA\n"), 2u);
    EXPECT_NE(upload.sOut.find("Upload FRU data successful. \n\n"), std::string::npos) << upload.sOut;
    const CommandResult verify = m_e2e.Valdrn({"-v", "up.fru", "fruID=3"});
    EXPECT_EQ(verify.iStatus, 0) << verify.sErr;
}

TEST_F(FruEndToEnd, AMissingDeviceIsReportedByEachOperation)
{
    const std::string sNoDevice =
        "<ERROR> Error in executing IPMI command because of: \nFRU Device 0x9 error or not exist.\ncc = CB \n";
    m_e2e.Write("in.fru.bin", TypicalServerFru());
    const CommandResult download = m_e2e.Valdrn({"-d", "in.fru.bin", "fruID=9"});
    EXPECT_EQ(download.iStatus, 0);
    EXPECT_EQ(download.sOut, ProductHeader() + S_sBinary);
    EXPECT_EQ(download.sErr, sNoDevice + "Failure to download FRU data! \n\n");

    const CommandResult upload = m_e2e.Valdrn({"-u", "up.fru", "encoding=ascii", "fruID=9"});
    EXPECT_EQ(upload.iStatus, 1);
    EXPECT_EQ(upload.sOut, ProductHeader());
    EXPECT_EQ(upload.sErr, sNoDevice + "Failure to check the FRU Inventory device.\nFailure to upload FRU data!\n");

    const CommandResult verify = m_e2e.Valdrn({"-v", "in.fru.bin", "fruID=9"});
    EXPECT_EQ(verify.iStatus, 1);
    EXPECT_EQ(verify.sErr, sNoDevice + "Failure to check the FRU Inventory device.\nVerify FRU file failed!\n");
}

// Every write from the second on is refused: the first chunk cannot be
// put back either. The run names the saved copy of the blank device and
// the command that restores it, which works once the BMC takes writes.
TEST_F(FruEndToEnd, AFailedWriteThatCannotBeUndoneNamesTheWayBack)
{
    const std::string sBefore = m_e2e.FruArea(0);
    m_e2e.Bmc().Knob("fail=0a:12:2:d5:0");
    const CommandResult result = DownloadBinary(TypicalServerFru(), 0);
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_EQ(result.sOut, ProductHeader() + S_sBinary + S_sStartLine);
    ASSERT_EQ(m_e2e.SavedCopies().size(), 1u);
    const std::string sCopy = "backups/" + std::filesystem::path(m_e2e.SavedCopies()[0]).filename().string();
    const std::string sAddress = m_e2e.Bmc().LanOptions()[3];
    EXPECT_EQ(result.sErr,
              "<ERROR> Error in executing IPMI command because of: Failure to write data to FRU.\n"
              "cc = D5 \nFRU device 0x00 could not be put back as it was before this run.\n"
              "Failure to download FRU data! \n\n"
              "The BMC's data from before this run is saved in " +
                  sCopy +
                  "; to put it back, run:\n"
                  "ipmitool -I lanplus -H " +
                  sAddress + " -U admin -P ... -C 3 fru write 0 " + sCopy + "\n");
    EXPECT_NE(sCopy.find("-fru0-"), std::string::npos);
    EXPECT_NE(sCopy.find("-raw.bin"), std::string::npos);  // an erased device is no image
    EXPECT_EQ(m_e2e.Read(sCopy), sBefore);
    EXPECT_NE(m_e2e.FruArea(0), sBefore);
    m_e2e.Bmc().Knob("nofaults");
    const CommandResult restore = m_e2e.RunPrintedRestoreCommand(result);
    EXPECT_EQ(restore.iStatus, 0) << restore.sOut << restore.sErr;
    EXPECT_EQ(m_e2e.FruArea(0), sBefore);
}

// One refused write: the device is put back as it was, and says so.
TEST_F(FruEndToEnd, AFailedWriteIsUndone)
{
    const std::string sChassisOnly =
        FruImage({"", FruChassisArea(0x17, {FruAsciiField("P-1"), FruEmptyField()}), "", "", ""});
    ASSERT_EQ(DownloadBinary(sChassisOnly, 0).iStatus, 0);
    const std::string sBefore = m_e2e.FruArea(0);
    m_e2e.Bmc().Knob("fail=0a:12:2:d5:6");
    const CommandResult result = DownloadBinary(TypicalServerFru(), 0);
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_EQ(result.sErr,
              "<ERROR> Error in executing IPMI command because of: Failure to write data to FRU.\n"
              "cc = D5 \nFRU device 0x00 was put back as it was before this run.\n"
              "Failure to download FRU data! \n\n");
    EXPECT_EQ(m_e2e.FruArea(0), sBefore);
    // The file reaches past the old image: the copy saved before the write
    // holds every byte the write covers, raw, for ipmitool to put back.
    ASSERT_EQ(m_e2e.SavedCopies().size(), 2u);
    const std::string sCopy = m_e2e.SavedCopies()[1];
    EXPECT_EQ(sCopy.substr(sCopy.size() - 8), "-raw.bin");
    const std::string sSaved = m_e2e.Read("backups/" + std::filesystem::path(sCopy).filename().string());
    EXPECT_GE(sSaved.size(), TypicalServerFru().size());
    EXPECT_EQ(sSaved, sBefore.substr(0, sSaved.size()));
    EXPECT_EQ(sSaved.substr(0, sChassisOnly.size()), sChassisOnly);
}

TEST_F(FruEndToEnd, AnErasedDeviceDoesNotUpload)
{
    const CommandResult result = m_e2e.Valdrn({"-u", "up.fru", "encoding=ascii", "fruID=1"});
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_EQ(result.sOut, ProductHeader() + "Start to save FRU file, up.fru \n");
    EXPECT_EQ(result.sErr,
              "<ERROR> Incorrect FRU data. \nThe version field (0xFF) in COMMON Area != 0x01. \n"
              "Failure to upload FRU data!\n");
}

}  // namespace
