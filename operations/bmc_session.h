// The frame of every operation that talks to the BMC: the interface and
// the working storage opened together and released together.
#pragma once

// False (with the message printed and nothing left open) when either the
// interface or the working storage cannot be opened.
bool OpenBMCSession();
void CloseBMCSession();
