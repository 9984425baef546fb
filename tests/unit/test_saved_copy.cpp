// Saved copies of the BMC's data: where they go, how they are named and
// kept, what they hold, and the command that puts one back.
#include "bmc/saved_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/interface_state.h"
#include "operations/restore_advice.h"
#include "sdr/sdr_exact_copy.h"
#include "sdr/sdr_text_reader.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

namespace fs = std::filesystem;

// The default folder while HOME and XDG_STATE_HOME point into the test's.
std::string DefaultCopyFolderFor(const TempDir& dir)
{
    return geteuid() == 0 ? "/var/lib/valdrn/backups" : dir.File("state") + "/valdrn/backups";
}

// Each test with its own copies folder, the local interface, no advice.
class SavedCopyTest : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("VALDRN_BACKUP_DIR", m_dir.File("backups").c_str(), 1);
        SetRestoreProgramName("VALDRN");
    }
    void TearDown() override
    {
        unsetenv("VALDRN_BACKUP_DIR");
        SetRestoreProgramName(nullptr);
    }
    InterfaceChoice m_interface;
    WayBack m_wayBack = NewWayBack(m_interface);
    std::vector<std::string> Names() const
    {
        std::vector<std::string> asNames;
        std::error_code error;  // no folder: no copy
        for (const auto& entry : fs::directory_iterator(m_dir.File("backups"), error)) {
            asNames.push_back(entry.path().filename().string());
        }
        std::sort(asNames.begin(), asNames.end());
        return asNames;
    }
    // The run reaches a BMC over LAN+: its copies are named after the host.
    void UseLan(const char* pchHost, const char* pchUser)
    {
        m_interface.eInterfaceInUse = eInterfaceLanPlus;
        IolDataRecord& sIolData = m_interface.sIolData;
        sIolData = {};
        std::snprintf(sIolData.achHostIP, sizeof sIolData.achHostIP, "%s", pchHost);
        std::snprintf(sIolData.achUserName, sizeof sIolData.achUserName, "%s", pchUser);
        std::snprintf(sIolData.achPassword, sizeof sIolData.achPassword, "%s", "top secret");
        sIolData.u16CipherSuiteID = 3;
        m_wayBack = NewWayBack(m_interface);
    }

    TempDir m_dir;
};

TEST(SavedCopyFolderTest, TheVariableThenRootThenTheStateHome)
{
    setenv("VALDRN_BACKUP_DIR", "/x/y", 1);
    EXPECT_EQ(SavedCopyFolder(), "/x/y");
    unsetenv("VALDRN_BACKUP_DIR");
    if (geteuid() == 0) {
        EXPECT_EQ(SavedCopyFolder(), "/var/lib/valdrn/backups");
    } else {
        setenv("XDG_STATE_HOME", "/state", 1);
        EXPECT_EQ(SavedCopyFolder(), "/state/valdrn/backups");
        unsetenv("XDG_STATE_HOME");
        const std::string sHome = std::getenv("HOME") != nullptr ? std::getenv("HOME") : ".";
        EXPECT_EQ(SavedCopyFolder(), sHome + "/.local/state/valdrn/backups");
    }
}

