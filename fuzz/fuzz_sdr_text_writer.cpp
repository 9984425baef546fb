// The SDR text writer on repositories: whatever it writes must read back
// as the same records, in each encoding.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/fuzz_support.h"
#include "sdr/sdr_record.h"
#include "sdr/sdr_text_reader.h"
#include "sdr/sdr_text_writer.h"

using namespace valdrn_fuzz;

namespace {

// The input as records back to back, each as long as its header says, put
// into the repository list as an upload does; the count.
unsigned short FillRepository(const uint8_t* pu8Data, std::size_t uSize, SDRList repository)
{
    unsigned short u16Count = 0;
    std::size_t uOffset = 0;
    while (uOffset + SDR_HEADER_LENGTH <= uSize && u16Count + 1u < repository.uSlotCount) {
        const std::size_t uLength = SDR_HEADER_LENGTH + pu8Data[uOffset + SDR_HEADER_BODY_LENGTH];
        if (uLength > SDR_RECORD_DATA_SIZE || uOffset + uLength > uSize) {
            break;
        }
        const auto u16ID = static_cast<unsigned short>(pu8Data[uOffset] | (pu8Data[uOffset + 1] << 8));
        if (u16ID == SDR_FREE_SLOT_ID) {
            uOffset += uLength;  // that ID marks a free slot, not a record
            continue;
        }
        SDREntry& entry = repository.psSlots[u16Count++];
        entry.u16RecordID = u16ID;
        entry.u8RecordType = pu8Data[uOffset + SDR_HEADER_TYPE];
        entry.u8RecordLength = static_cast<unsigned char>(uLength);
        std::memcpy(entry.au8RecordData, pu8Data + uOffset, uLength);
        uOffset += uLength;
    }
    return u16Count;
}

bool SameRecords(SDRList written, SDRList read, unsigned short u16Count)
{
    for (unsigned int i = 0; i < u16Count; ++i) {
        const SDREntry& writtenRecord = written.psSlots[i];
        const SDREntry& readRecord = read.psSlots[i];
        if (writtenRecord.u8RecordLength != readRecord.u8RecordLength ||
            std::memcmp(writtenRecord.au8RecordData, readRecord.au8RecordData, writtenRecord.u8RecordLength) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    static const std::string sPath = ScratchFile("out.sdr");
    static ScratchSDRList repositorySlots;
    static ScratchSDRList localSlots;
    const SDRList repository = repositorySlots.ForInput(uSize);
    const unsigned short u16Count = FillRepository(pu8Data, uSize, repository);
    if (u16Count > 0 && SDRValidateRecords(repository)) {
        for (unsigned int u32Encoding = 0; u32Encoding < 3; ++u32Encoding) {
            if (SaveSDRListToFile(sPath.c_str(), repository, u32Encoding) == 0) {
                continue;  // refused (an ID string an 8-bit file cannot hold), reported
            }
            const SDRList local = localSlots.ForInput(uSize);
            unsigned short u16Read = 0;
            if (!ReadSDRFileToList(sPath.c_str(), local, &u16Read)) {
                Finding("a written SDR file does not read back");
            }
            if (u16Read != u16Count || !SameRecords(repository, local, u16Count) ||
                !CompareSDRLists(local, u16Read, repository, u16Count)) {
                Finding("a written SDR file reads back as other records");
            }
        }
    }
    return 0;
}
