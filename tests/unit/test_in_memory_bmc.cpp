// The storage commands through the transport seam, against a BMC in
// memory: whole record lists and FRU images in, what the BMC holds out.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bmc/fru_inventory.h"
#include "bmc/ipmi_command.h"
#include "bmc/sdr_download.h"
#include "bmc/sdr_repository.h"
#include "bmc/transport.h"
#include "sdr/sdr_record.h"
#include "sdr/sdr_text_reader.h"
#include "support/fru_fixtures.h"
#include "support/in_memory_bmc.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

class InMemoryBmcTest : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("VALDRN_BACKUP_DIR", m_backups.Path().c_str(), 1);
        auto pBmc = std::make_unique<InMemoryBmc>();
        m_pBmc = pBmc.get();
        UseTransport(std::move(pBmc));
    }
    void TearDown() override
    {
        UseTransport(nullptr);
        unsetenv("VALDRN_BACKUP_DIR");
    }

    InMemoryBmc* m_pBmc = nullptr;
    TempDir m_backups;
};

std::vector<std::string> Records()
{
    return {SdrRecord(0x0001, 0x01, std::string(59, '\x11')), SdrRecord(0x0002, 0x12, std::string(11, '\x22')),
            SdrRecord(0x0003, 0xC1, std::string(255, '\x5A'))};
}

TEST_F(InMemoryBmcTest, EveryRequestGoesThroughTheRunsTransport)
{
    IPMICommandRecord record = NewCommandRecord();
    EXPECT_TRUE(DoIPMICommand(NETFN_LUN_APP, CMD_GET_DEVICE_ID, &record));
    EXPECT_EQ(record.u16ResponseLength, 15);
    EXPECT_EQ(m_pBmc->m_asRequests, std::vector<std::string>{"18 01 []"});
}

TEST_F(InMemoryBmcTest, WithoutATransportNothingIsSent)
{
    UseTransport(nullptr);
    IPMICommandRecord record = NewCommandRecord();
    record.u8CompletionCode = 0;
    EXPECT_FALSE(DoIPMICommand(NETFN_LUN_APP, CMD_GET_DEVICE_ID, &record));
    EXPECT_EQ(record.u8CompletionCode, CC_NO_ANSWER);
}

// A restore erases and adds each record byte for byte; the backup reads
// them back the same, a 260-byte one included.
TEST_F(InMemoryBmcTest, ARestoreAndABackupMoveRecordsByteForByte)
{
    m_pBmc->m_asRecords = {SdrRecord(0x0009, 0x01, std::string(40, '\x01'))};
    CapturedOutput output;
    EXPECT_EQ(AddRepositoryRecords(Records(), RepositoryPass::RESTORE), CommandResult::SDR_PARTIAL_ADD_LAST);
    unsigned short u16Count = 3;
    std::vector<SDRRecordBytes> asRead;
    EXPECT_EQ(ReadRepositoryRecords(&u16Count, &asRead, RepositoryPass::BACKUP), CommandResult::SDR_RECORD_READ);
    output.Finish();
    EXPECT_EQ(output.Err(), "");
    ASSERT_EQ(m_pBmc->m_asRecords.size(), 3u);
    EXPECT_EQ(m_pBmc->m_asRecords, Records());
    ASSERT_EQ(asRead.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(asRead[i].substr(2), Records()[i].substr(2)) << i;
    }
}

// A reservation cancelled while a record is added: a new reservation, and
// the record added again from its first byte.
TEST_F(InMemoryBmcTest, ACancelledReservationAddsTheRecordAgain)
{
    m_pBmc->Fail(CMD_PARTIAL_ADD_SDR, {CC_RESERVATION_CANCELLED});
    CapturedOutput output;
    EXPECT_EQ(AddRepositoryRecords(Records(), RepositoryPass::RESTORE), CommandResult::SDR_PARTIAL_ADD_LAST);
    output.Finish();
    EXPECT_EQ(m_pBmc->m_asRecords, Records());
}

// A failing Get SDR ends the read: no list is claimed whole.
TEST_F(InMemoryBmcTest, AFailedReadIsNoWholeBackup)
{
    m_pBmc->m_asRecords = Records();
    m_pBmc->Fail(CMD_GET_SDR, std::vector<unsigned char>(40, 0xC1));
    unsigned short u16Count = 3;
    std::vector<SDRRecordBytes> asRead;
    CapturedOutput output;
    EXPECT_NE(ReadRepositoryRecords(&u16Count, &asRead, RepositoryPass::BACKUP), CommandResult::SDR_RECORD_READ);
    output.Finish();
    EXPECT_NE(output.Err(), "");
}

