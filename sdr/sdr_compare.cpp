#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/trace.h"
#include "sdr/sdr_record.h"

namespace {

// The next entry at or after uIndex that is not marked free, or uCount.
unsigned int NextRecordSlot(const SDRRecordList& list, unsigned int uIndex, unsigned int uCount)
{
    while (uIndex < uCount && list[uIndex].u16RecordID == SDR_FREE_SLOT_ID) {
        ++uIndex;
    }
    return uIndex;
}

// A record's length as far as its slot can hold it.
unsigned short StoredLength(const SDREntry& entry)
{
    return entry.u8RecordLength < SDR_RECORD_DATA_SIZE ? entry.u8RecordLength : SDR_RECORD_DATA_SIZE;
}

void TraceRecord(const char* pchFormat, unsigned int uIndex, const SDREntry& entry)
{
    // Both fields show the position plus one, not the record ID: the BMC
    // assigns IDs of its own.
    DebugMessage(pchFormat, uIndex + 1, uIndex + 1);
    DebugPrintArray(entry.au8RecordData, StoredLength(entry));
}

}  // namespace

int SDRCompare(const SDRRecordList& fileList, const SDRRecordList& bmcList)
{
    // Both lists keep to SDR_MAX_RECORD_COUNT: their sizes fit 16 bits.
    const auto u16FileCount = static_cast<unsigned short>(fileList.size());
    const auto u16BMCCount = static_cast<unsigned short>(bmcList.size());
    DebugMessage("Record number: in local file is %d, in BMC is %d \n", u16FileCount, u16BMCCount);
    if (u16FileCount != u16BMCCount) {
        std::fprintf(stderr, "Record number different: in file is %d, in BMC is %d\n", u16FileCount, u16BMCCount);
        return 0;
    }
    const unsigned int uCount = u16FileCount;
    unsigned int i = 0;
    unsigned int j = 0;
    for (;;) {
        i = NextRecordSlot(fileList, i, uCount);
        j = NextRecordSlot(bmcList, j, uCount);
        // Records left over on one side after free slots are not looked
        // at: the counts already agree.
        if (i >= uCount || j >= uCount) {
            return 1;
        }
        const SDREntry& fileRecord = fileList[i];
        const SDREntry& bmcRecord = bmcList[j];
        TraceRecord("File Seq=%04d, ID=%04Xh, Data=", i, fileRecord);
        TraceRecord("BMC  Seq=%04d, ID=%04Xh, Data=", j, bmcRecord);
        if (fileRecord.u8RecordType != bmcRecord.u8RecordType) {
            std::fprintf(stderr, "<ERROR> Different record type in record %u!\n", i);
            return 0;
        }
        if (fileRecord.u8RecordLength != bmcRecord.u8RecordLength) {
            std::fprintf(stderr, "Different record length in record %u!\n", i);
            return 0;
        }
        // Bytes 0 and 1, the record ID, are the BMC's to choose.
        for (unsigned int uPosition = 2; uPosition < StoredLength(fileRecord); ++uPosition) {
            if (fileRecord.au8RecordData[uPosition] != bmcRecord.au8RecordData[uPosition]) {
                std::fprintf(stderr, "<ERROR> Different record data in record %u, %u  byte!\n", i, uPosition);
                return 0;
            }
        }
        ++i;
        ++j;
    }
}

namespace {

std::vector<unsigned char> RecordBytes(const SDREntry& entry)
{
    return std::vector<unsigned char>(entry.au8RecordData, entry.au8RecordData + StoredLength(entry));
}

bool SameRecord(const SDREntry& fileRecord, const SDREntry& bmcRecord)
{
    return fileRecord.u8RecordType == bmcRecord.u8RecordType &&
           fileRecord.u8RecordLength == bmcRecord.u8RecordLength &&
           std::equal(fileRecord.au8RecordData + 2, fileRecord.au8RecordData + StoredLength(fileRecord),
                      bmcRecord.au8RecordData + 2);
}

}  // namespace

std::vector<SDRDifference> SDRDifferences(const SDRRecordList& fileList, const SDRRecordList& bmcList)
{
    std::vector<SDRDifference> asDifferences;
    const auto uFileCount = static_cast<unsigned int>(fileList.size());
    const auto uBMCCount = static_cast<unsigned int>(bmcList.size());
    unsigned int i = NextRecordSlot(fileList, 0, uFileCount);
    unsigned int j = NextRecordSlot(bmcList, 0, uBMCCount);
    while (i < uFileCount || j < uBMCCount) {
        SDRDifference difference;
        if (i < uFileCount) {
            difference.iFilePosition = static_cast<int>(i);
            difference.au8FileBytes = RecordBytes(fileList[i]);
        }
        if (j < uBMCCount) {
            difference.iBMCPosition = static_cast<int>(j);
            difference.au8BMCBytes = RecordBytes(bmcList[j]);
        }
        if (i >= uFileCount || j >= uBMCCount || !SameRecord(fileList[i], bmcList[j])) {
            asDifferences.push_back(std::move(difference));
        }
        i = i < uFileCount ? NextRecordSlot(fileList, i + 1, uFileCount) : i;
        j = j < uBMCCount ? NextRecordSlot(bmcList, j + 1, uBMCCount) : j;
    }
    return asDifferences;
}

void DebugPrintGetSDR(unsigned short u16RecordID, unsigned short u16NextRecordID, unsigned short u16Index,
                      unsigned short u16Total, const SDREntry* psEntry)
{
    if (!G_bVerboseMode) {
        return;
    }
    DebugMessage("   SDRRecordID=%04X, RecordLength=%04X\n", u16RecordID, psEntry ? psEntry->u8RecordLength : 0);
    DebugMessage("   RecordData=");
    if (psEntry == nullptr) {
        DebugMessage("SDR record size too big\n");
    } else {
        DebugPrintArray(psEntry->au8RecordData, StoredLength(*psEntry));
    }
    DebugMessage("   RecordGot=%X, RecordTotal=%X, RecordLimit=%04X\n", u16Index + 1, u16Total, 0xFFFF);
    DebugMessage("   NextSDRRecordID=%04X\n", u16NextRecordID);
}
