#include "cli/interface_options.h"

#include <cstdio>
#include <cstring>

#include "base/trace.h"
#include "cli/diagnostics.h"
#include "cli/environment_checks.h"
#include "cli/option_values.h"
#include "encoding/text_tokens.h"

namespace {

// "<ERROR> ..." then the usage frame; -msgintf gives its hint on standard
// output, the LAN options on standard error.
void ReportBadValue(const char* pchMessage, FILE* pHintStream)
{
    std::fputs(pchMessage, stderr);
    PrintInvalidOperations(stderr);
    PrintHelpHint(pHintStream);
}

// Clears the field and copies the value when it is shorter than the field.
template <size_t N>
bool StoreText(char (&achField)[N], const char* pchValue)
{
    if (std::strlen(pchValue) >= N) {
        return false;
    }
    std::memset(achField, 0, N);
    std::strcpy(achField, pchValue);
    return true;
}

// The common start of the LAN handlers: a null array fails silently, an
// empty one with the option's "Please specify" message.
bool HasValue(unsigned short u16ArgCount, char* apchArgs[], const char* pchMissingMessage)
{
    if (apchArgs == nullptr) {
        return false;
    }
    if (u16ArgCount == 0 || apchArgs[0] == nullptr) {
        std::fputs(pchMissingMessage, stderr);
        return false;
    }
    return true;
}

}  // namespace

bool CheckMsgIntfArgument(char* apchArgs[], unsigned short* pu16Cursor, unsigned int* pu32Interface)
{
    char achToken[TEXT_TOKEN_BUFFER_SIZE];
    if (apchArgs == nullptr || pu16Cursor == nullptr || pu32Interface == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return false;
    }
    if (apchArgs[*pu16Cursor] == nullptr || GetNextToken(apchArgs[*pu16Cursor], achToken) == 0) {
        ReportBadValue("<ERROR> Unknown property value for -msgintf. \n", stdout);
        return false;
    }
    const char* pchValue = GetLowerCaseString(achToken);
    if (std::strcmp(pchValue, "kcsio") == 0) {
        if (CheckSystemInterfaceInConfigFile("KCS") == ENV_CHECK_INTERFACE_MISMATCH) {
            std::fputs("<ERROR> The system interface specified in intf.ini is not allowed!\n", stderr);
            return false;
        }
        // A listing that cannot be had does not stop kcsio.
        if (CheckForLoadedIPMIModules() == ENV_CHECK_IPMI_MODULES_LOADED) {
            ReportBadValue("<ERROR> -msgintf kcsio cannot be used with IPMI modules loaded.\n", stdout);
            return false;
        }
        *pu32Interface = eInterfaceKCSIO;
    } else if (std::strcmp(pchValue, "openipmi") == 0) {
        *pu32Interface = eInterfaceOpenIPMI;
    } else {
        ReportBadValue("<ERROR> Unrecognized property value for -msgintf. \n", stdout);
        return false;
    }
    *pu16Cursor = static_cast<unsigned short>(*pu16Cursor + 2);
    return true;
}

bool ValidateAnalyzeMsgIntfParameters(unsigned short u16ArgCount, char* apchArgs[], unsigned int* pu32Interface)
{
    if (u16ArgCount == 0) {
        std::fputs("<ERROR> Please specify the messaging interface! \n \n", stderr);
        return false;
    }
    unsigned short u16Cursor = 0;
    bool bResult = false;
    do {
        bResult = CheckMsgIntfArgument(apchArgs, &u16Cursor, pu32Interface);
    } while (bResult && u16Cursor < u16ArgCount);
    return bResult;
}

int SetMessagingInterface(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[])
{
    psChoice->eInterfaceInUse = eInterfaceOpenIPMI;
    if (!ValidateAnalyzeMsgIntfParameters(u16ArgCount, apchArgs, &psChoice->eInterfaceInUse)) {
        return 1;
    }
    DebugMessage("\nMessaging interface in use: %s\n", apchArgs[0]);
    return 0;
}

int SaveLanIF(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[])
{
    if (!HasValue(u16ArgCount, apchArgs, "<ERROR> Please specify the LAN+ interface! \n \n")) {
        return 1;
    }
    const char* pchValue = apchArgs[0];
    if (std::strlen(pchValue) >= sizeof psChoice->sIolData.achInterface ||
        std::strcmp(GetLowerCaseString(pchValue), "lanplus") != 0) {
        ReportBadValue("<ERROR> Unrecognized property value for -n. \n", stderr);
        return 1;
    }
    psChoice->eInterfaceInUse = eInterfaceLanPlus;
    StoreText(psChoice->sIolData.achInterface, pchValue);
    if (!CheckIpmitoolInstalled()) {
        DebugMessage("ipmitool command not found\n");
        std::fputs("\n   Cannot find ipmitool command, please check if it is installed\n", stderr);
        return 1;
    }
    DebugMessage("     ipmitool is installed\n");
    DebugMessage("\nMessaging interface in use: %s\n", pchValue);
    return 0;
}

int SaveHostIP(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[])
{
    if (!HasValue(u16ArgCount, apchArgs, "<ERROR> Please specify the IP address! \n \n")) {
        return 1;
    }
    const char* pchValue = apchArgs[0];
    if (std::strlen(pchValue) >= sizeof psChoice->sIolData.achHostIP) {
        ReportBadValue("<ERROR> Unrecognized property value for -H. \n", stderr);
        return 1;
    }
    if (!IsValidHostIPFormat(pchValue)) {
        ReportBadValue("<ERROR> Invalid IP address for -H. \n", stderr);
        return 1;
    }
    StoreText(psChoice->sIolData.achHostIP, pchValue);
    DebugMessage("\nBMC IP address: %s\n", pchValue);
    return 0;
}

int SaveUserName(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[])
{
    if (!HasValue(u16ArgCount, apchArgs, "<ERROR> Please specify the user name! \n \n")) {
        return 1;
    }
    if (!StoreText(psChoice->sIolData.achUserName, apchArgs[0])) {
        ReportBadValue("<ERROR> Unrecognized property value for -U. \n", stderr);
        return 1;
    }
    DebugMessage("\nBMC User Name: %s\n", apchArgs[0]);
    return 0;
}

int SavePassWord(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[])
{
    if (!HasValue(u16ArgCount, apchArgs, "<ERROR> Please specify the pasword! \n \n")) {
        return 1;
    }
    if (!StoreText(psChoice->sIolData.achPassword, apchArgs[0])) {
        ReportBadValue("<ERROR> Unrecognized property value for -P. \n", stderr);
        return 1;
    }
    // Shown in clear: verbose mode is for the one debugging the login.
    DebugMessage("\nBMC User Password: %s\n", apchArgs[0]);
    return 0;
}

int SaveCipherValue(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[])
{
    if (!HasValue(u16ArgCount, apchArgs, "<ERROR> Please specify the cipher suite ID! \n \n")) {
        return 1;
    }
    int iValue = 0;
    if (!IsValidCipherSuite(apchArgs[0]) || !StringToInteger(apchArgs[0], &iValue)) {
        ReportBadValue("<ERROR> Invalid property value for -C. \n", stderr);
        return 1;
    }
    psChoice->sIolData.u16CipherSuiteID = static_cast<unsigned short>(iValue);
    DebugMessage("\nCipher Suite ID: %d\n", iValue);
    return 0;
}
