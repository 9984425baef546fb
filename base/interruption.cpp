#include "base/interruption.h"

#include <fcntl.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

// Every catchable signal whose default would end the run half-way: a
// terminal sends INT and QUIT to the whole group, a reader that went away
// (a pipe into head) sends PIPE, scripts send TERM, HUP, USR1, USR2, ALRM.
constexpr int GUARDED_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGUSR1, SIGUSR2, SIGALRM};

volatile sig_atomic_t S_iSignal = 0;
// Written from the handler: a fixed buffer, no allocation.
char S_achLastWords[2048];
volatile sig_atomic_t S_iLastWordsLength = 0;
bool S_bStopReported = false;
// Standard error as it was when the guard began: routines run for their
// result alone send standard error to /dev/null for a while, and the words
// that name the way back must not go there.
volatile sig_atomic_t S_iErrorFd = STDERR_FILENO;

void OnSignal(int iSignal)
{
    if (S_iSignal == 0) {
        S_iSignal = iSignal;
        return;
    }
    // Once standard output is gone, every line printed raises SIGPIPE
    // again: that is no second request to stop, the putting back goes on.
    if (iSignal == SIGPIPE) {
        return;
    }
    if (S_iLastWordsLength > 0) {
        const ssize_t iIgnored = write(S_iErrorFd, S_achLastWords, static_cast<size_t>(S_iLastWordsLength));
        (void)iIgnored;
    }
    signal(iSignal, SIG_DFL);
    raise(iSignal);
}

void Install(void (*pfnHandler)(int))
{
    struct sigaction action = {};
    action.sa_handler = pfnHandler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;  // reads and writes in progress carry on
    for (int iSignal : GUARDED_SIGNALS) {
        sigaction(iSignal, &action, nullptr);
    }
}

}  // namespace

void GuardAgainstInterruption()
{
    S_iSignal = 0;
    S_bStopReported = false;
    if (S_iErrorFd != STDERR_FILENO) {
        close(S_iErrorFd);
    }
    const int iError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    S_iErrorFd = iError >= 0 ? iError : STDERR_FILENO;
    Install(OnSignal);
}

void EndInterruptionGuard()
{
    Install(SIG_DFL);
    if (S_iErrorFd != STDERR_FILENO) {
        close(S_iErrorFd);
        S_iErrorFd = STDERR_FILENO;
    }
    // Standard output's reader is gone: what is still buffered for it must
    // not end the run by SIGPIPE at exit, after the BMC was put back.
    if (S_iSignal == SIGPIPE) {
        signal(SIGPIPE, SIG_IGN);
    }
}

int InterruptionSignal()
{
    return S_iSignal;
}

bool StopForInterruption(const char* pchWhat)
{
    if (S_iSignal == 0) {
        return false;
    }
    if (!S_bStopReported) {
        S_bStopReported = true;
        std::fflush(stdout);
        std::fprintf(stderr, "<ERROR> Interrupted by signal %d: the %s stops here.\n", static_cast<int>(S_iSignal),
                     pchWhat);
    }
    return true;
}

void SetLastWordsOnSecondSignal(const char* pchText)
{
    S_iLastWordsLength = 0;
    const size_t uLength = pchText != nullptr ? std::strlen(pchText) : 0;
    const size_t uKept = uLength < sizeof S_achLastWords ? uLength : sizeof S_achLastWords;
    std::memcpy(S_achLastWords, pchText != nullptr ? pchText : "", uKept);
    S_iLastWordsLength = static_cast<sig_atomic_t>(uKept);
}
