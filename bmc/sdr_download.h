// Writing a file's SDR records into the BMC's repository, with the
// repository's old records backed up first and restored on failure.
#pragma once

// The first u16Count records of G_psLocalSDREntryList; true on success
// (a failing initialization agent afterwards does not count).
bool DoSDRAddToBMC(unsigned short u16Count);
