// -d, -u and -v: moving SDR and FRU data between a local file and the BMC.
// Each takes the run's interface and its arguments checked; each prints its own progress and
// result, sets *psResult to what it did and returns the exit status (0
// success, 1 failure).
#pragma once

#include "base/interface_state.h"
#include "operations/run_result.h"

// The file into the BMC's SDR repository, or into FRU device u16FruID.
int DownloadFile(const InterfaceChoice& interface, bool bIsSDR, const char* pchFileName, unsigned short u16FruID,
                 RunResult* psResult);
// The repository, or FRU device u16FruID, into a text file in the given
// encoding; asks first when the file exists.
int UploadToFile(const InterfaceChoice& interface, bool bIsSDR, const char* pchFileName, unsigned int u32Encoding,
                 unsigned short u16FruID, RunResult* psResult);
// Whether the BMC holds what the file holds.
int VerifyFile(const InterfaceChoice& interface, bool bIsSDR, const char* pchFileName, unsigned short u16FruID,
               RunResult* psResult);
