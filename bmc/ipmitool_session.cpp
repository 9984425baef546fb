// One ipmitool for the whole run (VALDRN_LAN_SESSION=run): "ipmitool ...
// shell" holds one RMCP+ session and is fed one "raw" line per attempt,
// each followed by "echo <marker>"; what it prints up to the marker is the
// attempt's output, judged as one ipmitool run's would be.
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/monotonic_clock.h"
#include "base/trace.h"
#include "bmc/ipmitool_session.h"
#include "bmc/lan_command.h"
#include "bmc/transport.h"
#include "bmc/wait_limits.h"

namespace {

// Session failures in a row (no marker in time, ipmitool gone) after which
// the run goes on with one ipmitool per request.
constexpr int SESSION_FAILURES_BEFORE_FALLBACK = 3;
// ipmitool closes its RMCP+ session on "exit" at once when the BMC
// answers; a BMC that slots sessions must not keep a stale one.
constexpr long CLOSE_WAIT_MS = 3000;
const char* const S_pchPrompt = "ipmitool> ";

void CloseFd(int* piFd)
{
    if (*piFd >= 0) {
        close(*piFd);
        *piFd = -1;
    }
}

// Waits up to lMilliseconds for the process to end; true when it has.
bool EndsWithin(pid_t pid, long lMilliseconds)
{
    const long lDeadline = MonotonicMilliseconds() + lMilliseconds;
    for (;;) {
        int iStatus = 0;
        const pid_t ended = waitpid(pid, &iStatus, WNOHANG);
        if (ended == pid || (ended < 0 && errno != EINTR)) {
            return true;
        }
        if (MonotonicMilliseconds() >= lDeadline) {
            return false;
        }
        usleep(10000);
    }
}

// The lines ipmitool printed for the request: its prompt and the echo of
// each line sent are dropped, the answer's lines kept.
std::string AnswerLines(const std::string& sPrinted)
{
    std::string sAnswer;
    size_t uAt = 0;
    while (uAt < sPrinted.size()) {
        size_t uEnd = sPrinted.find('\n', uAt);
        uEnd = uEnd == std::string::npos ? sPrinted.size() : uEnd + 1;
        std::string sLine = sPrinted.substr(uAt, uEnd - uAt);
        uAt = uEnd;
        while (sLine.compare(0, std::strlen(S_pchPrompt), S_pchPrompt) == 0) {
            sLine.erase(0, std::strlen(S_pchPrompt));
        }
        if (sLine.compare(0, 4, "raw ") != 0 && sLine.compare(0, 5, "echo ") != 0) {
            sAnswer += sLine;
        }
    }
    return sAnswer;
}

}  // namespace

IpmitoolShell::~IpmitoolShell()
{
    Close();
}

bool IpmitoolShell::Start(const std::vector<std::string>& asCommand, const std::vector<std::string>& asEnvironment)
{
    Close();
    int aiInput[2] = {-1, -1};
    int aiOutput[2] = {-1, -1};
    int aiErrors[2] = {-1, -1};
    // Its standard input a socket: VALDRN writes with MSG_NOSIGNAL, so an
    // ipmitool gone is an error to handle, never a SIGPIPE to VALDRN.
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, aiInput) != 0 || pipe2(aiOutput, O_CLOEXEC) != 0 ||
        pipe2(aiErrors, O_CLOEXEC) != 0) {
        for (int* piFd : {&aiInput[0], &aiInput[1], &aiOutput[0], &aiOutput[1], &aiErrors[0], &aiErrors[1]}) {
            CloseFd(piFd);
        }
        return false;
    }
    std::vector<char*> apchCommand = ArgumentVector(asCommand);
    std::vector<char*> apchEnvironment = ArgumentVector(asEnvironment);
    const pid_t parent = getpid();
    std::fflush(nullptr);
    // fork, not posix_spawn: the child must end with VALDRN (a parent-death
    // signal), since an ipmitool shell left at end of input spins forever.
    const pid_t pid = fork();
    if (pid == 0) {
        setpgid(0, 0);  // a Ctrl-C at the terminal reaches VALDRN alone
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) {
            _exit(127);
        }
        sigset_t signals;
        sigemptyset(&signals);
        sigprocmask(SIG_SETMASK, &signals, nullptr);
        for (int iSignal = 1; iSignal < NSIG; ++iSignal) {
            signal(iSignal, SIG_DFL);
        }
        dup2(aiInput[1], STDIN_FILENO);
        dup2(aiOutput[1], STDOUT_FILENO);
        dup2(aiErrors[1], STDERR_FILENO);
        execvpe(apchCommand[0], apchCommand.data(), apchEnvironment.data());
        _exit(127);
    }
    CloseFd(&aiInput[1]);
    CloseFd(&aiOutput[1]);
    CloseFd(&aiErrors[1]);
    if (pid < 0) {
        CloseFd(&aiInput[0]);
        CloseFd(&aiOutput[0]);
        CloseFd(&aiErrors[0]);
        return false;
    }
    m_pid = pid;
    m_iInput = aiInput[0];
    m_iOutput = aiOutput[0];
    m_iErrors = aiErrors[0];
    return true;
}

