#include "operations/restore_advice.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "bmc/ipmi_command.h"
#include "encoding/text_encoding.h"
#include "encoding/text_tokens.h"

namespace {

// A name found on the PATH is run by that name; a path as it was typed.
std::string S_sProgram = "VALDRN";

// The path as the user reaches it from the current folder: VALDRN takes a
// word starting with "/" for an option. Only when the current folder is
// gone (nothing can be run from it) does the path stay as it is.
std::string FromCurrentFolder(const std::string& sPath)
{
    std::error_code error;
    const std::filesystem::path current = std::filesystem::current_path(error);
    if (error) {
        return sPath;
    }
    const std::filesystem::path relative = std::filesystem::relative(sPath, current, error);
    return error || relative.empty() ? sPath : relative.string();
}

// VALDRN takes a file name as the first token of its argument (blanks,
// commas and tabs end it), at most 255 characters, and one that starts
// with "/" for an option.
bool VALDRNTakesAsFileName(const std::string& sPath)
{
    return !sPath.empty() && sPath.size() < TEXT_TOKEN_BUFFER_SIZE && sPath[0] != '/' &&
           sPath.find_first_of(" ,\t") == std::string::npos;
}

std::string Quoted(const std::string& sText)
{
    return QuoteForShell(sText.c_str());
}

std::string LanOptions(const IolDataRecord& sIolData, const char* pchInterfaceOption)
{
    std::string sOptions = std::string(pchInterfaceOption) + " -H " + Quoted(sIolData.achHostIP) + " -U " +
                           Quoted(sIolData.achUserName) + " -P ...";
    if (sIolData.u16CipherSuiteID != 0xFF) {
        sOptions += " -C " + std::to_string(sIolData.u16CipherSuiteID);
    }
    return sOptions;
}

bool IsDigit(char ch)
{
    return ch >= '0' && ch <= '9';
}

// A copy's UTC stamp starts here: eight digits, then "T".
bool IsStampAt(const std::string& sName, size_t uAt)
{
    if (sName.size() < uAt + 9 || sName[uAt + 8] != 'T') {
        return false;
    }
    for (size_t i = 0; i < 8; ++i) {
        if (!IsDigit(sName[uAt + i])) {
            return false;
        }
    }
    return true;
}

// "<target>-<kind>-<stamp>-<pid>...": the kind ("sdr" or "fru<ID>"), read
// back from the stamp, since the target may hold "-fru" itself (a host
// named "db-fru01").
std::string KindOfCopy(const std::string& sName)
{
    for (size_t uAt = sName.rfind('-'); uAt != std::string::npos && uAt > 0; uAt = sName.rfind('-', uAt - 1)) {
        if (IsStampAt(sName, uAt + 1)) {
            const size_t uKind = sName.rfind('-', uAt - 1);
            return uKind == std::string::npos ? "" : sName.substr(uKind + 1, uAt - uKind - 1);
        }
    }
    return "";
}

// The FRU ID of a FRU device's copy, or -1 for a repository copy.
int FruIDOfCopy(const std::string& sPath)
{
    const std::string sKind = KindOfCopy(std::filesystem::path(sPath).filename().string());
    if (sKind.size() < 4 || sKind.compare(0, 3, "fru") != 0) {
        return -1;
    }
    for (size_t i = 3; i < sKind.size(); ++i) {
        if (!IsDigit(sKind[i])) {
            return -1;
        }
    }
    return std::atoi(sKind.c_str() + 3);
}

bool IsRawCopy(const std::string& sPath)
{
    const std::string sEnd = "-raw.bin";
    return sPath.size() > sEnd.size() && sPath.compare(sPath.size() - sEnd.size(), sEnd.size(), sEnd) == 0;
}

}  // namespace

void SetRestoreProgramName(const char* pchArgv0)
{
    S_sProgram = pchArgv0 != nullptr && std::strchr(pchArgv0, '/') != nullptr ? pchArgv0 : "VALDRN";
}

std::string RestoreCommand(const std::string& sPath, const InterfaceChoice& interface)
{
    const std::string sFromHere = FromCurrentFolder(sPath);
    const int iFruID = FruIDOfCopy(sPath);
    if (IsRawCopy(sPath)) {
        std::string sCommand = "ipmitool";
        if (interface.eInterfaceInUse == eInterfaceLanPlus) {
            sCommand += " " + LanOptions(interface.sIolData, "-I lanplus");
        }
        return sCommand + " fru write " + std::to_string(iFruID) + " " + Quoted(sFromHere);
    }
    std::string sCommand;
    if (VALDRNTakesAsFileName(sFromHere)) {
        sCommand = Quoted(S_sProgram) + " -d " + Quoted(sFromHere);
    } else {
        // Named from its own folder; -msgintf kcsio reads intf.ini from
        // the current folder, so it goes along.
        const std::filesystem::path copy = std::filesystem::absolute(sPath);
        const std::string sFolder = Quoted(copy.parent_path().string());
        if (interface.eInterfaceInUse == eInterfaceKCSIO) {
            sCommand = "cp intf.ini " + sFolder + "/ && ";
        }
        const std::string sProgram =
            S_sProgram.find('/') == std::string::npos ? S_sProgram : std::filesystem::absolute(S_sProgram).string();
        sCommand += "cd " + sFolder + " && " + Quoted(sProgram) + " -d " + Quoted(copy.filename().string());
    }
    if (iFruID >= 0) {
        char achFruID[24];
        std::snprintf(achFruID, sizeof achFruID, " fruID=0x%02X", static_cast<unsigned>(iFruID & 0xFF));
        sCommand += achFruID;
    }
    if (interface.eInterfaceInUse == eInterfaceLanPlus) {
        sCommand += " " + LanOptions(interface.sIolData, "-n lanplus");
    } else if (interface.eInterfaceInUse == eInterfaceKCSIO) {
        sCommand += " -msgintf kcsio";
    }
    return sCommand;
}

std::string SavedCopyAdviceText(const std::string& sPath, const InterfaceChoice& interface)
{
    const std::string sFromHere = FromCurrentFolder(sPath);
    const std::string sNamed = VALDRNTakesAsFileName(sFromHere) ? sFromHere : std::filesystem::absolute(sPath).string();
    return "The BMC's data from before this run is saved in " + sNamed + "; to put it back, run:\n" +
           RestoreCommand(sPath, interface) + "\n";
}

WayBack NewWayBack(const InterfaceChoice& interface)
{
    WayBack wayBack;
    wayBack.fnAdvice = [interface](const std::string& sPath) { return SavedCopyAdviceText(sPath, interface); };
    wayBack.sTarget = TargetName(interface);
    return wayBack;
}

void PrintSavedCopyAdvice(const WayBack& wayBack)
{
    if (wayBack.sCopyPath.empty() || !wayBack.fnAdvice) {
        return;
    }
    std::fflush(stdout);
    std::fputs(wayBack.fnAdvice(wayBack.sCopyPath).c_str(), stderr);
}

void TakeWayBack(const WayBack& wayBack, const InterfaceChoice& interface, RunResult* psResult)
{
    if (!wayBack.sCopyPath.empty()) {
        psResult->sSavedCopy = wayBack.sCopyPath;
        psResult->sRestoreCommand = RestoreCommand(wayBack.sCopyPath, interface);
    }
}
