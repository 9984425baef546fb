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

// The input as records back to back, each as long as its header says, as
// an upload lists them.
SDRRecordList RepositoryOf(const uint8_t* pu8Data, std::size_t uSize)
{
    SDRRecordList repository;
    std::size_t uOffset = 0;
    while (uOffset + SDR_HEADER_LENGTH <= uSize && repository.size() < SDR_MAX_RECORD_COUNT) {
        const std::size_t uLength = SDR_HEADER_LENGTH + pu8Data[uOffset + SDR_HEADER_BODY_LENGTH];
        if (uLength > SDR_RECORD_DATA_SIZE || uOffset + uLength > uSize) {
            break;
        }
        const auto u16ID = static_cast<unsigned short>(pu8Data[uOffset] | (pu8Data[uOffset + 1] << 8));
        if (u16ID == SDR_FREE_SLOT_ID) {
            uOffset += uLength;  // that ID marks a free slot, not a record
            continue;
        }
        SDREntry& entry = repository.emplace_back(FreeSDRSlot());
        entry.u16RecordID = u16ID;
        entry.u8RecordType = pu8Data[uOffset + SDR_HEADER_TYPE];
        entry.u8RecordLength = static_cast<unsigned char>(uLength);
        std::memcpy(entry.au8RecordData, pu8Data + uOffset, uLength);
        uOffset += uLength;
    }
    return repository;
}

bool SameRecords(const SDRRecordList& written, const SDRRecordList& read)
{
    if (written.size() != read.size()) {
        return false;
    }
    for (std::size_t i = 0; i < written.size(); ++i) {
        const SDREntry& writtenRecord = written[i];
        const SDREntry& readRecord = read[i];
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
    const SDRRecordList repository = RepositoryOf(pu8Data, uSize);
    if (!repository.empty() && SDRValidateRawData(repository)) {
        for (unsigned int u32Encoding = 0; u32Encoding < 3; ++u32Encoding) {
            if (SaveSDRFile(sPath.c_str(), repository, u32Encoding) == 0) {
                continue;  // refused (an ID string an 8-bit file cannot hold), reported
            }
            SDRRecordList local;
            if (!ReadSDRFile(sPath.c_str(), &local)) {
                Finding("a written SDR file does not read back");
            }
            if (!SameRecords(repository, local) || !SDRCompare(local, repository)) {
                Finding("a written SDR file reads back as other records");
            }
        }
    }
    return 0;
}
