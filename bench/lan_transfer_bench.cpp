// Wall time of -d and -u over LAN+ (a 50-record SDR repository, a 2 KiB
// FRU image) against the test BMC, next to the summed wall time of the
// very same ipmitool command lines run one after another by a plain shell
// script. The lines are recorded from a VALDRN run through an ipmitool
// wrapper that logs its arguments; before every timed run the BMC is put
// back into the same state, so VALDRN and the script make the same
// requests and get the same answers.
//
// Usage: lan_transfer_bench VALDRN-BINARY [ROUNDS]
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bmc/test_bmc.h"
#include "support/fru_fixtures.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

std::vector<std::string> FiftyRecords()
{
    const std::vector<std::string> asKinds = SdrRecordsOfEveryType();
    std::vector<std::string> asRecords;
    for (size_t i = 0; asRecords.size() < 50; ++i) {
        asRecords.push_back(asKinds[i % asKinds.size()]);
    }
    return asRecords;
}

// The typical server image with OEM records after it, up to 2 KiB.
std::string TwoKibFruImage()
{
    FruAreas areas;
    areas.sChassis = FruChassisArea(0x17, {FruAsciiField("CHS-R200-01"), FruAsciiField("CSN20261121A")});
    areas.sBoard = FruBoardArea(0x19, 0x00C2B1F0,
                                {FruAsciiField("Valdrin Systems"), FruAsciiField("X99 Server Board"),
                                 FruAsciiField("BSN0001234"), FruAsciiField("PN-77-A"), FruAsciiField("FRU v1.0")});
    areas.sProduct = FruProductArea(
        0x19, {FruAsciiField("Valdrin Systems"), FruAsciiField("Valdrin R200"), FruAsciiField("R200-8"),
               FruAsciiField("A01"), FruAsciiField("PSN998877"), FruAsciiField("ASSET-42"), FruAsciiField("FRU v1.0")});
    const size_t uBefore = FruImage(areas).size();
    const size_t uRecords = (2048 - uBefore) / 205;
    for (size_t i = 0; i < uRecords; ++i) {
        areas.sMultiRecord += FruMultiRecord(0xC0, std::string(200, static_cast<char>('A' + i)), i + 1 == uRecords);
    }
    return FruImage(areas);
}

