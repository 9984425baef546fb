// How one ipmitool run's output is read: an answer, ipmitool's complaint,
// or nothing at all.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

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

// One attempt of a request: ipmitool given the "raw" words (asRaw), its
// output (at most IPMITOOL_OUTPUT_SIZE bytes, NUL-terminated in pchOutput)
// judged into the record.
class IpmitoolRunner {
public:
    virtual ~IpmitoolRunner() = default;
    virtual Attempt Run(const std::vector<std::string>& asRaw, unsigned char u8NetFnLun, unsigned char u8Cmd,
                        char* pchOutput, IPMICommandRecord* psRecord) = 0;
};

// One request over LAN+: the attempt loop (six attempts, pauses, busy
// waits) with each attempt made by the runner; the trace shows each as the
// ipmitool command line of the login.
bool DoIPMILanCommand(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord* psRecord,
                      const IolDataRecord& login, IpmitoolRunner& runner);

class IPMITransport;
// The LAN+ transport whose attempts the runner makes.
std::unique_ptr<IPMITransport> NewLanTransport(const IolDataRecord& login, std::unique_ptr<IpmitoolRunner> pRunner);

// One ipmitool run for the attempt: spawned without a shell, in a process
// group of its own, standard input /dev/null, output and errors read.
Attempt RunIpmitoolOnce(const IolDataRecord& login, const std::vector<std::string>& asRaw, unsigned char u8NetFnLun,
                        unsigned char u8Cmd, char* pchOutput, IPMICommandRecord* psRecord);

// ipmitool's words up to the command: cipher suite (unless 0xFF),
// interface, user, -E (the password comes from the environment) and host.
std::vector<std::string> IpmitoolLogin(const IolDataRecord& login);
// VALDRN's environment for ipmitool, with IPMI_PASSWORD set to -P's value
// (and no IPMITOOL_PASSWORD, which ipmitool -E would prefer).
std::vector<std::string> IpmitoolEnvironment(const IolDataRecord& login);
// The words as an execve vector (pointers into asWords, nullptr-ended).
std::vector<char*> ArgumentVector(const std::vector<std::string>& asWords);
