// The frame of every operation that talks to the BMC: the interface and
// the run's data frame (VLInit/VLExit) opened and released together.
#pragma once

// False (with the message printed and nothing left open) when either the
// interface or the data frame cannot be opened.
bool OpenBMCSession();
void CloseBMCSession();

class TargetLock;
// The lock of the BMC this run changes (see bmc/target_lock.h), waited for
// within LOCK_WAIT; false after the line that says who holds it.
bool LockBMCForChanges(TargetLock* pLock);
