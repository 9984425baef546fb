#include "operations/run_result.h"

RunResult StartRunResult(RunOperation eOperation, bool bIsSDR, const char* pchFileName, int iFruID)
{
    RunResult result;
    result.eOperation = eOperation;
    result.eData = bIsSDR ? RunData::SDR : RunData::FRU;
    result.sFile = pchFileName != nullptr ? pchFileName : "";
    result.iFruID = bIsSDR ? -1 : iFruID;
    // Nothing is done until the operation says it was.
    result.eOutcome = RunOutcome::FAILURE;
    return result;
}
