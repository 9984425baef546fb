#include "cli/run_result_json.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/interface_state.h"
#include "base/write_all.h"

namespace {

const char* OperationName(RunOperation eOperation)
{
    switch (eOperation) {
    case RunOperation::HELP:
        return "help";
    case RunOperation::VERSION:
        return "version";
    case RunOperation::KCS_CHECK:
        return "kcs_check";
    case RunOperation::DOWNLOAD:
        return "download";
    case RunOperation::UPLOAD:
        return "upload";
    case RunOperation::VERIFY:
        return "verify";
    case RunOperation::TEST:
        return "test";
    case RunOperation::UPDATE_FRU:
        return "update_fru";
    case RunOperation::NONE:
        break;
    }
    return "none";
}

const char* OutcomeName(RunOutcome eOutcome)
{
    switch (eOutcome) {
    case RunOutcome::SUCCESS:
        return "success";
    case RunOutcome::REFUSED:
        return "refused";
    case RunOutcome::FAILURE:
        break;
    }
    return "failure";
}

const char* ComparisonName(Comparison eComparison)
{
    return eComparison == Comparison::SAME ? "same" : "different";
}

const char* AreaName(eFRUArea eArea)
{
    static const char* const S_apchNames[] = {"common", "internal_use", "chassis", "board", "product", "multirecord"};
    return eArea <= FRU_AREA_MULTIRECORD ? S_apchNames[eArea] : "image";
}

const char* InterfaceName(unsigned int uInterface)
{
    return uInterface == eInterfaceLanPlus ? "lanplus" : uInterface == eInterfaceKCSIO ? "kcsio" : "openipmi";
}

// The length of the well-formed UTF-8 sequence at pch, or 0.
size_t UTF8SequenceLength(const unsigned char* pch, size_t uLeft)
{
    const unsigned char c = pch[0];
    const size_t uLength = c >= 0xF0 && c <= 0xF4 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 && c < 0xE0 ? 2 : 0;
    if (uLength == 0 || uLength > uLeft) {
        return 0;
    }
    for (size_t i = 1; i < uLength; ++i) {
        if ((pch[i] & 0xC0) != 0x80) {
            return 0;
        }
    }
    // No overlong forms, surrogates or code points past U+10FFFF.
    if ((c == 0xE0 && pch[1] < 0xA0) || (c == 0xED && pch[1] >= 0xA0) || (c == 0xF0 && pch[1] < 0x90) ||
        (c == 0xF4 && pch[1] >= 0x90)) {
        return 0;
    }
    return uLength;
}

// A JSON string. Bytes that are not UTF-8 (a file name may hold any) become
// U+FFFD: the document stays valid JSON, and the name is still the one the
// printed lines show.
std::string Quoted(const std::string& sText)
{
    std::string sOut = "\"";
    const auto* pu8 = reinterpret_cast<const unsigned char*>(sText.data());
    for (size_t i = 0; i < sText.size();) {
        const unsigned char c = pu8[i];
        if (c == '"' || c == '\\') {
            sOut += '\\';
            sOut += static_cast<char>(c);
        } else if (c < 0x20 || c == 0x7F) {
            char achEscape[8];
            std::snprintf(achEscape, sizeof achEscape, "\\u%04x", c);
            sOut += achEscape;
        } else if (c < 0x80) {
            sOut += static_cast<char>(c);
        } else {
            const size_t uLength = UTF8SequenceLength(pu8 + i, sText.size() - i);
            if (uLength == 0) {
                sOut += "\\ufffd";
                ++i;
                continue;
            }
            sOut.append(sText, i, uLength);
            i += uLength;
            continue;
        }
        ++i;
    }
    return sOut + "\"";
}

std::string Hex(const std::vector<unsigned char>& au8Bytes)
{
    static const char S_achDigits[] = "0123456789ABCDEF";
    std::string sOut;
    for (unsigned char u8 : au8Bytes) {
        sOut += S_achDigits[u8 >> 4];
        sOut += S_achDigits[u8 & 0x0F];
    }
    return Quoted(sOut);
}

std::string NumberOrNull(long lValue)
{
    return lValue < 0 ? "null" : std::to_string(lValue);
}

std::string TextOrNull(const std::string& sText)
{
    return sText.empty() ? "null" : Quoted(sText);
}

bool UsesTheBMC(RunOperation eOperation)
{
    return eOperation == RunOperation::DOWNLOAD || eOperation == RunOperation::UPLOAD ||
           eOperation == RunOperation::VERIFY || eOperation == RunOperation::UPDATE_FRU ||
           eOperation == RunOperation::KCS_CHECK;
}

std::string TargetJSON(const RunResult& result, const InterfaceChoice& interface)
{
    if (!UsesTheBMC(result.eOperation)) {
        return "null";
    }
    const bool bLan = interface.eInterfaceInUse == eInterfaceLanPlus;
    return std::string("{\"interface\": ") + Quoted(InterfaceName(interface.eInterfaceInUse)) +
           ", \"host\": " + (bLan ? Quoted(interface.sIolData.achHostIP) : std::string("null")) + "}";
}

// The BMC's record ID of a record read from it (its first two bytes).
std::string RecordID(const std::vector<unsigned char>& au8Record)
{
    return au8Record.size() < 2 ? "null" : std::to_string(au8Record[0] | au8Record[1] << 8);
}

std::string DifferencesJSON(const RunResult& result)
{
    std::vector<std::string> asItems;
    for (const SDRDifference& difference : result.asSDRDifferences) {
        asItems.push_back("{\"file_position\": " + NumberOrNull(difference.iFilePosition) +
                          ", \"bmc_position\": " + NumberOrNull(difference.iBMCPosition) +
                          ", \"bmc_record_id\": " + RecordID(difference.au8BMCBytes) +
                          ", \"file_bytes\": " + Hex(difference.au8FileBytes) +
                          ", \"bmc_bytes\": " + Hex(difference.au8BMCBytes) + "}");
    }
    for (const FRUAreaDifference& difference : result.asFRUDifferences) {
        asItems.push_back(std::string("{\"area\": ") + Quoted(AreaName(difference.eArea)) +
                          ", \"offset\": " + std::to_string(difference.u16Offset) +
                          ", \"file_bytes\": " + Hex(difference.au8FileBytes) +
                          ", \"bmc_bytes\": " + Hex(difference.au8BMCBytes) + "}");
    }
    if (asItems.empty()) {
        return "[]";
    }
    std::string sOut = "[\n";
    for (size_t i = 0; i < asItems.size(); ++i) {
        sOut += "    " + asItems[i] + (i + 1 < asItems.size() ? ",\n" : "\n");
    }
    return sOut + "  ]";
}

}  // namespace