bool IpmitoolShell::SendLine(const std::string& sLine)
{
    const std::string sText = sLine + "\n";
    for (size_t uSent = 0; uSent < sText.size();) {
        const ssize_t iSent = send(m_iInput, sText.data() + uSent, sText.size() - uSent, MSG_NOSIGNAL);
        if (iSent < 0 && errno == EINTR) {
            continue;
        }
        if (iSent <= 0) {
            return false;
        }
        uSent += static_cast<size_t>(iSent);
    }
    return true;
}

// Appends what the descriptor has to the text; false at its end.
bool IpmitoolShell::ReadAvailable(int iFd, std::string* psText)
{
    char achBuffer[4096];
    const ssize_t iRead = read(iFd, achBuffer, sizeof achBuffer);
    if (iRead > 0) {
        psText->append(achBuffer, static_cast<size_t>(iRead));
        return true;
    }
    return iRead < 0 && (errno == EINTR || errno == EAGAIN);
}

IpmitoolShell::Exchanged IpmitoolShell::Exchange(const std::string& sLine, long lTimeoutMs, std::string* psOut,
                                                 std::string* psErr)
{
    psOut->clear();
    psErr->clear();
    const std::string sMarker = "VALDRN-END-" + std::to_string(++m_uMarkers);
    if (!SendLine(sLine) || !SendLine("echo " + sMarker)) {
        return EXCHANGE_GONE;
    }
    const long lDeadline = MonotonicMilliseconds() + lTimeoutMs;
    std::string sPrinted;
    bool bErrorsOpen = true;
    for (;;) {
        // The marker as echo prints it, a blank after (the echoed command
        // line has none); an answer without a line end runs into it.
        const size_t uMarker = sPrinted.find(sMarker + " \n");
        if (uMarker != std::string::npos) {
            *psOut = AnswerLines(sPrinted.substr(0, uMarker));
            // ipmitool wrote its complaint about the request before it ran
            // the echo: all of it is in the pipe now.
            while (bErrorsOpen) {
                struct pollfd errors = {m_iErrors, POLLIN, 0};
                if (poll(&errors, 1, 0) <= 0 || !ReadAvailable(m_iErrors, psErr)) {
                    break;
                }
            }
            return EXCHANGE_ANSWERED;
        }
        const long lLeft = lDeadline - MonotonicMilliseconds();
        if (lLeft <= 0) {
            return EXCHANGE_TIMED_OUT;
        }
        struct pollfd aWatched[2] = {{m_iOutput, POLLIN, 0}, {bErrorsOpen ? m_iErrors : -1, POLLIN, 0}};
        const int iReady = poll(aWatched, 2, static_cast<int>(lLeft));
        if (iReady < 0 && errno != EINTR) {
            return EXCHANGE_GONE;
        }
        if (iReady <= 0) {
            continue;
        }
        if (aWatched[1].revents != 0 && !ReadAvailable(m_iErrors, psErr)) {
            bErrorsOpen = false;
        }
        if (aWatched[0].revents != 0 && !ReadAvailable(m_iOutput, &sPrinted)) {
            *psOut = AnswerLines(sPrinted);
            while (bErrorsOpen && ReadAvailable(m_iErrors, psErr)) {
            }
            return EXCHANGE_GONE;
        }
    }
}

int IpmitoolShell::Close()
{
    if (m_pid <= 0) {
        return 0;
    }
    SendLine("exit");
    shutdown(m_iInput, SHUT_WR);
    if (!EndsWithin(m_pid, CLOSE_WAIT_MS)) {
        Kill();
    }
    return Reap();
}

int IpmitoolShell::Kill()
{
    if (m_pid <= 0) {
        return 0;
    }
    kill(-m_pid, SIGKILL);
    kill(m_pid, SIGKILL);
    return Reap();
}

