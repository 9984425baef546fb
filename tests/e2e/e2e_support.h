// Running the real VALDRN against the test BMC, and reading the BMC's
// state back with Debian's tools on the side.
#pragma once

#include <string>
#include <vector>

#include "bmc/test_bmc.h"
#include "support/test_support.h"

namespace valdrn_test {

// The three lines every run starts with.
std::string ProductHeader();

// A working directory of its own with a test BMC to talk to.
class EndToEnd {
public:
    explicit EndToEnd(const std::string& sBmcOptions = "");

    TestBmc& Bmc() { return m_bmc; }
    const std::string& WorkDir() const { return m_dir.Path(); }
    std::string File(const std::string& sName) const { return m_dir.File(sName); }
    void Write(const std::string& sName, const std::string& sBytes) const { WriteFile(File(sName), sBytes); }
    std::string Read(const std::string& sName) const { return ReadFile(File(sName)); }

    // VALDRN with the words, then this BMC's LAN+ options.
    CommandResult Valdrn(const std::vector<std::string>& asWords, const std::string& sStdin = "") const;
    // VALDRN with exactly these words.
    CommandResult ValdrnAlone(const std::vector<std::string>& asWords, const std::string& sStdin = "") const;

    // The repository's records, read with "ipmitool sdr dump".
    std::vector<std::string> Repository() const;
    // A FRU device's whole area, read with "ipmitool fru read".
    std::string FruArea(int iFruID) const;
    // FreeIPMI's decoding of a FRU device: over LAN for device 0.
    std::string IpmiFru(int iFruID) const;
    // ipmitool's decoding of a FRU device.
    std::string IpmitoolFruPrint(int iFruID) const;

private:
    TempDir m_dir;
    TestBmc m_bmc;
};

// Records without their IDs (bytes 0-1), which the BMC chooses.
std::vector<std::string> WithoutIds(std::vector<std::string> asRecords);

}  // namespace valdrn_test
