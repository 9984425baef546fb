// How one ipmitool run's output is read: an answer, ipmitool's complaint,
// or nothing at all.
#pragma once

#include <cstddef>

#include "bmc/ipmi_command.h"

// ipmitool's output is read once, at most this many bytes.
constexpr std::size_t IPMITOOL_OUTPUT_SIZE = 256;

enum Attempt {
    ATTEMPT_SUCCEEDED,  // an answer, completion code in the record
    ATTEMPT_FAILED,     // pause, then try again
    ATTEMPT_RETRY_NOW,  // ipmitool reported an error: try again at once
    ATTEMPT_STOP,       // no use trying again
};

// Reads the uRead bytes ipmitool printed, held NUL-terminated in pchOutput
// (IPMITOOL_OUTPUT_SIZE + 1 bytes, not cleared between attempts), into the
// record; the text is cut up in place.
Attempt InterpretIpmitoolOutput(char* pchOutput, std::size_t uRead, unsigned char u8Cmd, IPMICommandRecord* psRecord);

// The attempt as judged by how ipmitool ended as well (iWaitStatus, as
// waitpid gives it): an answer from a run that was killed or failed, or
// one shorter than the command's response, is a failed attempt whose
// completion code is CC_NO_ANSWER.
Attempt JudgeAttempt(Attempt eAttempt, int iWaitStatus, unsigned char u8NetFnLun, unsigned char u8Cmd,
                     IPMICommandRecord* psRecord);