// FRU bytes written in 16-byte chunks land where they belong, and read
// back the same; a device that is not there fails at once.
TEST_F(InMemoryBmcTest, FruBytesGoInAndComeBackOut)
{
    m_pBmc->m_fruDevices[2] = std::string(64, '\xFF');
    std::string sImage;
    for (int i = 0; i < 37; ++i) {
        sImage += static_cast<char>(i);
    }
    CapturedOutput output;
    EXPECT_TRUE(WriteFRUBytes(2, 5, 37, reinterpret_cast<const unsigned char*>(sImage.data())));
    std::string sRead(37, '\0');
    EXPECT_TRUE(ReadFRUBytes(2, 5, 37, reinterpret_cast<unsigned char*>(&sRead[0])));
    EXPECT_FALSE(ReadFRUBytes(3, 0, 8, reinterpret_cast<unsigned char*>(&sRead[0])));
    output.Finish();
    EXPECT_EQ(sRead.substr(0, 37), sImage);
    EXPECT_EQ(m_pBmc->m_fruDevices[2], std::string(5, '\xFF') + sImage + std::string(22, '\xFF'));
    EXPECT_EQ(std::count_if(m_pBmc->m_asRequests.begin(), m_pBmc->m_asRequests.end(),
                            [](const std::string& sRequest) { return sRequest.rfind("28 12 [02 ", 0) == 0; }),
              3);
}

// The download loop takes the file's image and the upload loop returns the
// device's: what goes in comes back out, and the rest of the area stays.
TEST_F(InMemoryBmcTest, AFruImageGoesInWholeAndComesBackWithTheArea)
{
    const std::string sImage = TypicalServerFru();
    const std::string sDevice(256, '\xFF');  // whole chunks: the upload reads each whole
    ASSERT_LT(sImage.size(), sDevice.size());
    m_pBmc->m_fruDevices[2] = sDevice;
    const FRUImage image = MakeFRUImage(reinterpret_cast<const unsigned char*>(sImage.data()), sImage.size());
    WayBack wayBack;
    CapturedOutput output;
    EXPECT_TRUE(DoFRUAddToBMC(2, image, &wayBack));
    FRUImage inventory;
    EXPECT_TRUE(DoFRUGetFromBMC(2, &inventory));
    output.Finish();
    EXPECT_EQ(output.Out(), "Start to download FRU data! \n");
    EXPECT_EQ(m_pBmc->m_fruDevices[2], sImage + sDevice.substr(sImage.size()));
    EXPECT_EQ(inventory.u16Size, sDevice.size());
    EXPECT_EQ(FRUCompare(image, inventory), 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(inventory.au8Bytes.data()), sDevice.size()),
              m_pBmc->m_fruDevices[2]);
}

// A device that takes a write without keeping it is put back, and the
// download is not reported as done.
TEST_F(InMemoryBmcTest, AWriteThatDoesNotStickIsPutBack)
{
    const std::string sImage = TypicalServerFru();
    const std::string sDevice(sImage.size(), '\x5A');
    m_pBmc->m_fruDevices[2] = sDevice;
    m_pBmc->Fail(CMD_WRITE_FRU_DATA, {0x00});  // answered, not written
    const FRUImage image = MakeFRUImage(reinterpret_cast<const unsigned char*>(sImage.data()), sImage.size());
    WayBack wayBack;
    CapturedOutput output;
    EXPECT_FALSE(DoFRUAddToBMC(2, image, &wayBack));
    output.Finish();
    EXPECT_EQ(m_pBmc->m_fruDevices[2], sDevice);
    EXPECT_NE(output.Err(), "");
}

// An image larger than the device's area is refused before any write.
TEST_F(InMemoryBmcTest, AnImageLargerThanTheAreaIsNeverWritten)
{
    const std::string sImage = TypicalServerFru();
    m_pBmc->m_fruDevices[2] = std::string(sImage.size() - 1, '\x5A');
    const FRUImage image = MakeFRUImage(reinterpret_cast<const unsigned char*>(sImage.data()), sImage.size());
    WayBack wayBack;
    CapturedOutput output;
    EXPECT_FALSE(DoFRUAddToBMC(2, image, &wayBack));
    output.Finish();
    EXPECT_EQ(output.Err(), "FRU file size too big, can not download. \n");
    EXPECT_EQ(m_pBmc->m_fruDevices[2], std::string(sImage.size() - 1, '\x5A'));
    EXPECT_EQ(std::count_if(m_pBmc->m_asRequests.begin(), m_pBmc->m_asRequests.end(),
                            [](const std::string& sRequest) { return sRequest.rfind("28 12 ", 0) == 0; }),
              0);
}