// In-band copies carry this machine's host name: machines that share a
// copies folder never take each other's copies for their own.
TEST_F(SavedCopyTest, AFruCopyIsNamedMadePrivateAndHoldsTheBytes)
{
    const unsigned char au8Bytes[] = {1, 2, 3, 0xFF};
    const std::string sPath = SaveFRUDeviceCopy(7, au8Bytes, 4, true, m_wayBack);
    ASSERT_FALSE(sPath.empty());
    const std::string sName = fs::path(sPath).filename().string();
    char achHost[256] = {};
    ASSERT_EQ(gethostname(achHost, sizeof achHost - 1), 0);
    ASSERT_NE(std::string(achHost), "");
    EXPECT_EQ(TargetName(m_interface), achHost);
    const std::string sPrefix = std::string(achHost) + "-fru7-";
    EXPECT_EQ(sName.rfind(sPrefix, 0), 0u) << sName;
    EXPECT_EQ(sName.substr(sName.size() - 4), ".fru");
    // HOST-fru7-YYYYmmddTHHMMSS.mmmZ-PID.fru
    EXPECT_EQ(sName[sPrefix.size() + 8], 'T');
    EXPECT_EQ(sName[sPrefix.size() + 19], 'Z');
    EXPECT_EQ(ReadFile(sPath), std::string("\x01\x02\x03\xFF", 4));
    struct stat info = {};
    ASSERT_EQ(stat(sPath.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    ASSERT_EQ(stat(m_dir.File("backups").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    const std::string sRaw = SaveFRUDeviceCopy(7, au8Bytes, 4, false, m_wayBack);
    EXPECT_EQ(sRaw.substr(sRaw.size() - 8), "-raw.bin");
}

// Sets a copy's modification time so many seconds from now.
void Age(const std::string& sPath, long lSecondsFromNow)
{
    struct timespec times[2] = {};
    times[0].tv_sec = times[1].tv_sec = time(nullptr) + lSecondsFromNow;
    ASSERT_EQ(utimensat(AT_FDCWD, sPath.c_str(), times, 0), 0) << sPath;
}

// Runs in the same millisecond still get names of their own, and of the
// copies older than an hour only the newest 20 of a target and kind stay;
// other kinds are left alone.
TEST_F(SavedCopyTest, NamesAreUniqueAndTheNewestTwentyAreKept)
{
    const unsigned char u8Byte = 0;
    const std::string sOtherKind = SaveFRUDeviceCopy(1, &u8Byte, 1, true, m_wayBack);
    ASSERT_FALSE(sOtherKind.empty());
    Age(sOtherKind, -100000);
    std::vector<std::string> asPaths;
    for (int i = 0; i < 22; ++i) {
        asPaths.push_back(SaveFRUDeviceCopy(0, &u8Byte, 1, true, m_wayBack));
        ASSERT_FALSE(asPaths.back().empty());
        if (i < 21) {
            Age(asPaths.back(), -7200 + i);
        }
    }
    std::vector<std::string> asSorted = asPaths;
    std::sort(asSorted.begin(), asSorted.end());
    EXPECT_EQ(std::unique(asSorted.begin(), asSorted.end()), asSorted.end());
    const std::vector<std::string> asNames = Names();
    ASSERT_EQ(asNames.size(), 21u);
    EXPECT_NE(std::find(asNames.begin(), asNames.end(), fs::path(sOtherKind).filename().string()), asNames.end());
    EXPECT_EQ(std::find(asNames.begin(), asNames.end(), fs::path(asPaths[0]).filename().string()), asNames.end());
    EXPECT_EQ(std::find(asNames.begin(), asNames.end(), fs::path(asPaths[1]).filename().string()), asNames.end());
    EXPECT_NE(std::find(asNames.begin(), asNames.end(), fs::path(asPaths[2]).filename().string()), asNames.end());
}

// Copies younger than an hour are never removed, however many there are.
TEST_F(SavedCopyTest, CopiesYoungerThanAnHourStay)
{
    const unsigned char u8Byte = 0;
    for (int i = 0; i < 25; ++i) {
        ASSERT_FALSE(SaveFRUDeviceCopy(0, &u8Byte, 1, true, m_wayBack).empty());
    }
    EXPECT_EQ(Names().size(), 25u);
}

// Copies saved while the clock was ahead bear later stamps and
// times than this run's copy: the run still keeps its own, and the
// command it prints names a file that exists.
TEST_F(SavedCopyTest, CopiesFromAClockThatWasAheadNeverRemoveThisRunsCopy)
{
    const unsigned char u8Byte = 0;
    for (int i = 0; i < 21; ++i) {
        const std::string sPath = SaveFRUDeviceCopy(0, &u8Byte, 1, true, m_wayBack);
        ASSERT_FALSE(sPath.empty());
        // Named as that clock named them, a year or more later (a year of
        // its own each: two saves within one millisecond take one name).
        std::string sAhead = sPath;
        const size_t uAt = sAhead.find("-fru0-") + 6;
        sAhead.replace(uAt, 4, std::to_string(std::stoi(sAhead.substr(uAt, 4)) + 1 + i));
        ASSERT_EQ(std::rename(sPath.c_str(), sAhead.c_str()), 0);
        Age(sAhead, 86400);
    }
    // An old copy as well, which may go.
    const std::string sOld = SaveFRUDeviceCopy(0, &u8Byte, 1, true, m_wayBack);
    Age(sOld, -7200);
    const std::string sMine = SaveFRUDeviceCopy(0, &u8Byte, 1, true, m_wayBack);
    ASSERT_FALSE(sMine.empty());
    EXPECT_TRUE(fs::exists(sMine));
    EXPECT_FALSE(fs::exists(sOld));
    EXPECT_EQ(Names().size(), 22u);
    WayBack wayBack = NewWayBack(m_interface);
    AdviseSavedCopy(&wayBack, sMine);
    CapturedOutput output;
    PrintSavedCopyAdvice(wayBack);
    output.Finish();
    EXPECT_NE(output.Err().find(fs::path(sMine).filename().string()), std::string::npos) << output.Err();
}

// A folder another user could write in (or that is not this user's) is
// not used: one warning line, and the copies go to the default folder.
TEST_F(SavedCopyTest, AFolderOthersCanWriteInIsRefusedForTheDefaultOne)
{
    ASSERT_EQ(mkdir(m_dir.File("backups").c_str(), 0777), 0);
    ASSERT_EQ(chmod(m_dir.File("backups").c_str(), 0777), 0);
    setenv("XDG_STATE_HOME", m_dir.File("state").c_str(), 1);
    const std::string sHome = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
    setenv("HOME", m_dir.File("home").c_str(), 1);
    const unsigned char u8Byte = 0;
    CapturedOutput output;
    const std::string sPath = SaveFRUDeviceCopy(3, &u8Byte, 1, true, m_wayBack);
    output.Finish();
    setenv("HOME", sHome.c_str(), 1);
    unsetenv("XDG_STATE_HOME");
    EXPECT_EQ(output.Err(), "Warning: " + m_dir.File("backups") +
                                " is not yours alone (its owner, or write permission for others); copies go to " +
                                DefaultCopyFolderFor(m_dir) + ".\n");
    EXPECT_TRUE(Names().empty());
    if (geteuid() != 0) {
        EXPECT_EQ(fs::path(sPath).parent_path().string(), m_dir.File("state") + "/valdrn/backups");
    } else {
        EXPECT_EQ(fs::path(sPath).parent_path().string(), "/var/lib/valdrn/backups");
        std::remove(sPath.c_str());
    }
}

// A link planted where the next copy will be created is never followed:
// the file it points to keeps its bytes.
TEST_F(SavedCopyTest, APlantedLinkIsNeverFollowed)
{
    const unsigned char u8Byte = 0x5A;
    ASSERT_FALSE(SaveFRUDeviceCopy(4, &u8Byte, 1, true, m_wayBack).empty());
    WriteFile(m_dir.File("victim"), "precious");
    ASSERT_EQ(chmod(m_dir.File("victim").c_str(), 0600), 0);
    // Every name this process could take within the next seconds.
    const std::string sFirst = Names()[0];
    const std::string sStem = sFirst.substr(0, sFirst.find("-fru4-") + 6 + 9);  // ...-fru4-YYYYmmddT
    for (int iSecond = 0; iSecond < 3; ++iSecond) {
        const time_t now = time(nullptr) + iSecond;
        std::tm utc = {};
        gmtime_r(&now, &utc);
        char achTime[32];
        std::strftime(achTime, sizeof achTime, "%H%M%S", &utc);
        for (int iMs = 0; iMs < 1000; ++iMs) {
            char achName[128];
            std::snprintf(achName, sizeof achName, "%s%s.%03dZ-%d.fru", sStem.c_str(), achTime, iMs,
                          static_cast<int>(getpid()));
            const int iIgnored =
                symlink(m_dir.File("victim").c_str(), m_dir.File(std::string("backups/") + achName).c_str());
            (void)iIgnored;
        }
    }
    const std::string sPath = SaveFRUDeviceCopy(4, &u8Byte, 1, true, m_wayBack);
    EXPECT_EQ(ReadFile(m_dir.File("victim")), "precious");
    if (!sPath.empty()) {
        struct stat info = {};
        ASSERT_EQ(lstat(sPath.c_str(), &info), 0);
        EXPECT_TRUE(S_ISREG(info.st_mode));
        EXPECT_EQ(ReadFile(sPath), "\x5A");
    }
}

TEST_F(SavedCopyTest, AFolderThatCannotBeMadeGivesOneWarning)
{
    WriteFile(m_dir.File("file"), "");
    setenv("VALDRN_BACKUP_DIR", m_dir.File("file/backups").c_str(), 1);
    const unsigned char u8Byte = 0;
    CapturedOutput output;
    EXPECT_EQ(SaveFRUDeviceCopy(2, &u8Byte, 1, true, m_wayBack), "");
    output.Finish();
    EXPECT_EQ(output.Err(), "Warning: no copy of FRU device 2 could be saved in " + m_dir.File("file/backups") +
                                ": Not a directory.\n");
    EXPECT_EQ(output.Out(), "");
}

// Only the records read whole are kept, as a text file the reader takes.
// Records an SDR text file holds as they are: the copy is SDR text, and
// reads back as the same records.
TEST_F(SavedCopyTest, ARepositoryCopyOfOrdinaryRecordsIsSdrText)
{
    const std::vector<std::string> asRecords = {SdrNamedRecord(1, 0x01, "Fan 1"), SdrFixedRecord(2, 0x08, 0x10)};
    UseLan("10.0.0.5", "admin");
    CapturedOutput output;
    const std::string sPath = SaveRepositoryCopy(asRecords, true, m_wayBack);
    output.Finish();
    EXPECT_EQ(output.Out() + output.Err(), "");
    ASSERT_FALSE(sPath.empty());
    const std::string sName = fs::path(sPath).filename().string();
    EXPECT_EQ(sName.rfind("10.0.0.5-sdr-", 0), 0u) << sName;
    EXPECT_EQ(sName.substr(sName.size() - 12), "-partial.sdr");
    SDRRecordList readBack;
    CapturedOutput readOutput;
    ASSERT_EQ(ReadSDRFile(sPath.c_str(), &readBack), 1);
    readOutput.Finish();
    ASSERT_EQ(readBack.size(), 2u);
    EXPECT_EQ(RecordOf(readBack[0]), asRecords[0]);
    EXPECT_EQ(RecordOf(readBack[1]), asRecords[1]);
}

// One record an SDR text file cannot hold as it is (here 200 bytes): the
// copy is the exact one, every record byte for byte.
TEST_F(SavedCopyTest, ARepositoryCopyOfRecordsTextCannotHoldIsExact)
{
    const std::vector<std::string> asRecords = {SdrNamedRecord(1, 0x01, "Fan 1"),
                                                SdrRecord(2, 0xC0, std::string(195, '\x5A')),
                                                SdrRecord(3, 0xC1, std::string(255, '\x00'))};
    CapturedOutput output;
    const std::string sPath = SaveRepositoryCopy(asRecords, false, m_wayBack);
    output.Finish();
    EXPECT_EQ(output.Out() + output.Err(), "");
    ASSERT_FALSE(sPath.empty());
    EXPECT_EQ(sPath.substr(sPath.size() - 4), ".bin");
    EXPECT_EQ(ReadFile(sPath), ExactSDRCopyBytes(asRecords));
    std::vector<std::string> asRead;
    ASSERT_TRUE(ReadExactSDRCopy(ReadFile(sPath), sPath.c_str(), &asRead));
    EXPECT_EQ(asRead, asRecords);
}

TEST_F(SavedCopyTest, NoRecordReadWholeIsNoCopy)
{
    CapturedOutput output;
    EXPECT_EQ(SaveRepositoryCopy({}, true, m_wayBack), "");
    output.Finish();
    EXPECT_EQ(output.Err(), "Warning: no copy of the SDR repository could be saved in " + m_dir.File("backups") +
                                ": no record could be read.\n");
    EXPECT_TRUE(Names().empty());
}

// The copy is named from the current folder (never with a leading "/"),
// with the interface options of the run; the password is never shown.
TEST_F(SavedCopyTest, TheRestoreCommandForEachInterface)
{
    const std::string sSaved = fs::current_path().string();
    fs::current_path(m_dir.Path());
    const unsigned char u8Byte = 0;
    const std::string sFru = SaveFRUDeviceCopy(0x1A, &u8Byte, 1, true, m_wayBack);
    const std::string sName = fs::path(sFru).filename().string();
    EXPECT_EQ(RestoreCommand(sFru, m_interface), "VALDRN -d backups/" + sName + " fruID=0x1A");
    m_interface.eInterfaceInUse = eInterfaceKCSIO;
    EXPECT_EQ(RestoreCommand(sFru, m_interface), "VALDRN -d backups/" + sName + " fruID=0x1A -msgintf kcsio");
    UseLan("bmc-7.example", "the admin");
    SetRestoreProgramName("./bin/VALDRN");
    EXPECT_EQ(
        RestoreCommand(sFru, m_interface),
        "./bin/VALDRN -d backups/" + sName + " fruID=0x1A -n lanplus -H bmc-7.example -U 'the admin' -P ... -C 3");
    const std::string sRaw = SaveFRUDeviceCopy(3, &u8Byte, 1, false, m_wayBack);
    const std::string sRawName = fs::path(sRaw).filename().string();
    EXPECT_EQ(sRawName.rfind("bmc-7.example-fru3-", 0), 0u);
    EXPECT_EQ(RestoreCommand(sRaw, m_interface),
              "ipmitool -I lanplus -H bmc-7.example -U 'the admin' -P ... -C 3 fru write 3 "
              "backups/" +
                  sRawName);
    fs::create_directory(m_dir.File("deeper"));
    fs::current_path(m_dir.File("deeper"));
    EXPECT_EQ(RestoreCommand(sRaw, m_interface).substr(RestoreCommand(sRaw, m_interface).rfind(' ') + 1),
              "../backups/" + sRawName);
    fs::current_path(sSaved);
}

// A target whose name holds "-fru" (a host "db-fru01") does not make a
// repository copy a FRU copy: the kind is the part before the stamp.
TEST_F(SavedCopyTest, TheKindIsReadBeforeTheStampNotFromTheTarget)
{
    const std::string sSaved = fs::current_path().string();
    fs::current_path(m_dir.Path());
    const std::string sStamp = "-20261124T101010.123Z-42";
    EXPECT_EQ(RestoreCommand("db-fru01-sdr" + sStamp + ".sdr", m_interface),
              "VALDRN -d db-fru01-sdr" + sStamp + ".sdr");
    EXPECT_EQ(RestoreCommand("db-fru01-sdr" + sStamp + "-partial.bin", m_interface),
              "VALDRN -d db-fru01-sdr" + sStamp + "-partial.bin");
    EXPECT_EQ(RestoreCommand("db-fru01-fru7" + sStamp + ".fru", m_interface),
              "VALDRN -d db-fru01-fru7" + sStamp + ".fru fruID=0x07");
    EXPECT_EQ(RestoreCommand("db-fru01-fru12" + sStamp + "-raw.bin", m_interface),
              "ipmitool fru write 12 db-fru01-fru12" + sStamp + "-raw.bin");
    fs::current_path(sSaved);
}

// A path from here that VALDRN would not take as a file name (longer than
// 255 characters, or holding a blank) is named from the copy's folder; the
// program, typed with a path, is named by its absolute path then, and
// intf.ini goes along for -msgintf kcsio.
TEST_F(SavedCopyTest, ACopyVALDRNCannotBeGivenFromHereIsRestoredFromItsFolder)
{
    const std::string sSaved = fs::current_path().string();
    std::string sFolder = m_dir.File("my backups");
    for (int i = 0; i < 12; ++i) {
        sFolder += "/a-folder-name-of-twenty-four";
    }
    setenv("VALDRN_BACKUP_DIR", sFolder.c_str(), 1);
    fs::create_directory(m_dir.File("here"));
    fs::current_path(m_dir.File("here"));
    const unsigned char u8Byte = 0;
    const std::string sFru = SaveFRUDeviceCopy(2, &u8Byte, 1, true, m_wayBack);
    ASSERT_FALSE(sFru.empty());
    const std::string sName = fs::path(sFru).filename().string();
    SetRestoreProgramName("../bin/VALDRN");
    EXPECT_EQ(RestoreCommand(sFru, m_interface),
              "cd '" + sFolder + "' && " + m_dir.File("here") + "/../bin/VALDRN -d " + sName + " fruID=0x02");
    m_interface.eInterfaceInUse = eInterfaceKCSIO;
    SetRestoreProgramName("VALDRN");
    EXPECT_EQ(RestoreCommand(sFru, m_interface), "cp intf.ini '" + sFolder + "'/ && cd '" + sFolder +
                                                     "' && VALDRN -d " + sName + " fruID=0x02 -msgintf kcsio");
    // Short, but with a blank: the same.
    setenv("VALDRN_BACKUP_DIR", m_dir.File("my backups").c_str(), 1);
    const std::string sNear = SaveFRUDeviceCopy(2, &u8Byte, 1, true, m_wayBack);
    EXPECT_EQ(RestoreCommand(sNear, m_interface).rfind("cp intf.ini '" + m_dir.File("my backups") + "'/ && cd '", 0),
              0u)
        << RestoreCommand(sNear, m_interface);
    fs::current_path(sSaved);
}

TEST_F(SavedCopyTest, TheAdviceIsPrintedOnlyWhenGiven)
{
    WayBack wayBack = NewWayBack(m_interface);
    CapturedOutput quiet;
    PrintSavedCopyAdvice(wayBack);
    quiet.Finish();
    EXPECT_EQ(quiet.Err(), "");
    AdviseSavedCopy(&wayBack, "");
    EXPECT_EQ(wayBack.sCopyPath, "");
    const unsigned char u8Byte = 0;
    const std::string sPath = SaveFRUDeviceCopy(0, &u8Byte, 1, true, m_wayBack);
    AdviseSavedCopy(&wayBack, sPath);
    AdviseSavedCopy(&wayBack, "");  // a later copy that could not be written keeps this one
    EXPECT_EQ(wayBack.sCopyPath, sPath);
    CapturedOutput output;
    PrintSavedCopyAdvice(wayBack);
    output.Finish();
    const std::string sShown = fs::relative(sPath).string();
    EXPECT_EQ(output.Err(), "The BMC's data from before this run is saved in " + sShown +
                                "; to put it back, run:\nVALDRN -d " + sShown + " fruID=0x00\n");
}

}  // namespace
