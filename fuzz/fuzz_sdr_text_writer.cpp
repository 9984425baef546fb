// The SDR text writer on repositories: whatever it writes must read back
// as the same records, in each encoding.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "base/working_storage.h"
#include "fuzz/fuzz_support.h"
#include "sdr/sdr_record.h"
#include "sdr/sdr_text_reader.h"
#include "sdr/sdr_text_writer.h"

using namespace valdrn_fuzz;

namespace {

// The input as records back to back, each as long as its header says, put
// into the repository list as an upload does; the count.
unsigned short FillRepository(const uint8_t* pu8Data, std::size_t uSize)
{
    unsigned short u16Count = 0;
    std::size_t uOffset = 0;
    while (uOffset + SDR_HEADER_LENGTH <= uSize && u16Count < SDR_MAX_RECORD_COUNT) {
        const std::size_t uLength = SDR_HEADER_LENGTH + pu8Data[uOffset + SDR_HEADER_BODY_LENGTH];
        if (uLength > SDR_RECORD_DATA_SIZE || uOffset + uLength > uSize) {
            break;
        }
        const auto u16ID = static_cast<unsigned short>(pu8Data[uOffset] | (pu8Data[uOffset + 1] << 8));
        if (u16ID == SDR_FREE_SLOT_ID) {
            uOffset += uLength;  // that ID marks a free slot, not a record
            continue;
        }
        SDREntry& entry = G_psRepositorySDREntryList[u16Count++];
        entry.u16RecordID = u16ID;
        entry.u8RecordType = pu8Data[uOffset + SDR_HEADER_TYPE];
        entry.u8RecordLength = static_cast<unsigned char>(uLength);
        std::memcpy(entry.au8RecordData, pu8Data + uOffset, uLength);
        uOffset += uLength;
    }
    return u16Count;
}

bool SameRecords(unsigned short u16Count)
{
    for (unsigned int i = 0; i < u16Count; ++i) {
        const SDREntry& written = G_psRepositorySDREntryList[i];
        const SDREntry& read = G_psLocalSDREntryList[i];
        if (written.u8RecordLength != read.u8RecordLength ||
            std::memcmp(written.au8RecordData, read.au8RecordData, written.u8RecordLength) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    InitWorkingStorage();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    static const std::string sPath = ScratchFile("out.sdr");
    const unsigned short u16Count = FillRepository(pu8Data, uSize);
    if (u16Count > 0 && SDRValidateRawData(G_psRepositorySDREntryList)) {
        for (unsigned int u32Encoding = 0; u32Encoding < 3; ++u32Encoding) {
            if (SaveSDRFile(sPath.c_str(), u32Encoding) == 0) {
                continue;  // refused (an ID string an 8-bit file cannot hold), reported
            }
            unsigned short u16Read = 0;
            if (!ReadSDRFile(sPath.c_str(), &u16Read)) {
                Finding("a written SDR file does not read back");
            }
            if (u16Read != u16Count || !SameRecords(u16Count) || !SDRCompare(u16Read, u16Count)) {
                Finding("a written SDR file reads back as other records");
            }
            MarkSDRSlotsFree(G_psLocalSDREntryList, u16Count);
        }
    }
    ResetSDRLists(uSize);
    return 0;
}
