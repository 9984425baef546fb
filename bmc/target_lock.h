// One writer per BMC on this machine: a run that changes a BMC holds an
// exclusive lock on a file named after its target (the LAN+ host, or this
// machine's own BMC) from before its backup to its end, so that two runs
// never interleave their erases and adds.
//
// The lock file is /run/lock/valdrn-<target>.lock (or under /tmp when
// /run/lock is missing), created with mode 0644; it holds the holder's
// process ID and start time, so that a run that waits can say who it waits
// for. The descriptor is closed on exec: an ipmitool left behind by a
// killed run never holds it.
#pragma once

#include <string>

class TargetLock {
public:
    TargetLock() = default;
    ~TargetLock();
    TargetLock(const TargetLock&) = delete;
    TargetLock& operator=(const TargetLock&) = delete;

    // Waits up to lWaitMilliseconds for the lock of sTarget. False after
    // one "<ERROR> " line naming the run that holds it (or why the lock
    // could not be taken); nothing has been changed then.
    bool Take(const std::string& sTarget, long lWaitMilliseconds);

private:
    int m_iFd = -1;
};

// The lock file's path for a target.
std::string TargetLockPath(const std::string& sTarget);
