// Writing a file's SDR records into the BMC's repository, with the
// repository's old records backed up first and restored on failure.
#pragma once

#include <vector>

#include "base/sdr_entry.h"
#include "bmc/saved_copy.h"
#include "sdr/sdr_exact_copy.h"

// Set to 1, a download goes on when the repository could not be read whole
// (a damaged repository the user wants replaced); otherwise such a run
// stops before the erase.
constexpr const char* PARTIAL_BACKUP_VARIABLE = "VALDRN_ALLOW_PARTIAL_BACKUP";

// A file's records; true on success (a failing initialization agent
// afterwards does not count). Each entry takes the ID the BMC gave it.
// A failure that leaves the repository changed sets the way back's copy.
bool DoSDRAddToBMC(SDRRecordList* pList, WayBack* psWayBack);
// The same for records taken as they are (an exact copy put back): no
// record is checked or changed.
bool DoSDRRecordsAddToBMC(const std::vector<SDRRecordBytes>& asRecords, WayBack* psWayBack);
