// SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGUSR1, SIGUSR2 and SIGALRM
// (Ctrl-C or Ctrl-\ to the terminal's group, a kill, a closed ssh session,
// a reader of standard output that went away) while an operation may
// change the BMC's data. The first signal does not end
// the run: it asks the loops that write to stop, so that what they changed
// is put back as a failed run puts it back. A second signal ends the run
// at once, after writing the last words set for it (the lines that name
// the saved copy and the command that restores it); a repeated SIGPIPE
// is not a second signal.
#pragma once

// Installs the handlers until EndInterruptionGuard; forgets any earlier
// signal.
void GuardAgainstInterruption();
void EndInterruptionGuard();
// 0, or the first signal received while guarded.
int InterruptionSignal();
// True, after "<ERROR> Interrupted by signal N: the WHAT stops here." on
// standard error (once per run), when a signal asked the run to stop.
bool StopForInterruption(const char* pchWhat);
// What a second signal writes to standard error before the run ends
// (copied; "" for nothing).
void SetLastWordsOnSecondSignal(const char* pchText);
