#include "base/interruption.h"

#include <unistd.h>
#include <csignal>
#include <cstdio>

#include <gtest/gtest.h>

#include "base/quiet_output.h"

namespace {

// The second signal's words name the way back: they reach standard error
// as it was when the guard began, even while a routine run for its result
// alone (a read-back, a copy's FRU read) has it on /dev/null.
void SecondSignalWhileSilenced()
{
    GuardAgainstInterruption();
    SetLastWordsOnSecondSignal("the way back: VALDRN -d copy.sdr\n");
    SilencedOutput silenced;
    std::raise(SIGINT);  // the first only asks the run to stop
    std::fputs("not seen\n", stderr);
    std::fflush(stderr);
    std::raise(SIGINT);
    _exit(0);  // not reached: the second signal ends the run
}

TEST(InterruptionDeathTest, TheWayBackIsSaidWhileOutputIsSilenced)
{
    EXPECT_EXIT(SecondSignalWhileSilenced(), testing::KilledBySignal(SIGINT),
                "^the way back: VALDRN -d copy.sdr\n$");
}

// A first signal is no end: the run goes on and is asked to stop.
TEST(Interruption, TheFirstSignalIsOnlyNoted)
{
    GuardAgainstInterruption();
    std::raise(SIGTERM);
    EXPECT_EQ(InterruptionSignal(), SIGTERM);
    EndInterruptionGuard();
    GuardAgainstInterruption();  // forgets it
    EXPECT_EQ(InterruptionSignal(), 0);
    EndInterruptionGuard();
}

}  // namespace
