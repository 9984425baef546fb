#include "e2e/e2e_support.h"

#include <stdexcept>

#include "support/fru_fixtures.h"

namespace valdrn_test {

std::string ProductHeader()
{
    const std::string sRule = std::string(79, '-') + "\n";
    return sRule + std::string(26, ' ') + "Valdrin Utility\n" + std::string(8, ' ') +
           "Copyright (C) 2026 The VALDRN Project. IPMI SDR and FRU tool.\n" + sRule;
}

EndToEnd::EndToEnd(const std::string& sBmcOptions) : m_bmc(sBmcOptions) {}

CommandResult EndToEnd::Valdrn(const std::vector<std::string>& asWords, const std::string& sStdin) const
{
    std::vector<std::string> asAll = asWords;
    const std::vector<std::string> asLan = m_bmc.LanOptions();
    asAll.insert(asAll.end(), asLan.begin(), asLan.end());
    return ValdrnAlone(asAll, sStdin);
}

CommandResult EndToEnd::ValdrnAlone(const std::vector<std::string>& asWords, const std::string& sStdin) const
{
    std::vector<std::string> asArgv = ProgramUnderTest(VALDRN_BINARY);
    asArgv.insert(asArgv.end(), asWords.begin(), asWords.end());
    return RunCommand(asArgv, sStdin, m_dir.Path());
}

std::vector<std::string> EndToEnd::Repository() const
{
    TempDir dumpDir;
    const CommandResult result = m_bmc.Ipmitool({"sdr", "dump", dumpDir.File("dump")});
    if (result.iStatus != 0) {
        throw std::runtime_error("ipmitool sdr dump failed: " + result.sErr);
    }
    const std::string sDump = ReadFile(dumpDir.File("dump"));
    std::vector<std::string> asRecords;
    for (size_t uAt = 0; uAt + 5 <= sDump.size();) {
        const size_t uLength = static_cast<unsigned char>(sDump[uAt + 4]) + 5u;
        asRecords.push_back(sDump.substr(uAt, uLength));
        uAt += uLength;
    }
    return asRecords;
}

std::string EndToEnd::FruArea(int iFruID) const
{
    TempDir readDir;
    const CommandResult result = m_bmc.Ipmitool({"fru", "read", std::to_string(iFruID), readDir.File("fru")});
    if (result.iStatus != 0) {
        throw std::runtime_error("ipmitool fru read failed: " + result.sErr + result.sOut);
    }
    return ReadFile(readDir.File("fru"));
}

std::string EndToEnd::IpmiFru(int iFruID) const
{
    // ipmi-fru reaches devices other than 0 only through FRU locator
    // records, which the test repository does not hold: their area is read
    // with ipmitool and decoded from a file instead.
    if (iFruID != 0) {
        return DecodeWithIpmiFru(FruArea(iFruID));
    }
    const CommandResult result =
        RunCommand({"ipmi-fru", "-h", m_bmc.Address(), "-u", TestBmc::User(), "-p", TestBmc::Password(), "-l",
                    "admin", "-I", "3", "--ignore-sdr-cache", "--device-id=" + std::to_string(iFruID)});
    return result.sOut + result.sErr;
}

std::string EndToEnd::IpmitoolFruPrint(int iFruID) const
{
    const CommandResult result = m_bmc.Ipmitool({"fru", "print", std::to_string(iFruID)});
    return result.sOut + result.sErr;
}

std::vector<std::string> WithoutIds(std::vector<std::string> asRecords)
{
    for (std::string& sRecord : asRecords) {
        sRecord.erase(0, 2);
    }
    return asRecords;
}

}  // namespace valdrn_test
