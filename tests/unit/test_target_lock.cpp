// One writer per BMC: the lock a changing run holds, and what a second
// run that wants it sees.
#include "bmc/target_lock.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "base/monotonic_clock.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

class TargetLockTest : public testing::Test {
protected:
    void TearDown() override { std::remove(TargetLockPath(m_sTarget).c_str()); }
    const std::string m_sTarget = "lock-test-" + std::to_string(getpid());
};

// The second taker waits as long as it is told, then names the holder
// and says that nothing was changed; once the holder is gone, the lock is
// free at once.
TEST_F(TargetLockTest, ASecondTakerWaitsThenNamesTheHolder)
{
    {
        TargetLock first;
        ASSERT_TRUE(first.Take(m_sTarget, 1000));
        TargetLock second;
        CapturedOutput output;
        const long lStart = MonotonicMilliseconds();
        EXPECT_FALSE(second.Take(m_sTarget, 300));
        const long lElapsed = MonotonicMilliseconds() - lStart;
        output.Finish();
        EXPECT_GE(lElapsed, 300);
        const std::string sStart = "<ERROR> Another VALDRN run (process " + std::to_string(getpid()) + ", started at ";
        const std::string sEnd = "Z) is changing " + m_sTarget + "; nothing was changed.\n";
        EXPECT_EQ(output.Err().substr(0, sStart.size()), sStart) << output.Err();
        ASSERT_GE(output.Err().size(), sEnd.size());
        EXPECT_EQ(output.Err().substr(output.Err().size() - sEnd.size()), sEnd) << output.Err();
    }
    TargetLock third;
    const long lStart = MonotonicMilliseconds();
    EXPECT_TRUE(third.Take(m_sTarget, 5000));
    EXPECT_LT(MonotonicMilliseconds() - lStart, 1000);
}

// Readable by every user whatever the umask, so that another user's run
// can wait for this one.
TEST_F(TargetLockTest, TheLockFileIsReadableByAll)
{
    const mode_t old = umask(077);
    TargetLock lock;
    const bool bTaken = lock.Take(m_sTarget, 1000);
    umask(old);
    ASSERT_TRUE(bTaken);
    struct stat info = {};
    ASSERT_EQ(lstat(TargetLockPath(m_sTarget).c_str(), &info), 0);
    EXPECT_TRUE(S_ISREG(info.st_mode));
    EXPECT_EQ(info.st_mode & 0777, 0644u);
    EXPECT_EQ(TargetLockPath(m_sTarget), "/run/lock/valdrn-" + m_sTarget + ".lock");
}

// A link planted where the lock file goes is not followed.
TEST_F(TargetLockTest, ALinkInPlaceOfTheLockFileIsRefused)
{
    TempDir dir;
    WriteFile(dir.File("victim"), "precious");
    ASSERT_EQ(symlink(dir.File("victim").c_str(), TargetLockPath(m_sTarget).c_str()), 0);
    TargetLock lock;
    CapturedOutput output;
    EXPECT_FALSE(lock.Take(m_sTarget, 100));
    output.Finish();
    EXPECT_EQ(ReadFile(dir.File("victim")), "precious");
    EXPECT_EQ(output.Err().rfind("<ERROR> Cannot open the lock file " + TargetLockPath(m_sTarget) + ": ", 0), 0u)
        << output.Err();
}

}  // namespace
