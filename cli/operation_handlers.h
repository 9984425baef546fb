// The option handlers of the operations: each checks its arguments (with
// the command line's usage hints on failure) and runs the operation.
// 0 success, 1 failure; *psResult says what the run did.
#pragma once

#include "operations/run_result.h"

int Download(RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[]);
int Upload(RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[]);
int Verify(RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[]);
int Test(RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[]);
int UpdateFRU(RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[]);
