#include "e2e/e2e_support.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <sys/stat.h>

#include "support/fru_fixtures.h"
#include "support/sdr_fixtures.h"

namespace valdrn_test {

std::string ProductHeader()
{
    const std::string sRule = std::string(79, '-') + "\n";
    return sRule + std::string(26, ' ') + "Valdrin Utility\n" + std::string(8, ' ') +
           "Copyright (C) 2026 The VALDRN Project. IPMI SDR and FRU tool.\n" + sRule;
}

std::vector<std::string> FaultTestRepository()
{
    return {SdrNamedRecord(0x0101, 0x01, "Fan 1"), SdrFixedRecord(0x0102, 0x08, 0x10),
            SdrNamedRecord(0x0103, 0x02, "PSU")};
}

std::vector<std::string> FaultTestFile()
{
    return {SdrNamedRecord(0x0201, 0x01, "CPU Temperature"), SdrFixedRecord(0x0202, 0xC0, 0x20)};
}

bool Contains(const std::string& sText, const std::string& sPart)
{
    return sText.find(sPart) != std::string::npos;
}

EndToEnd::EndToEnd(const std::string& sBmcOptions) : m_bmc(sBmcOptions), m_sBackupDir(m_dir.File("backups")) {}

std::vector<std::string> EndToEnd::SavedCopies() const
{
    std::vector<std::string> asCopies;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(m_sBackupDir, error)) {
        asCopies.push_back(entry.path().string());
    }
    std::sort(asCopies.begin(), asCopies.end());
    return asCopies;
}

CommandResult EndToEnd::Valdrn(const std::vector<std::string>& asWords, const std::string& sStdin) const
{
    std::vector<std::string> asAll = asWords;
    const std::vector<std::string> asLan = m_bmc.LanOptions();
    asAll.insert(asAll.end(), asLan.begin(), asLan.end());
    return ValdrnAlone(asAll, sStdin);
}

CommandResult EndToEnd::ValdrnAlone(const std::vector<std::string>& asWords, const std::string& sStdin) const
{
    std::vector<std::string> asArgv = {"/usr/bin/env", "VALDRN_BACKUP_DIR=" + m_sBackupDir};
    asArgv.insert(asArgv.end(), m_asEnvironment.begin(), m_asEnvironment.end());
    const std::vector<std::string> asProgram = ProgramUnderTest(VALDRN_BINARY);
    asArgv.insert(asArgv.end(), asProgram.begin(), asProgram.end());
    asArgv.insert(asArgv.end(), asWords.begin(), asWords.end());
    return RunCommand(asArgv, sStdin, m_dir.Path());
}

CommandResult EndToEnd::ValdrnWithPath(const std::string& sPath, const std::vector<std::string>& asWords,
                                       const std::string& sStdin, bool bLanOptions) const
{
    // A process group of its own, as a shell gives a command: a signal
    // sent to the group, as a terminal sends one, reaches VALDRN and no test.
    std::vector<std::string> asArgv = {"setsid", "/usr/bin/env", "PATH=" + sPath, "VALDRN_BACKUP_DIR=" + m_sBackupDir};
    asArgv.insert(asArgv.end(), m_asEnvironment.begin(), m_asEnvironment.end());
    std::vector<std::string> asProgram = ProgramUnderTest(VALDRN_BINARY);
    // A wrapper named without a directory is looked up here, not on sPath.
    if (asProgram[0].find('/') == std::string::npos) {
        const CommandResult which = RunCommand({"which", asProgram[0]});
        if (which.iStatus == 0) {
            asProgram[0] = which.sOut.substr(0, which.sOut.find('\n'));
        }
    }
    asArgv.insert(asArgv.end(), asProgram.begin(), asProgram.end());
    asArgv.insert(asArgv.end(), asWords.begin(), asWords.end());
    if (bLanOptions) {
        const std::vector<std::string> asLan = m_bmc.LanOptions();
        asArgv.insert(asArgv.end(), asLan.begin(), asLan.end());
    }
    return RunCommand(asArgv, sStdin, m_dir.Path());
}

CommandResult EndToEnd::RunPrintedRestoreCommand(const CommandResult& failed) const
{
    std::string sErr = failed.sErr;
    if (!sErr.empty() && sErr.back() == '\n') {
        sErr.pop_back();
    }
    std::string sCommand = sErr.substr(sErr.rfind('\n') + 1);
    const size_t uAt = sCommand.find(" -P ... ");
    if (uAt != std::string::npos) {
        sCommand.replace(uAt, 8, std::string(" -P ") + TestBmc::Password() + " ");
    }
    return RunCommand({"/usr/bin/env", "VALDRN_BACKUP_DIR=" + m_sBackupDir, "sh", "-c", sCommand}, "", m_dir.Path());
}

