#include "cli/environment_checks.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/trace.h"

int CheckForLoadedIPMIModules()
{
    DebugMessage("Check for loaded IPMI module(s).\n");
    std::fflush(nullptr);  // the child must not repeat our buffered output
    FILE* pListing = popen("/sbin/lsmod 2>&1", "r");
    if (pListing == nullptr) {
        DebugMessage("/sbin/lsmod failed\n");
        return ENV_CHECK_LISTING_FAILED;
    }
    int iResult = ENV_CHECK_OK;
    char achLine[258];
    while (std::fgets(achLine, sizeof achLine, pListing) != nullptr) {
        // The shell names the command when it cannot run it.
        if (std::strstr(achLine, "/sbin/lsmod") != nullptr) {
            DebugMessage("/sbin/lsmod failed\n");
            iResult = ENV_CHECK_LISTING_FAILED;
            break;
        }
        if (std::strstr(achLine, "ipmi_") != nullptr) {
            DebugMessage("IPMI module(s) found!\n");
            iResult = ENV_CHECK_IPMI_MODULES_LOADED;
            break;
        }
    }
    pclose(pListing);
    return iResult;
}

int CheckSystemInterfaceInConfigFile(const char* pchWanted)
{
    FILE* pFile = std::fopen("intf.ini", "r");
    if (pFile == nullptr) {
        return ENV_CHECK_OK;  // no file, no objection
    }
    char achLine[64] = {};
    int iResult = ENV_CHECK_OK;
    if (std::fgets(achLine, sizeof achLine, pFile) != nullptr) {
        char* pchState = nullptr;
        const char* pchToken = strtok_r(achLine, " _\r\n", &pchState);
        if (pchToken != nullptr && pchWanted != nullptr && std::strcmp(pchToken, pchWanted) != 0) {
            DebugMessage("System Interface in intf.ini is %s, should be %s!\n", pchToken, pchWanted);
            iResult = ENV_CHECK_INTERFACE_MISMATCH;
        }
    }
    std::fclose(pFile);
    return iResult;
}

bool CheckIpmitoolInstalled()
{
    std::fflush(nullptr);
    return std::system("ipmitool -V > /dev/null 2>&1 ") == 0;
}
