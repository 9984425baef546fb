// The frame of every operation that talks to the BMC: the interface and
// the run's data frame (VLInit/VLExit) opened and released together.
#pragma once

#include "base/interface_state.h"

// False (with the message printed and nothing left open) when either the
// interface or the data frame cannot be opened.
bool OpenBMCSession(const InterfaceChoice& interface);
void CloseBMCSession();

class TargetLock;
// The lock of the BMC this run changes (see bmc/target_lock.h), waited for
// within LOCK_WAIT; false after the line that says who holds it.
bool LockBMCForChanges(TargetLock* pLock, const InterfaceChoice& interface);

// The hidden -kcs probe: the run's in-band interface opened, then closed;
// true when it could be opened (its message printed otherwise).
bool ProbeInBandInterface(const InterfaceChoice& interface);
