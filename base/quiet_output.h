// Running a chatty routine for its result alone: the safety work (saved
// copies, read-backs, undo) reuses routines that print, and a run that
// goes well must print exactly what it always has.
#pragma once

// Standard output and standard error go to /dev/null while it lives.
class SilencedOutput {
public:
    SilencedOutput();
    ~SilencedOutput();
    SilencedOutput(const SilencedOutput&) = delete;
    SilencedOutput& operator=(const SilencedOutput&) = delete;

private:
    int m_iOut;
    int m_iErr;
};

// The -debugmsg trace is off while it lives: requests that only guard the
// user's data do not change the trace of a run.
class SuppressedTrace {
public:
    SuppressedTrace();
    ~SuppressedTrace();
    SuppressedTrace(const SuppressedTrace&) = delete;
    SuppressedTrace& operator=(const SuppressedTrace&) = delete;

private:
    bool m_bWasVerbose;
};