int IpmitoolShell::Reap()
{
    int iStatus = 0;
    while (waitpid(m_pid, &iStatus, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    CloseFd(&m_iInput);
    CloseFd(&m_iOutput);
    CloseFd(&m_iErrors);
    return iStatus;
}

namespace {

// The attempt's output as one ipmitool run would have printed it: its
// complaint (standard error) before its answer.
size_t CopyOutput(const std::string& sErr, const std::string& sOut, char* pchOutput)
{
    const std::string sText = sErr + sOut;
    const size_t uLength = sText.size() < IPMITOOL_OUTPUT_SIZE ? sText.size() : IPMITOOL_OUTPUT_SIZE;
    std::memcpy(pchOutput, sText.data(), uLength);
    pchOutput[uLength] = '\0';
    return uLength;
}

std::string JoinWords(const std::vector<std::string>& asWords)
{
    std::string sLine;
    for (const std::string& sWord : asWords) {
        sLine += (sLine.empty() ? "" : " ") + sWord;
    }
    return sLine;
}

// An answer to the request, or a session that can no longer carry one:
// ipmitool sent it and heard nothing back ("Unable to send RAW command"
// without a response code), as after the BMC restarted under it.
bool HeardNothing(const std::string& sErr)
{
    return sErr.find("Unable to send RAW command") != std::string::npos && sErr.find("rsp=") == std::string::npos;
}

class SessionRunner : public IpmitoolRunner {
public:
    explicit SessionRunner(const IolDataRecord& login) : m_login(login) {}
    Attempt Run(const std::vector<std::string>& asRaw, unsigned char u8NetFnLun, unsigned char u8Cmd,
                char* pchOutput, IPMICommandRecord* psRecord) override
    {
        if (m_bFallenBack) {
            return RunIpmitoolOnce(m_login, asRaw, u8NetFnLun, u8Cmd, pchOutput, psRecord);
        }
        // What VALDRN printed goes out before each request, as with a run
        // per request: a reader gone (| head) is met during the operation,
        // whose signal guard handles it, not at exit.
        std::fflush(nullptr);
        if (!m_shell.Running() && !StartShell()) {
            // As a run that could not be started: the completion code stays.
            DebugMessage("   Error to execute ipmitool\n");
            DebugMessage("\r   Execute ipmitool: ");
            return SessionFailed(ATTEMPT_FAILED, psRecord, false);
        }
        std::string sOut;
        std::string sErr;
        const IpmitoolShell::Exchanged eExchanged =
            m_shell.Exchange(JoinWords(asRaw), WaitLimitMilliseconds(LAN_REQUEST_WAIT), &sOut, &sErr);
        if (eExchanged == IpmitoolShell::EXCHANGE_TIMED_OUT) {
            DebugMessage("\r   ipmitool session: no answer in time\n");
            m_shell.Kill();
            return SessionFailed(ATTEMPT_FAILED, psRecord, true);
        }
        const size_t uRead = CopyOutput(sErr, sOut, pchOutput);
        const Attempt eAttempt = InterpretIpmitoolOutput(pchOutput, uRead, u8Cmd, psRecord);
        if (eExchanged == IpmitoolShell::EXCHANGE_GONE) {
            // Judged as a run that ended with its status: a login refused
            // reads as it always has ("Unable to establish ...").
            const int iStatus = m_shell.Reap();
            return SessionFailed(JudgeAttempt(eAttempt, iStatus == 0 ? 1 << 8 : iStatus, u8NetFnLun, u8Cmd, psRecord),
                                 psRecord, false);
        }
        if (HeardNothing(sErr)) {
            m_shell.Kill();  // its session is no more: closing it would wait in vain
            return SessionFailed(eAttempt, psRecord, false);
        }
        m_iFailures = 0;
        return JudgeAttempt(eAttempt, 0, u8NetFnLun, u8Cmd, psRecord);
    }

private:
    bool StartShell()
    {
        std::vector<std::string> asCommand = {"stdbuf", "-oL"};
        const std::vector<std::string> asLogin = IpmitoolLogin(m_login);
        asCommand.insert(asCommand.end(), asLogin.begin(), asLogin.end());
        asCommand.push_back("shell");
        return m_shell.Start(asCommand, IpmitoolEnvironment(m_login));
    }

    // The session is given up after too many failures in a row: the rest
    // of the run has one ipmitool per request, as without the variable.
    Attempt SessionFailed(Attempt eAttempt, IPMICommandRecord* psRecord, bool bNoAnswer)
    {
        if (bNoAnswer) {
            psRecord->u8CompletionCode = CC_NO_ANSWER;
        }
        if (++m_iFailures >= SESSION_FAILURES_BEFORE_FALLBACK && !m_bFallenBack) {
            m_bFallenBack = true;
            m_shell.Kill();
            std::fprintf(stderr,
                         "<WARNING> The ipmitool session failed %d times in a row: one ipmitool per request "
                         "from here on.\n",
                         m_iFailures);
        }
        return eAttempt;
    }

    IolDataRecord m_login;
    IpmitoolShell m_shell;
    int m_iFailures = 0;
    bool m_bFallenBack = false;
};

}  // namespace

std::unique_ptr<IPMITransport> NewIpmitoolSessionTransport(const IolDataRecord& login)
{
    return NewLanTransport(login, std::make_unique<SessionRunner>(login));
}
