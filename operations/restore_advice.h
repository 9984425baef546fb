// The way back a failed run names: its saved copy and the shell command
// that puts the copy back, worded from this run's interface options.
#pragma once

#include <string>

#include "base/interface_state.h"
#include "bmc/saved_copy.h"
#include "operations/run_result.h"

// How the program was started (argv[0]): the restore command names it so.
void SetRestoreProgramName(const char* pchArgv0);

// The restore command for a copy, run from the current folder (password
// shown as "..."), reaching the BMC as the run did: VALDRN -d for an SDR or
// FRU file, ipmitool's "fru write" for a device's raw bytes.
std::string RestoreCommand(const std::string& sPath, const InterfaceChoice& interface);
// The advice: the copy, then on a line of its own its restore command.
std::string SavedCopyAdviceText(const std::string& sPath, const InterfaceChoice& interface);
// A run's way back before anything is saved: its copies named after the
// run's target, worded by SavedCopyAdviceText.
WayBack NewWayBack(const InterfaceChoice& interface);
// Prints the advice on standard error when the run left a copy as its way
// back; nothing otherwise.
void PrintSavedCopyAdvice(const WayBack& wayBack);
// Puts the copy and its restore command in the run's result, when the run
// left one.
void TakeWayBack(const WayBack& wayBack, const InterfaceChoice& interface, RunResult* psResult);
