// One IPMI request over LAN+: ipmitool is run once per attempt with the
// request as a "raw" command, and its output is read as the response.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bmc/lan_command.h"

#include "base/interface_state.h"
#include "base/monotonic_clock.h"
#include "base/trace.h"
#include "bmc/ipmi_command.h"
#include "bmc/transport.h"
#include "bmc/wait_limits.h"

extern char** environ;

namespace {

constexpr short LAN_ATTEMPTS = 6;
constexpr unsigned int RETRY_PAUSE_MS = 200;
// A BMC that answered "busy" (0xC0) or "timeout" (0xC3) gets a pause
// before the request is sent again (50 ms, doubled each time up to a
// second); such answers use up no attempt until BUSY_WAIT has passed.
constexpr long BUSY_FIRST_PAUSE_MS = 50;
constexpr long BUSY_LONGEST_PAUSE_MS = 1000;

struct BusyWait {
    long lDeadline = -1;
    long lPause = BUSY_FIRST_PAUSE_MS;
};

// Pauses (no longer than the wait has left); true while the wait for a
// busy BMC had time left.
bool PauseForBusyBMC(BusyWait* psBusy)
{
    if (psBusy->lDeadline < 0) {
        psBusy->lDeadline = MonotonicMilliseconds() + WaitLimitMilliseconds(BUSY_WAIT);
    }
    const long lLeft = psBusy->lDeadline - MonotonicMilliseconds();
    if (lLeft <= 0) {
        return false;  // waited long enough: the attempts left go at once
    }
    usleep(static_cast<useconds_t>((psBusy->lPause < lLeft ? psBusy->lPause : lLeft) * 1000));
    psBusy->lPause = psBusy->lPause * 2 < BUSY_LONGEST_PAUSE_MS ? psBusy->lPause * 2 : BUSY_LONGEST_PAUSE_MS;
    return MonotonicMilliseconds() < psBusy->lDeadline;
}
const char* const S_pchIpmitool = "ipmitool";

bool IsShellLiteral(char chCharacter)
{
    return (chCharacter >= 'a' && chCharacter <= 'z') || (chCharacter >= 'A' && chCharacter <= 'Z') ||
           (chCharacter >= '0' && chCharacter <= '9') || std::strchr("_@%+=:,./-", chCharacter) != nullptr;
}

std::string Hex(unsigned int uValue)
{
    char achHex[8];
    std::snprintf(achHex, sizeof achHex, "0x%02x", uValue);
    return achHex;
}

// The request as the trace shows it: ipmitool's command line with the
// password, though ipmitool itself gets it in its environment.
std::string CommandLine(const IolDataRecord& sIolData, unsigned char u8NetFn, unsigned char u8Cmd)
{
    std::string sLine = S_pchIpmitool;
    // A cipher suite of 0xFF leaves the choice to ipmitool.
    if (GetLowByteOfWord(sIolData.u16CipherSuiteID) != 0xFF) {
        sLine += " -C " + std::to_string(sIolData.u16CipherSuiteID);
    }
    sLine += std::string(" -I ") + sIolData.achInterface + " -U " + sIolData.achUserName + " -P " +
             sIolData.achPassword + " -H " + sIolData.achHostIP + " raw " + Hex(u8NetFn) + " " + Hex(u8Cmd) + " ";
    return sLine;
}

bool HasErrorWord(const char* pchOutput)
{
    for (const char* pchWord : {"Unable to", "failed", "no support for", "Error"}) {
        if (std::strstr(pchOutput, pchWord) != nullptr) {
            return true;
        }
    }
    return false;
}

bool HasToken(const char* pchText)
{
    return pchText[std::strspn(pchText, " ")] != '\0';
}

// The response bytes: the output split at blanks, each piece read as a
// hexadecimal number.
void ParseResponse(char* pchOutput, IPMICommandRecord* psRecord)
{
    psRecord->u16ResponseLength = 0;
    char* pchState = nullptr;
    for (char* pchToken = strtok_r(pchOutput, " ", &pchState); pchToken != nullptr;
         pchToken = strtok_r(nullptr, " ", &pchState)) {
        if (psRecord->u16ResponseLength < IPMI_RESPONSE_DATA_SIZE) {
            psRecord->au8ResponseData[psRecord->u16ResponseLength] =
                static_cast<unsigned char>(std::strtoul(pchToken, nullptr, 16));
        }
        ++psRecord->u16ResponseLength;
    }
    if (psRecord->u16ResponseLength > IPMI_RESPONSE_DATA_SIZE) {
        psRecord->u16ResponseLength = IPMI_RESPONSE_DATA_SIZE;
    }
    psRecord->u8CompletionCode = 0;
}

Attempt ReadErrorOutput(char* pchOutput, unsigned char u8Cmd, IPMICommandRecord* psRecord)
{
    const bool bUnsupportedCipher = std::strstr(pchOutput, "no support for IPMI_AUTH") != nullptr ||
                                    std::strstr(pchOutput, "lanplus_encrypt_payload: Assertion") != nullptr;
    char* pchLineEnd = std::strchr(pchOutput, '\n');
    if (pchLineEnd != nullptr) {
        *pchLineEnd = '\0';
    }
    if (!HasToken(pchOutput)) {
        return ATTEMPT_STOP;
    }
    // Get Device ID is the connection test: a failure will not go away.
    if (u8Cmd == CMD_GET_DEVICE_ID) {
        if (bUnsupportedCipher) {
            DebugMessage("\r   Unsupported Cipher Suite ID\n");
        } else {
            DebugMessage("\r   Execute ipmitool: %s\n", pchOutput);
        }
        return ATTEMPT_STOP;
    }
    DebugMessage("\r   Execute ipmitool: %s\n", pchOutput);
    // "... rsp=0xc5): ...": the response code ends where the first ")" is.
    const char* pchParenthesis = std::strchr(pchOutput, ')');
    if (pchParenthesis != nullptr && pchParenthesis - pchOutput >= 4) {
        psRecord->u8CompletionCode = static_cast<unsigned char>(std::strtoul(pchParenthesis - 4, nullptr, 16));
    }
    return ATTEMPT_RETRY_NOW;
}

}  // namespace

