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
    const TestBmc& Bmc() const { return m_bmc; }
    const std::string& WorkDir() const { return m_dir.Path(); }
    std::string File(const std::string& sName) const { return m_dir.File(sName); }
    void Write(const std::string& sName, const std::string& sBytes) const { WriteFile(File(sName), sBytes); }
    std::string Read(const std::string& sName) const { return ReadFile(File(sName)); }

    // VALDRN with the words, then this BMC's LAN+ options.
    CommandResult Valdrn(const std::vector<std::string>& asWords, const std::string& sStdin = "") const;
    // VALDRN with exactly these words.
    CommandResult ValdrnAlone(const std::vector<std::string>& asWords, const std::string& sStdin = "") const;

    // VALDRN with the words and (unless bLanOptions is false) this BMC's
    // LAN+ options, with PATH as given (the wrapper of the program under
    // test is found on the current PATH), in a session and process group
    // of its own (setsid).
    CommandResult ValdrnWithPath(const std::string& sPath, const std::vector<std::string>& asWords,
                                 const std::string& sStdin = "", bool bLanOptions = true) const;

    // Where the runs save their copies of the BMC's data (VALDRN_BACKUP_DIR):
    // a folder of this test's own, "backups" in its working directory,
    // unless set otherwise.
    const std::string& BackupDir() const { return m_sBackupDir; }
    // An environment variable for every later run ("NAME=value").
    void SetEnvironment(const std::string& sSetting) { m_asEnvironment.push_back(sSetting); }
    void SetBackupDir(const std::string& sFolder) { m_sBackupDir = sFolder; }
    // The copies saved there so far, oldest first (their names sort so).
    std::vector<std::string> SavedCopies() const;

    // The restore command a failed run printed as its last line of standard
    // error, run from the working directory with the BMC's password in
    // place of "..." (the printed command never shows it).
    CommandResult RunPrintedRestoreCommand(const CommandResult& failed) const;

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
    std::string m_sBackupDir;
    std::vector<std::string> m_asEnvironment;
};

// An ipmitool first on PATH that logs each command line, runs a piece of
// shell (which sees the log's line count as $N and the arguments as "$@"),
// then runs the real ipmitool with extra options and the arguments.
class StandInIpmitool {
public:
    explicit StandInIpmitool(const std::string& sHook = "", const std::string& sExtraOptions = "");
    // PATH with this ipmitool first.
    std::string Path() const;
    // The command lines ipmitool was run with, in order.
    std::vector<std::string> Calls() const;
    // How many times ipmitool was started (a session is one start).
    int Runs() const;
    // Waits until every run has ended (at most 30 s).
    void WaitUntilIdle() const;

private:
    TempDir m_dir;
};

// The repository the fault and safety tests start from (three records),
// and the file they download over it: a full sensor record (two partial
// adds) and an OEM record.
std::vector<std::string> FaultTestRepository();
std::vector<std::string> FaultTestFile();

bool Contains(const std::string& sText, const std::string& sPart);

// Records without their IDs (bytes 0-1), which the BMC chooses.
std::vector<std::string> WithoutIds(std::vector<std::string> asRecords);

}  // namespace valdrn_test
