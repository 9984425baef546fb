// The two named steps that frame one operation's data. The data itself
// lives in the operation's own values (record lists, FRU images), which
// grow with what is read and go when the operation returns.
#pragma once

// Nothing is allocated before the data is read; always true. The step
// stays so that a run's trace and its failure paths keep their places.
bool VLInit();
// Marks in the trace where the run's data is released.
void VLExit();