double Seconds(const std::chrono::steady_clock::time_point& start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class Bench {
public:
    Bench(const std::string& sValdrn, const std::string& sDirectory)
        : m_sValdrn(sValdrn), m_sDir(sDirectory), m_bmc("", sDirectory + "/bmc")
    {
        mkdir((m_sDir + "/bin").c_str(), 0700);
        // Logs each run's arguments, shell-quoted, then runs the real one.
        WriteFile(m_sDir + "/bin/ipmitool",
                  "#!/bin/bash\nprintf '%q ' ipmitool \"$@\" >> \"$IPMITOOL_LOG\"\n"
                  "echo >> \"$IPMITOOL_LOG\"\nexec /usr/bin/ipmitool \"$@\"\n");
        chmod((m_sDir + "/bin/ipmitool").c_str(), 0700);
    }

    TestBmc& Bmc() { return m_bmc; }

    void Snapshot()
    {
        m_bmc.Stop();
        WriteFile(m_sDir + "/snapshot", ReadFile(m_sDir + "/bmc/bmc.state"));
        m_bmc.Start();
    }
    void Restore()
    {
        m_bmc.Stop();
        WriteFile(m_sDir + "/bmc/bmc.state", ReadFile(m_sDir + "/snapshot"));
        m_bmc.Start();
    }

    // One VALDRN run in the work directory; its wall time.
    double RunValdrn(const std::vector<std::string>& asWords, bool bRecord)
    {
        std::remove((m_sDir + "/out.txt").c_str());
        std::string sCommand = "cd " + m_sDir + " && VALDRN_BACKUP_DIR=" + m_sDir + "/backups ";
        if (bRecord) {
            std::remove((m_sDir + "/lines").c_str());
            sCommand += "IPMITOOL_LOG=" + m_sDir + "/lines PATH=" + m_sDir + "/bin:$PATH ";
        }
        sCommand += m_sValdrn;
        for (const std::string& sWord : asWords) {
            sCommand += " '" + sWord + "'";
        }
        for (const std::string& sWord : m_bmc.LanOptions()) {
            sCommand += " '" + sWord + "'";
        }
        sCommand += " > " + m_sDir + "/valdrn.log 2>&1";
        const auto start = std::chrono::steady_clock::now();
        const int iStatus = std::system(sCommand.c_str());
        const double dSeconds = Seconds(start);
        if (iStatus != 0) {
            throw std::runtime_error("VALDRN failed: " + sCommand + "\n" + ReadFile(m_sDir + "/valdrn.log"));
        }
        return dSeconds;
    }

    // The recorded lines as one shell script; its wall time.
    double RunScript()
    {
        const auto start = std::chrono::steady_clock::now();
        const int iStatus = std::system(("sh -e " + m_sDir + "/script > /dev/null 2>&1").c_str());
        const double dSeconds = Seconds(start);
        if (iStatus != 0) {
            throw std::runtime_error("the ipmitool script failed");
        }
        return dSeconds;
    }

    size_t MakeScript()
    {
        std::ifstream lines(m_sDir + "/lines");
        std::string sLine;
        std::string sScript;
        size_t uCount = 0;
        while (std::getline(lines, sLine)) {
            sScript += sLine + "\n";
            ++uCount;
        }
        WriteFile(m_sDir + "/script", sScript);
        return uCount;
    }

    const std::string& Dir() const { return m_sDir; }

private:
    std::string m_sValdrn;
    std::string m_sDir;
    TestBmc m_bmc;
};

double Median(std::vector<double> adValues)
{
    std::sort(adValues.begin(), adValues.end());
    return adValues[adValues.size() / 2];
}

void Measure(Bench& bench, const char* pchName, const std::vector<std::string>& asWords, int iRounds)
{
    bench.Restore();
    bench.RunValdrn(asWords, true);
    const size_t uRuns = bench.MakeScript();
    std::vector<double> adValdrn;
    std::vector<double> adScript;
    for (int i = 0; i < iRounds; ++i) {
        bench.Restore();
        adValdrn.push_back(bench.RunValdrn(asWords, false));
        bench.Restore();
        adScript.push_back(bench.RunScript());
    }
    const double dValdrn = Median(adValdrn);
    const double dScript = Median(adScript);
    std::printf("%-28s ipmitool runs %4zu   VALDRN %7.3f s   script %7.3f s   ratio %.3f\n", pchName, uRuns, dValdrn,
                dScript, dValdrn / dScript);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char* argv[])
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s VALDRN-BINARY [ROUNDS]\n", argv[0]);
        return 2;
    }
    const int iRounds = argc > 2 ? std::atoi(argv[2]) : 3;
    try {
        TempDir dir;
        mkdir(dir.File("bmc").c_str(), 0700);
        char achValdrn[4096];
        if (realpath(argv[1], achValdrn) == nullptr) {
            throw std::runtime_error(std::string("no such program: ") + argv[1]);
        }
        Bench bench(achValdrn, dir.Path());
        bench.Bmc().Start();
        WriteFile(dir.File("in.sdr"), SdrTextFile(FiftyRecords()));
        const std::string sImage = TwoKibFruImage();
        WriteFile(dir.File("in.fru.bin"), sImage);
        std::printf("SDR: 50 records; FRU image: %zu bytes; median of %d rounds (wall time)\n", sImage.size(), iRounds);
        // The repository already holds the 50 records, as on a server being
        // re-provisioned: the download backs them up first.
        bench.RunValdrn({"-d", "in.sdr"}, false);
        bench.RunValdrn({"-d", "in.fru.bin", "fruID=0"}, false);
        bench.Snapshot();
        Measure(bench, "-d SDR text, 50 records", {"-d", "in.sdr"}, iRounds);
        Measure(bench, "-u SDR, 50 records", {"-u", "out.txt", "encoding=ascii"}, iRounds);
        Measure(bench, "-d FRU binary, 2 KiB", {"-d", "in.fru.bin", "fruID=0"}, iRounds);
        Measure(bench, "-u FRU, 2 KiB device", {"-u", "out.txt", "encoding=ascii", "fruID=0"}, iRounds);
        bench.Bmc().Stop();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
