// -t: tests a local SDR or FRU file, text or binary, without the BMC.
#pragma once

#include "operations/run_result.h"

// Reads the file with the SDR or the FRU reader and says whether it is
// free of errors: 0 when it is, 1 otherwise.
int TestFile(bool bIsSDR, const char* pchFileName, RunResult* psResult);