std::vector<std::string> IpmitoolLogin(const IolDataRecord& sIolData)
{
    std::vector<std::string> asArgs = {S_pchIpmitool};
    if (GetLowByteOfWord(sIolData.u16CipherSuiteID) != 0xFF) {
        asArgs.insert(asArgs.end(), {"-C", std::to_string(sIolData.u16CipherSuiteID)});
    }
    asArgs.insert(asArgs.end(), {"-I", sIolData.achInterface, "-U", sIolData.achUserName, "-E", "-H", sIolData.achHostIP});
    return asArgs;
}

std::vector<std::string> IpmitoolEnvironment(const IolDataRecord& sIolData)
{
    std::vector<std::string> asEnvironment;
    for (char** ppchEntry = environ; ppchEntry != nullptr && *ppchEntry != nullptr; ++ppchEntry) {
        // ipmitool -E prefers IPMITOOL_PASSWORD: one left from the caller
        // must not log in instead of -P's.
        if (std::strncmp(*ppchEntry, "IPMI_PASSWORD=", 14) != 0 &&
            std::strncmp(*ppchEntry, "IPMITOOL_PASSWORD=", 18) != 0) {
            asEnvironment.push_back(*ppchEntry);
        }
    }
    asEnvironment.push_back(std::string("IPMI_PASSWORD=") + sIolData.achPassword);
    return asEnvironment;
}

std::vector<char*> ArgumentVector(const std::vector<std::string>& asWords)
{
    std::vector<char*> apchWords;
    for (const std::string& sWord : asWords) {
        apchWords.push_back(const_cast<char*>(sWord.c_str()));
    }
    apchWords.push_back(nullptr);
    return apchWords;
}