// A file's records into a repository that held others, and back out: the
// download and upload loops take and fill lists.
TEST_F(InMemoryBmcTest, AFileListGoesInWholeAndComesBackOut)
{
    m_pBmc->m_asRecords = {SdrNamedRecord(0x0009, 0x01, "OLD")};
    const std::vector<std::string> asFile = {SdrNamedRecord(0x0001, 0x01, "CPU Temp"),
                                             SdrFixedRecord(0x0002, 0x12, 0x20), SdrNamedRecord(0x0003, 0x02, "Fan")};
    SDRRecordList list = FreeSlots(static_cast<unsigned int>(asFile.size()));
    for (size_t i = 0; i < asFile.size(); ++i) {
        PutRecord(list[i], asFile[i]);
    }
    WayBack wayBack;
    CapturedOutput output;
    EXPECT_TRUE(DoSDRAddToBMC(&list, &wayBack));
    SDRRecordList read;
    EXPECT_EQ(DoSDRGetFromBMC(&read), RepositoryRead::READ);
    output.Finish();
    EXPECT_NE(output.Out().find("Download SDR data Successful. (3h SDR records downloaded!) \n"), std::string::npos)
        << output.Out();
    EXPECT_EQ(wayBack.sCopyPath, "");
    ASSERT_EQ(m_pBmc->m_asRecords.size(), asFile.size());
    ASSERT_EQ(read.size(), asFile.size());
    for (size_t i = 0; i < asFile.size(); ++i) {
        EXPECT_EQ(m_pBmc->m_asRecords[i].substr(2), asFile[i].substr(2)) << i;  // the BMC gives the IDs
        EXPECT_EQ(RecordOf(read[i]).substr(2), asFile[i].substr(2)) << i;
        EXPECT_EQ(list[i].u16RecordID, read[i].u16RecordID) << i;  // each entry took the BMC's ID
    }
    EXPECT_EQ(SDRCompare(list, read), 1);
}

// An add that fails half-way: the repository's old records are put back,
// so the run leaves no copy to restore by hand.
TEST_F(InMemoryBmcTest, AFailedAddPutsTheOldRecordsBack)
{
    const std::vector<std::string> asOld = {SdrNamedRecord(0x0009, 0x01, "OLD"), SdrFixedRecord(0x000A, 0x12, 0x20)};
    m_pBmc->m_asRecords = asOld;
    SDRRecordList list = FreeSlots(2);
    PutRecord(list[0], SdrNamedRecord(0x0001, 0x01, "NEW"));
    PutRecord(list[1], SdrNamedRecord(0x0002, 0x01, "NEWER"));
    m_pBmc->Fail(CMD_PARTIAL_ADD_SDR, {0xC1});  // the download's first add refused
    WayBack wayBack;
    CapturedOutput output;
    EXPECT_FALSE(DoSDRAddToBMC(&list, &wayBack));
    output.Finish();
    EXPECT_NE(output.Err().find("Failure to download SDR data!"), std::string::npos) << output.Err();
    ASSERT_EQ(m_pBmc->m_asRecords.size(), asOld.size());
    for (size_t i = 0; i < asOld.size(); ++i) {
        EXPECT_EQ(m_pBmc->m_asRecords[i].substr(2), asOld[i].substr(2)) << i;
    }
    EXPECT_EQ(wayBack.sCopyPath, "");
}

// When the old records cannot be put back either, the way back is the
// copy saved before the erase, and it holds them.
TEST_F(InMemoryBmcTest, AFailedRestoreLeavesTheSavedCopyAsTheWayBack)
{
    const std::vector<std::string> asOld = {SdrNamedRecord(0x0009, 0x01, "OLD")};
    m_pBmc->m_asRecords = asOld;
    SDRRecordList list = FreeSlots(1);
    PutRecord(list[0], SdrNamedRecord(0x0001, 0x01, "NEW"));
    m_pBmc->Fail(CMD_PARTIAL_ADD_SDR, {0xC1, 0xC1});  // the download's add, then the restore's
    WayBack wayBack;
    CapturedOutput output;
    EXPECT_FALSE(DoSDRAddToBMC(&list, &wayBack));
    output.Finish();
    EXPECT_NE(output.Err().find("Restore SDR Repository Failed."), std::string::npos) << output.Err();
    ASSERT_NE(wayBack.sCopyPath, "");
    EXPECT_EQ(wayBack.sCopyPath.rfind(m_backups.Path(), 0), 0u) << wayBack.sCopyPath;
    SDRRecordList saved;
    CapturedOutput reading;
    ASSERT_EQ(ReadSDRFile(wayBack.sCopyPath.c_str(), &saved), 1);
    reading.Finish();
    ASSERT_EQ(saved.size(), 1u);
    EXPECT_EQ(RecordOf(saved[0]).substr(2), asOld[0].substr(2));  // the ID the BMC gave it aside
}

}  // namespace
