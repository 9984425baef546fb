#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "sdr/sdr_exact_copy.h"

using namespace valdrn_fuzz;

// Any bytes, as a file -d or -t might be given: read as an exact copy,
// and what was read written again gives the same bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    const std::string sBytes(reinterpret_cast<const char*>(pu8Data), uSize);
    std::vector<SDRRecordBytes> asRecords;
    if (ReadExactSDRCopy(sBytes, "in.bin", &asRecords) && ExactSDRCopyBytes(asRecords) != sBytes) {
        Finding("an exact copy that does not write back as it was read");
    }
    return 0;
}