namespace {

// The request as words of ipmitool's "raw" command.
std::vector<std::string> RawWords(unsigned char u8NetFn, unsigned char u8Cmd, const IPMICommandRecord& record,
                                  unsigned int uRequestLength)
{
    std::vector<std::string> asWords = {"raw", Hex(u8NetFn), Hex(u8Cmd)};
    for (unsigned int i = 0; i < uRequestLength; ++i) {
        asWords.push_back(Hex(record.au8RequestData[i]));
    }
    return asWords;
}

// ipmitool started in a process group of its own, so that a Ctrl-C (or
// Ctrl-backslash) at the terminal reaches VALDRN alone and the request in
// flight ends as the BMC answers it; its standard output and error into
// one pipe, its standard input from /dev/null. The child's PID, or -1.
pid_t SpawnIpmitool(const IolDataRecord& login, const std::vector<std::string>& asArgs, int iPipeWrite)
{
    std::vector<char*> apchArgs = ArgumentVector(asArgs);
    const std::vector<std::string> asEnvironment = IpmitoolEnvironment(login);
    std::vector<char*> apchEnvironment = ArgumentVector(asEnvironment);
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, iPipeWrite, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, iPipeWrite, STDERR_FILENO);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    // Every signal as a new program expects it: no mask, no signal ignored
    // (SIGPIPE is, once standard output's reader has gone).
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t pid = -1;
    const int iError =
        posix_spawnp(&pid, S_pchIpmitool, &actions, &attributes, apchArgs.data(), apchEnvironment.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return iError == 0 ? pid : -1;
}

// At most uSize bytes, as one fread of a pipe would give them; what ipmitool
// prints beyond is read and dropped, so that it never blocks on a full pipe.
size_t ReadOutput(int iFd, char* pchOutput, size_t uSize)
{
    size_t uRead = 0;
    char achDropped[512];
    for (;;) {
        char* pchInto = uRead < uSize ? pchOutput + uRead : achDropped;
        const size_t uRoom = uRead < uSize ? uSize - uRead : sizeof achDropped;
        const ssize_t iGot = read(iFd, pchInto, uRoom);
        if (iGot < 0 && errno == EINTR) {
            continue;
        }
        if (iGot <= 0) {
            return uRead < uSize ? uRead : uSize;
        }
        if (uRead < uSize) {
            uRead += static_cast<size_t>(iGot);
        }
    }
}

// ipmitool's exit status, as waitpid gives it.
int WaitFor(pid_t pid)
{
    int iStatus = 0;
    while (waitpid(pid, &iStatus, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return iStatus;
}

// ipmitool run once for the request, as VALDRN has always run it.
class PerRequestRunner : public IpmitoolRunner {
public:
    explicit PerRequestRunner(const IolDataRecord& login) : m_login(login) {}
    Attempt Run(const std::vector<std::string>& asRaw, unsigned char u8NetFnLun, unsigned char u8Cmd,
                char* pchOutput, IPMICommandRecord* psRecord) override
    {
        return RunIpmitoolOnce(m_login, asRaw, u8NetFnLun, u8Cmd, pchOutput, psRecord);
    }

private:
    IolDataRecord m_login;
};

// LAN+: every request through the attempt loop, each attempt made by the
// runner.
class LanTransport : public IPMITransport {
public:
    LanTransport(const IolDataRecord& login, std::unique_ptr<IpmitoolRunner> pRunner)
        : m_login(login), m_pRunner(std::move(pRunner))
    {
    }
    bool Send(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord* psRecord) override
    {
        return DoIPMILanCommand(u8NetFnLun, u8Cmd, psRecord, m_login, *m_pRunner);
    }

private:
    IolDataRecord m_login;
    std::unique_ptr<IpmitoolRunner> m_pRunner;
};

}  // namespace

Attempt RunIpmitoolOnce(const IolDataRecord& login, const std::vector<std::string>& asRaw, unsigned char u8NetFnLun,
                        unsigned char u8Cmd, char* pchOutput, IPMICommandRecord* psRecord)
{
    std::vector<std::string> asArgs = IpmitoolLogin(login);
    asArgs.insert(asArgs.end(), asRaw.begin(), asRaw.end());
    std::fflush(nullptr);
    int aiPipe[2] = {-1, -1};
    const pid_t pid = pipe2(aiPipe, O_CLOEXEC) == 0 ? SpawnIpmitool(login, asArgs, aiPipe[1]) : -1;
    if (aiPipe[1] >= 0) {
        close(aiPipe[1]);
    }
    if (pid < 0) {
        if (aiPipe[0] >= 0) {
            close(aiPipe[0]);
        }
        DebugMessage("   Error to execute ipmitool\n");
        DebugMessage("\r   Execute ipmitool: ");
        return ATTEMPT_FAILED;
    }
    // Read once. Each attempt is judged by its own output alone: the tail
    // of an earlier, longer one (a session failure) must not turn the
    // BMC's answer into a failure.
    const size_t uRead = ReadOutput(aiPipe[0], pchOutput, IPMITOOL_OUTPUT_SIZE);
    close(aiPipe[0]);
    pchOutput[uRead] = '\0';
    const int iStatus = WaitFor(pid);
    const Attempt eAttempt = InterpretIpmitoolOutput(pchOutput, uRead, u8Cmd, psRecord);
    return JudgeAttempt(eAttempt, iStatus, u8NetFnLun, u8Cmd, psRecord);
}

std::unique_ptr<IPMITransport> NewLanTransport(const IolDataRecord& login, std::unique_ptr<IpmitoolRunner> pRunner)
{
    return std::make_unique<LanTransport>(login, std::move(pRunner));
}

std::unique_ptr<IPMITransport> NewIpmitoolPerRequestTransport(const IolDataRecord& login)
{
    return NewLanTransport(login, std::make_unique<PerRequestRunner>(login));
}

Attempt InterpretIpmitoolOutput(char* pchOutput, size_t uRead, unsigned char u8Cmd, IPMICommandRecord* psRecord)
{
    if (uRead == 0) {
        psRecord->u8CompletionCode = 0;
        psRecord->u16ResponseLength = 0;
        return ATTEMPT_SUCCEEDED;
    }
    if (HasErrorWord(pchOutput)) {
        return ReadErrorOutput(pchOutput, u8Cmd, psRecord);
    }
    ParseResponse(pchOutput, psRecord);
    return ATTEMPT_SUCCEEDED;
}

Attempt JudgeAttempt(Attempt eAttempt, int iWaitStatus, unsigned char u8NetFnLun, unsigned char u8Cmd,
                     IPMICommandRecord* psRecord)
{
    // Killed (Ctrl-C to the terminal's group, the OOM killer) or failed
    // (not found: 127): whatever it printed is no answer of the BMC.
    const bool bEndedWell = WIFEXITED(iWaitStatus) && WEXITSTATUS(iWaitStatus) == 0;
    if (eAttempt == ATTEMPT_SUCCEEDED && (!bEndedWell || IsShortAnswer(u8NetFnLun, u8Cmd, *psRecord))) {
        DebugMessage("\r   ipmitool ended with status 0x%X; answer of %u bytes not taken\n",
                     static_cast<unsigned>(iWaitStatus), static_cast<unsigned>(psRecord->u16ResponseLength));
        psRecord->u8CompletionCode = CC_NO_ANSWER;
        return ATTEMPT_FAILED;
    }
    return eAttempt;
}

std::string QuoteForShell(const char* pchValue)
{
    const std::string sValue = pchValue != nullptr ? pchValue : "";
    bool bLiteral = !sValue.empty();
    for (char chCharacter : sValue) {
        bLiteral = bLiteral && IsShellLiteral(chCharacter);
    }
    if (bLiteral) {
        return sValue;
    }
    std::string sQuoted = "'";
    for (char chCharacter : sValue) {
        sQuoted += chCharacter == '\'' ? std::string("'\\''") : std::string(1, chCharacter);
    }
    return sQuoted + "'";
}

bool DoIPMILanCommand(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord* psRecord,
                      const IolDataRecord& login, IpmitoolRunner& runner)
{
    const auto u8NetFn = static_cast<unsigned char>(u8NetFnLun >> 2);
    DebugMessage("   NetFn=0x%X, Cmd=0x%X, ReqLen=0x%X\n   ReqData=", u8NetFn, u8Cmd, psRecord->u8RequestLength);
    DebugPrintArray(psRecord->au8RequestData, psRecord->u8RequestLength);
    char achOutput[IPMITOOL_OUTPUT_SIZE + 1] = {};
    const unsigned int uRequestLength =
        psRecord->u8RequestLength < IPMI_REQUEST_DATA_SIZE ? psRecord->u8RequestLength : IPMI_REQUEST_DATA_SIZE;
    BusyWait busy;
    for (short i16Left = LAN_ATTEMPTS, i16Attempt = 0; --i16Left != -1; ++i16Attempt) {
        const int iAttempt = i16Attempt;
        if (iAttempt > 0) {
            DebugMessage("   Retry %d\n", iAttempt);
        }
        DebugMessage("   %s", CommandLine(login, u8NetFn, u8Cmd).c_str());
        for (unsigned int i = 0; i < uRequestLength; ++i) {
            DebugMessage("%s ", Hex(psRecord->au8RequestData[i]).c_str());
        }
        const Attempt eAttempt =
            runner.Run(RawWords(u8NetFn, u8Cmd, *psRecord, uRequestLength), u8NetFnLun, u8Cmd, achOutput, psRecord);
        if ((eAttempt == ATTEMPT_SUCCEEDED && psRecord->u8CompletionCode == 0) || eAttempt == ATTEMPT_STOP) {
            break;
        }
        if (eAttempt == ATTEMPT_RETRY_NOW) {
            if (IsBusyOrTimeout(psRecord->u8CompletionCode) && PauseForBusyBMC(&busy)) {
                ++i16Left;  // a busy BMC is waited for, not given up on
            }
            continue;
        }
        DebugMessage("Response=0x%X", psRecord->u8CompletionCode);
        usleep(RETRY_PAUSE_MS * 1000);
        DebugMessage("\r   Wait %d ms before retry\n", RETRY_PAUSE_MS);
        psRecord->u16ResponseLength = 256;
    }
    DebugMessage("   cCode=0x%X, RspLen=0x%X\n   RspData=", psRecord->u8CompletionCode, psRecord->u16ResponseLength);
    DebugPrintArray(psRecord->au8ResponseData, psRecord->u16ResponseLength < IPMI_RESPONSE_DATA_SIZE
                                                   ? psRecord->u16ResponseLength
                                                   : IPMI_RESPONSE_DATA_SIZE);
    DebugMessage("\n");
    // The completion code alone decides, also when no attempt set it.
    return psRecord->u8CompletionCode == 0;
}