std::string RunResultJSON(const RunResult& result, const InterfaceChoice& interface)
{
    const bool bHasData = result.eData != RunData::NONE;
    const bool bCompared = result.eComparison != Comparison::NOT_MADE;
    std::string s = "{\n";
    s += "  \"format\": \"valdrn-result\",\n";
    s += "  \"version\": 1,\n";
    s += std::string("  \"operation\": ") + Quoted(OperationName(result.eOperation)) + ",\n";
    s += std::string("  \"data\": ") +
         (bHasData ? Quoted(result.eData == RunData::SDR ? "sdr" : "fru") : std::string("null")) + ",\n";
    s += "  \"file\": " + TextOrNull(result.sFile) + ",\n";
    s += "  \"fru_id\": " + NumberOrNull(result.iFruID) + ",\n";
    s += "  \"field\": " + TextOrNull(result.sField) + ",\n";
    s += "  \"target\": " + TargetJSON(result, interface) + ",\n";
    s += std::string("  \"outcome\": ") + Quoted(OutcomeName(result.eOutcome)) + ",\n";
    s += "  \"exit_status\": " + std::to_string(result.iExitStatus) + ",\n";
    s += "  \"counts\": {\"file_records\": " + NumberOrNull(result.lFileRecords) +
         ", \"bmc_records\": " + NumberOrNull(result.lBMCRecords) + ", \"file_bytes\": " +
         NumberOrNull(result.lFileBytes) + ", \"bmc_bytes\": " + NumberOrNull(result.lBMCBytes) + "},\n";
    s += "  \"saved_copy\": " + TextOrNull(result.sSavedCopy) + ",\n";
    s += "  \"restore_command\": " + TextOrNull(result.sRestoreCommand) + ",\n";
    s += std::string("  \"comparison\": ") +
         (bCompared ? Quoted(ComparisonName(result.eComparison)) : std::string("null")) + ",\n";
    s += "  \"differences\": " + DifferencesJSON(result) + "\n";
    return s + "}\n";
}

namespace {

// The permissions a new file gets from the user's umask.
mode_t NewFileMode()
{
    const mode_t uMask = umask(0);
    umask(uMask);
    return 0666 & ~uMask;
}

}  // namespace

bool WriteRunResult(const std::string& sPath, const RunResult& result, const InterfaceChoice& interface)
{
    const std::string sDocument = RunResultJSON(result, interface);
    std::string sTemporary = sPath + ".XXXXXX";
    errno = 0;
    const int iFd = mkstemp(&sTemporary[0]);
    bool bWritten = iFd >= 0;
    int iError = errno;
    if (bWritten) {
        bWritten = fchmod(iFd, NewFileMode()) == 0 && WriteAll(iFd, sDocument.data(), sDocument.size()) && fsync(iFd) == 0;
        bWritten = close(iFd) == 0 && bWritten;
        bWritten = bWritten && std::rename(sTemporary.c_str(), sPath.c_str()) == 0;
        iError = errno;
        if (!bWritten) {
            unlink(sTemporary.c_str());
        }
    }
    if (!bWritten) {
        std::fflush(stdout);
        std::fprintf(stderr, "<ERROR> Cannot write the run's result to %s: %s\n", sPath.c_str(),
                     std::strerror(iError != 0 ? iError : EIO));
    }
    return bWritten;
}

void WriteRunResultIfAsked(const RunResult& result, const InterfaceChoice& interface)
{
    const char* pchPath = std::getenv(RESULT_PATH_VARIABLE);
    if (pchPath != nullptr && *pchPath != '\0') {
        WriteRunResult(pchPath, result, interface);
    }
}
