// The option handlers of the operations: each checks its arguments (with
// the command line's usage hints on failure) and runs the operation through
// the run's interface.
// 0 success, 1 failure; *psResult says what the run did.
#pragma once

#include "base/interface_state.h"
#include "operations/run_result.h"

int Download(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[]);
int Upload(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[]);
int Verify(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[]);
int Test(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[]);
int UpdateFRU(const InterfaceChoice& interface, RunResult* psResult, unsigned short u16ArgCount, char* apchArgs[]);
