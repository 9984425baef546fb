// Wall time over LAN+ against the test BMC, on the same data, interleaved,
// medians: VALDRN with one ipmitool per request (the default), VALDRN with
// one ipmitool session for the run (VALDRN_LAN_SESSION=run), and
// ipmitool's own command for the same work:
//   -d of 119 SDR records      ipmitool sdr fill file (erase, add)
//   -u of those 119 records    ipmitool sdr dump
//   -d of a 342-byte FRU image ipmitool fru write
//   -u of a 2 KiB FRU device   ipmitool fru read
// VALDRN does more than ipmitool for the same work (the backup and its
// checks before a download, the read-back after it). Before every timed
// run the BMC is put back into the same state.
//
// Usage: lan_transfer_bench VALDRN-BINARY [ROUNDS]
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "bmc/test_bmc.h"
#include "support/fru_fixtures.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;

namespace {

constexpr size_t SDR_RECORDS = 119;

std::vector<std::string> ServerRecords()
{
    const std::vector<std::string> asKinds = SdrRecordsOfEveryType();
    std::vector<std::string> asRecords;
    for (size_t i = 0; asRecords.size() < SDR_RECORDS; ++i) {
        asRecords.push_back(asKinds[i % asKinds.size()]);
    }
    return asRecords;
}

// The typical server image: chassis, board and product areas and one OEM
// record, 342 bytes.
FruAreas TypicalFruAreas()
{
    FruAreas areas;
    areas.sChassis = FruChassisArea(0x17, {FruAsciiField("CHS-R200-01"), FruAsciiField("CSN20261121A")});
    areas.sBoard = FruBoardArea(0x19, 0x00C2B1F0,
                                {FruAsciiField("Valdrin Systems"), FruAsciiField("X99 Server Board"),
                                 FruAsciiField("BSN0001234"), FruAsciiField("PN-77-A"), FruAsciiField("FRU v1.0")});
    areas.sProduct = FruProductArea(
        0x19, {FruAsciiField("Valdrin Systems"), FruAsciiField("Valdrin R200"), FruAsciiField("R200-8"),
               FruAsciiField("A01"), FruAsciiField("PSN998877"), FruAsciiField("ASSET-42"), FruAsciiField("FRU v1.0")});
    areas.sMultiRecord = FruMultiRecord(0xC0, std::string(145, 'O'), true);
    return areas;
}

// ... with OEM records after it, up to 2 KiB.
std::string TwoKibFruImage()
{
    FruAreas areas = TypicalFruAreas();
    areas.sMultiRecord.clear();
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

    // One VALDRN run in the work directory, per request or in one session;
    // its wall time.
    double RunValdrn(const std::vector<std::string>& asWords, bool bSession)
    {
        std::remove((m_sDir + "/out.txt").c_str());
        std::string sCommand = "cd " + m_sDir + " && VALDRN_BACKUP_DIR=" + m_sDir + "/backups VALDRN_LAN_SESSION=" +
                               (bSession ? "run " : "request ") + m_sValdrn;
        for (const std::string& sWord : asWords) {
            sCommand += " '" + sWord + "'";
        }
        for (const std::string& sWord : m_bmc.LanOptions()) {
            sCommand += " '" + sWord + "'";
        }
        sCommand += " > " + m_sDir + "/valdrn.log 2>&1";
        return Timed(sCommand);
    }

    // ipmitool's own command for the same work; its wall time.
    double RunIpmitool(const std::vector<std::string>& asWords)
    {
        std::remove((m_sDir + "/out.bin").c_str());
        std::string sCommand = "cd " + m_sDir + " && ipmitool";
        for (const std::string& sWord : std::vector<std::string>{"-I", "lanplus", "-C", "3", "-U", TestBmc::User(),
                                                                 "-P", TestBmc::Password(), "-H", m_bmc.Address()}) {
            sCommand += " '" + sWord + "'";
        }
        for (const std::string& sWord : asWords) {
            sCommand += " '" + sWord + "'";
        }
        return Timed(sCommand + " > ipmitool.log 2>&1");
    }

private:
    double Timed(const std::string& sCommand)
    {
        const auto start = std::chrono::steady_clock::now();
        const int iStatus = std::system(sCommand.c_str());
        const double dSeconds = Seconds(start);
        if (iStatus != 0) {
            throw std::runtime_error("failed: " + sCommand);
        }
        return dSeconds;
    }

    std::string m_sValdrn;
    std::string m_sDir;
    TestBmc m_bmc;
};

double Median(std::vector<double> adValues)
{
    std::sort(adValues.begin(), adValues.end());
    return adValues[adValues.size() / 2];
}

void Measure(Bench& bench, const char* pchName, const std::vector<std::string>& asWords,
             const std::vector<std::string>& asIpmitool, int iRounds)
{
    std::vector<double> adRequest;
    std::vector<double> adSession;
    std::vector<double> adIpmitool;
    for (int i = 0; i < iRounds; ++i) {
        bench.Restore();
        adRequest.push_back(bench.RunValdrn(asWords, false));
        bench.Restore();
        adSession.push_back(bench.RunValdrn(asWords, true));
        bench.Restore();
        adIpmitool.push_back(bench.RunIpmitool(asIpmitool));
    }
    const double dRequest = Median(adRequest);
    const double dSession = Median(adSession);
    const double dIpmitool = Median(adIpmitool);
    std::printf("%-26s per request %7.3f s (%6.1f x)   one session %6.3f s (%4.2f x)   ipmitool %6.3f s\n", pchName,
                dRequest, dRequest / dIpmitool, dSession, dSession / dIpmitool, dIpmitool);
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
        const std::vector<std::string> asRecords = ServerRecords();
        WriteFile(dir.File("in.sdr"), SdrTextFile(asRecords));
        std::string sRecords;
        for (const std::string& sRecord : asRecords) {
            sRecords += sRecord;
        }
        WriteFile(dir.File("in.sdr.bin"), sRecords);
        const std::string sImage = FruImage(TypicalFruAreas());
        WriteFile(dir.File("in.fru.bin"), sImage);
        WriteFile(dir.File("two-kib.fru.bin"), TwoKibFruImage());
        std::printf("SDR: %zu records; FRU image: %zu bytes, device read: 2 KiB; median of %d rounds (wall time)\n",
                    asRecords.size(), sImage.size(), iRounds);
        // The repository already holds the records, as on a server being
        // re-provisioned: the download backs them up first.
        bench.RunValdrn({"-d", "in.sdr"}, false);
        bench.RunValdrn({"-d", "two-kib.fru.bin", "fruID=0"}, false);
        bench.Snapshot();
        Measure(bench, "-d SDR text, records", {"-d", "in.sdr"}, {"sdr", "fill", "file", "in.sdr.bin"}, iRounds);
        Measure(bench, "-u SDR, records", {"-u", "out.txt", "encoding=ascii"}, {"sdr", "dump", "out.bin"}, iRounds);
        Measure(bench, "-d FRU binary image", {"-d", "in.fru.bin", "fruID=0"}, {"fru", "write", "0", "in.fru.bin"},
                iRounds);
        Measure(bench, "-u FRU, 2 KiB device", {"-u", "out.txt", "encoding=ascii", "fruID=0"},
                {"fru", "read", "0", "out.bin"}, iRounds);
        bench.Bmc().Stop();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
