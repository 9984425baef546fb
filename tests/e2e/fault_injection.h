// One request of a VALDRN run over LAN+ meeting one fault, and judging
// what the BMC holds afterwards. Shared by the fault matrices of the SDR
// download, the FRU download and the field update.
//
// The faults, met at the request's first attempt:
//   c0 c1 c3 c5 ca ff   the BMC answers every attempt with that completion code
//   session-once        the RMCP+ session cannot be set up, for that attempt
//   session-always      ... for every attempt of the request
//   bmc-frozen          the BMC stopped (SIGSTOP) for 3 s, longer than one
//                       attempt's timeout (ipmitool -N 1 -R 1), then resumed
//   bmc-restarted       the BMC killed (SIGKILL) and started again 1 s later
//                       on its saved state: reservations and a half-added
//                       record are gone, as after a BMC reboot
//   valdrn-killed       VALDRN killed (SIGKILL): nothing is printed; the copy
//                       saved before the first change is the way back
//   valdrn-interrupted  SIGINT to VALDRN (Ctrl-C)
//   valdrn-hung-up      SIGHUP to VALDRN (the ssh session closed)
//   valdrn-group-interrupted  SIGINT to VALDRN's process group (Ctrl-C at a
//                       terminal: ipmitool in flight must not get it)
//   valdrn-group-quit   SIGQUIT to VALDRN's process group (Ctrl-backslash)
// The signals to VALDRN arrive while ipmitool runs for the request, which
// still reaches the BMC. VALDRN runs under setsid: its process group is
// its own.
#pragma once

#include <string>
#include <vector>

#include "e2e/e2e_support.h"

namespace valdrn_test {

const std::vector<std::string>& FaultKinds();

// The requests of a run, in order, as "netfn:cmd" (from the raw command
// lines a StandInIpmitool logged), and each one's call number among
// ipmitool's runs (1-based; the presence check is a run too).
struct RequestSequence {
    std::vector<std::string> asRequests;
    std::vector<int> aiCallNumber;
};
RequestSequence RequestsOf(const StandInIpmitool& ipmitool);

// VALDRN with the words and the BMC's LAN+ options, request iRequest of
// the sequence meeting the fault; afterwards the fault is lifted (the BMC
// answers again, running).
CommandResult RunWithFault(EndToEnd& e2e, const RequestSequence& sequence, int iRequest, const std::string& sFault,
                           const std::vector<std::string>& asWords);

// What a run under a fault may leave, and how each is checked.
struct FaultOutcome {
    std::string sBefore;   // the target's content before the run
    std::string sFile;     // ... as the clean run leaves it
    std::string sSuccess;  // the line a successful run prints
    // Reads the target's content now.
    std::string (*pfnContent)(const EndToEnd&);
    // The words after the copy's name that put a copy back with -d.
    std::vector<std::string> asRestoreWords;
};

// The target holds exactly its earlier content or the file's; success is
// claimed only for the file; otherwise the run named its way back (or,
// killed, left its copy), and that way back restores the earlier content.
void ExpectNoDataLost(const EndToEnd& e2e, const CommandResult& result, const std::string& sFault,
                      const FaultOutcome& outcome, const std::string& sWhat);

// VALDRN_FAULT_MATRIX=full: every request meets every fault.
bool FullFaultMatrix();

}  // namespace valdrn_test
