#include "encoding/file_probe.h"

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/test_support.h"

using valdrn_test::FileExists;
using valdrn_test::ReadFile;
using valdrn_test::TempDir;
using valdrn_test::WriteFile;

namespace {

TEST(IsFileExistTest, CreatesAMissingFileEmpty)
{
    TempDir dir;
    const std::string sPath = dir.File("new.sdr");
    EXPECT_EQ(IsFileExist(sPath.c_str()), 0);
    ASSERT_TRUE(FileExists(sPath));
    EXPECT_EQ(ReadFile(sPath), "");
    struct stat info = {};
    ASSERT_EQ(stat(sPath.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0077, 0u);  // never readable by others
}

TEST(IsFileExistTest, ExistingFileIsTwoAndUntouched)
{
    TempDir dir;
    WriteFile(dir.File("old.sdr"), "keep me");
    EXPECT_EQ(IsFileExist(dir.File("old.sdr").c_str()), 2);
    EXPECT_EQ(ReadFile(dir.File("old.sdr")), "keep me");
}

TEST(IsFileExistTest, MissingDirectoryIsThree)
{
    TempDir dir;
    EXPECT_EQ(IsFileExist(dir.File("nodir/x.sdr").c_str()), 3);
    EXPECT_FALSE(FileExists(dir.File("nodir")));
}

TEST(IsFileExistTest, DanglingLinkCountsAsExisting)
{
    // O_EXCL does not follow the link: nothing is created behind it.
    TempDir dir;
    ASSERT_EQ(symlink(dir.File("target").c_str(), dir.File("link").c_str()), 0);
    EXPECT_EQ(IsFileExist(dir.File("link").c_str()), 2);
    EXPECT_FALSE(FileExists(dir.File("target")));
}

TEST(IsFileExistReadOnlyTest, ExistingAndMissing)
{
    TempDir dir;
    WriteFile(dir.File("in.fru"), "x");
    EXPECT_EQ(IsFileExistReadOnly(dir.File("in.fru").c_str()), 0);
    EXPECT_EQ(IsFileExistReadOnly(dir.File("missing.fru").c_str()), 1);
    EXPECT_FALSE(FileExists(dir.File("missing.fru")));
    EXPECT_EQ(IsFileExistReadOnly(dir.File("nodir/in.fru").c_str()), 1);
}

TEST(FileProbes, NullPath)
{
    valdrn_test::CapturedOutput output;
    EXPECT_EQ(IsFileExist(nullptr), 3);
    EXPECT_EQ(IsFileExistReadOnly(nullptr), 1);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error!\n<ERROR> Internal Error!\n");
}

}  // namespace
