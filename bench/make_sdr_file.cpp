// Writes an SDR text file of N records (records of every type, in turn) to
// standard output, for the benchmarks.
//
// Usage: make_sdr_file N
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/sdr_fixtures.h"

int main(int argc, char* argv[])
{
    const long lCount = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 0;
    if (lCount <= 0 || lCount > 65534) {
        std::fprintf(stderr, "usage: %s N (1 to 65534)\n", argv[0]);
        return 2;
    }
    const std::vector<std::string> asKinds = valdrn_test::SdrRecordsOfEveryType();
    std::vector<std::string> asRecords;
    for (long i = 0; i < lCount; ++i) {
        asRecords.push_back(asKinds[static_cast<size_t>(i) % asKinds.size()]);
    }
    const std::string sText = valdrn_test::SdrTextFile(asRecords);
    std::fwrite(sText.data(), 1, sText.size(), stdout);
    return 0;
}
