// What one run did, as a value: the operation fills it while it works and
// cli/ turns it into the machine-readable result. The printed lines stay
// the operation's own; this carries the facts behind them.
#pragma once

#include <string>
#include <vector>

#include "fru/fru_image.h"
#include "sdr/sdr_record.h"

enum class RunOperation { NONE, HELP, VERSION, KCS_CHECK, DOWNLOAD, UPLOAD, VERIFY, TEST, UPDATE_FRU };

// SUCCESS: the work was done. FAILURE: it was tried and not done (whatever
// the exit status says: a failed FRU write still ends with 0). REFUSED:
// it was not begun, because of the command line, its arguments, a missing
// file, a declined overwrite or another run holding the BMC.
enum class RunOutcome { SUCCESS, FAILURE, REFUSED };

enum class RunData { NONE, SDR, FRU };

// Whether -v found the BMC holding the file: NOT_MADE when either side
// could not be read.
enum class Comparison { NOT_MADE, SAME, DIFFERENT };

// A count that is known, or not (-1).
constexpr long COUNT_UNKNOWN = -1;

struct RunResult {
    RunOperation eOperation = RunOperation::NONE;
    RunData eData = RunData::NONE;
    std::string sFile;
    int iFruID = -1;  // -1 for SDR data and for runs without a FRU ID
    RunOutcome eOutcome = RunOutcome::SUCCESS;
    int iExitStatus = 0;
    long lFileRecords = COUNT_UNKNOWN;  // SDR records the file holds
    long lBMCRecords = COUNT_UNKNOWN;   // SDR records read from the repository
    long lFileBytes = COUNT_UNKNOWN;    // bytes of the file's FRU image
    long lBMCBytes = COUNT_UNKNOWN;     // bytes read from the FRU device
    std::string sSavedCopy;             // the way back a failed change left, when it left one
    std::string sRestoreCommand;
    Comparison eComparison = Comparison::NOT_MADE;
    std::vector<SDRDifference> asSDRDifferences;
    std::vector<FRUAreaDifference> asFRUDifferences;
    std::string sField;  // -updateFRU: the field named on the command line
};

// The operation's start: what it is and what it works on.
RunResult StartRunResult(RunOperation eOperation, bool bIsSDR, const char* pchFileName, int iFruID);
