// One IPMI request over LAN+: ipmitool is run once per attempt with the
// request as a "raw" command, and its output is read as the response.
#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bmc/lan_command.h"

#include "base/interface_state.h"
#include "base/trace.h"
#include "bmc/ipmi_command.h"

namespace {

constexpr short LAN_ATTEMPTS = 6;
constexpr unsigned int RETRY_PAUSE_MS = 200;
// A BMC that answered "busy" (0xC0) or "timeout" (0xC3) gets this long
// before the request is sent again.
constexpr unsigned int BUSY_PAUSE_MS = 100;
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

std::string CommandLine(unsigned char u8NetFn, unsigned char u8Cmd)
{
    std::string sLine = S_pchIpmitool;
    // A cipher suite of 0xFF leaves the choice to ipmitool.
    if (GetLowByteOfWord(sIolData.u16CipherSuiteID) != 0xFF) {
        sLine += " -C " + std::to_string(sIolData.u16CipherSuiteID);
    }
    sLine += " -I " + QuoteForShell(sIolData.achInterface) + " -U " + QuoteForShell(sIolData.achUserName) + " -P " +
             QuoteForShell(sIolData.achPassword) + " -H " + QuoteForShell(sIolData.achHostIP) + " raw " + Hex(u8NetFn) +
             " " + Hex(u8Cmd) + " ";
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

Attempt RunIpmitool(const std::string& sLine, unsigned char u8Cmd, char* pchOutput, IPMICommandRecord* psRecord)
{
    std::fflush(nullptr);
    FILE* pPipe = popen(sLine.c_str(), "r");
    if (pPipe == nullptr) {
        DebugMessage("   Error to execute ipmitool\n");
        DebugMessage("\r   Execute ipmitool: ");
        return ATTEMPT_FAILED;
    }
    // Read once. Each attempt is judged by its own output alone: the tail
    // of an earlier, longer one (a session failure) must not turn the
    // BMC's answer into a failure.
    const size_t uRead = std::fread(pchOutput, 1, IPMITOOL_OUTPUT_SIZE, pPipe);
    pchOutput[uRead] = '\0';
    const Attempt eAttempt = InterpretIpmitoolOutput(pchOutput, uRead, u8Cmd, psRecord);
    pclose(pPipe);
    return eAttempt;
}

}  // namespace

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

bool DoIPMILanCommand(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord* psRecord)
{
    const auto u8NetFn = static_cast<unsigned char>(u8NetFnLun >> 2);
    DebugMessage("   NetFn=0x%X, Cmd=0x%X, ReqLen=0x%X\n   ReqData=", u8NetFn, u8Cmd, psRecord->u8RequestLength);
    DebugPrintArray(psRecord->au8RequestData, psRecord->u8RequestLength);
    char achOutput[IPMITOOL_OUTPUT_SIZE + 1] = {};
    const unsigned int uRequestLength =
        psRecord->u8RequestLength < IPMI_REQUEST_DATA_SIZE ? psRecord->u8RequestLength : IPMI_REQUEST_DATA_SIZE;
    for (short i16Left = LAN_ATTEMPTS; --i16Left != -1;) {
        const int iAttempt = LAN_ATTEMPTS - 1 - i16Left;
        if (iAttempt > 0) {
            DebugMessage("   Retry %d\n", iAttempt);
        }
        std::string sLine = CommandLine(u8NetFn, u8Cmd);
        DebugMessage("   %s", sLine.c_str());
        for (unsigned int i = 0; i < uRequestLength; ++i) {
            const std::string sByte = Hex(psRecord->au8RequestData[i]) + " ";
            DebugMessage("%s", sByte.c_str());
            sLine += sByte;
        }
        sLine += " 2>&1";  // ipmitool's complaints are read too
        const Attempt eAttempt = RunIpmitool(sLine, u8Cmd, achOutput, psRecord);
        if ((eAttempt == ATTEMPT_SUCCEEDED && psRecord->u8CompletionCode == 0) || eAttempt == ATTEMPT_STOP) {
            break;
        }
        if (eAttempt == ATTEMPT_RETRY_NOW) {
            if (IsBusyOrTimeout(psRecord->u8CompletionCode)) {
                usleep(BUSY_PAUSE_MS * 1000);
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