StandInIpmitool::StandInIpmitool(const std::string& sHook, const std::string& sExtraOptions)
{
    const std::string sLog = m_dir.File("calls");
    WriteFile(sLog, "");
    WriteFile(m_dir.File("started"), "");
    // Each run adds its PID to "started": a run whose VALDRN was killed goes
    // on by itself (WaitUntilIdle).
    // As "ipmitool ... shell" (VALDRN_LAN_SESSION=run) it passes each line
    // on to a real ipmitool shell, logging each "raw" line as the command
    // line a run per request would have had and running the hook before
    // it, with those words as "$@": the hook meets the same requests in
    // both modes. A hook that exits has given the request's whole output
    // (the line is not passed on); one that exits with 126 or more (not
    // found, killed) or kills $$ ends the session, as does the real one's
    // end. However it ends, the real one is told to exit: it would spin at
    // the end of its input.
    WriteFile(m_dir.File("ipmitool"),
              "#!/bin/bash\n"
              "echo $$ >> " + m_dir.File("started") + "\n"
              "if [ \"${!#}\" = shell ]; then\n"
              "  set -- \"${@:1:$(($# - 1))}\"\n"
              "  exec 3> >(" IPMITOOL_PROGRAM " " + sExtraOptions + " \"$@\" shell < <(cat; echo exit); kill -TERM $$)\n"
              "  trap 'echo exit >&3' EXIT\n"
              "  trap 'exit 1' TERM INT HUP\n"
              "  while IFS= read -r LINE; do\n"
              "    ST=199\n"
              "    if [ \"${LINE#raw }\" != \"$LINE\" ]; then\n"
              "      echo \"$* $LINE\" >> " + sLog + "\n"
              "      N=$(wc -l < " + sLog + ")\n"
              "      (set -- \"$@\" $LINE\n" + sHook + "\nexit 199); ST=$?\n"
              "    fi\n"
              "    [ $ST -ge 126 ] && [ $ST -ne 199 ] && exit $ST\n"
              "    [ $ST -eq 199 ] && printf '%s\\n' \"$LINE\" >&3\n"
              "  done\n"
              "  exit 0\n"
              "fi\n"
              "echo \"$*\" >> " + sLog + "\nN=$(wc -l < " + sLog + ")\n" + sHook + "\n" IPMITOOL_PROGRAM " " +
                  sExtraOptions + " \"$@\"\n");
    chmod(m_dir.File("ipmitool").c_str(), 0755);
}

int StandInIpmitool::Runs() const
{
    const std::string sStarted = ReadFile(m_dir.File("started"));
    return static_cast<int>(std::count(sStarted.begin(), sStarted.end(), '\n'));
}

namespace {

// Running, not a zombie left for its parent to reap.
bool IsRunning(const std::string& sPid)
{
    try {
        const std::string sStat = ReadFile("/proc/" + sPid + "/stat");
        const size_t uAfterName = sStat.rfind(") ");
        return uAfterName != std::string::npos && sStat.compare(uAfterName + 2, 1, "Z") != 0;
    } catch (const std::exception&) {
        return false;  // gone
    }
}

}  // namespace

void StandInIpmitool::WaitUntilIdle() const
{
    // Every run started has ended, however: VALDRN kills a session that is
    // stuck, and a killed run writes no line of its own.
    for (int i = 0; i < 600; ++i) {
        std::istringstream started(ReadFile(m_dir.File("started")));
        bool bAnyRunning = false;
        for (std::string sPid; std::getline(started, sPid);) {
            bAnyRunning = bAnyRunning || IsRunning(sPid);
        }
        if (!bAnyRunning) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error("an ipmitool run did not end within 30 s");
}

std::string StandInIpmitool::Path() const
{
    const char* pchPath = std::getenv("PATH");
    return m_dir.Path() + ":" + (pchPath != nullptr ? pchPath : "/usr/bin:/bin");
}

std::vector<std::string> StandInIpmitool::Calls() const
{
    std::vector<std::string> asCalls;
    std::istringstream lines(ReadFile(m_dir.File("calls")));
    for (std::string sLine; std::getline(lines, sLine);) {
        asCalls.push_back(sLine);
    }
    return asCalls;
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
        RunCommand({"ipmi-fru", "-h", m_bmc.Address(), "-u", TestBmc::User(), "-p", TestBmc::Password(), "-l", "admin",
                    "-I", "3", "--ignore-sdr-cache", "--device-id=" + std::to_string(iFruID)});
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
