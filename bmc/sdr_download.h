// Writing a file's SDR records into the BMC's repository, with the
// repository's old records backed up first and restored on failure.
#pragma once

#include <vector>

#include "sdr/sdr_exact_copy.h"

// Set to 1, a download goes on when the repository could not be read whole
// (a damaged repository the user wants replaced); otherwise such a run
// stops before the erase.
constexpr const char* PARTIAL_BACKUP_VARIABLE = "VALDRN_ALLOW_PARTIAL_BACKUP";

// The first u16Count records of G_psLocalSDREntryList; true on success
// (a failing initialization agent afterwards does not count).
bool DoSDRAddToBMC(unsigned short u16Count);
// The same for records taken as they are (an exact copy put back): no
// record is checked or changed.
bool DoSDRRecordsAddToBMC(const std::vector<SDRRecordBytes>& asRecords);
