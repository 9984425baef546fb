#include "sdr/sdr_binary_reader.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/trace.h"

namespace {

constexpr unsigned short CRC16_POLYNOMIAL = 0x1021;
const unsigned char S_au8Magic[4] = {'K', 'R', 'N', 'W'};

struct CRCTable {
    unsigned short au16Value[256];
};

constexpr CRCTable BuildCRCTable()
{
    CRCTable table{};
    for (unsigned int uByte = 0; uByte < 256; ++uByte) {
        unsigned short u16Crc = static_cast<unsigned short>(uByte << 8);
        for (int iBit = 0; iBit < 8; ++iBit) {
            u16Crc = static_cast<unsigned short>((u16Crc & 0x8000) ? (u16Crc << 1) ^ CRC16_POLYNOMIAL : u16Crc << 1);
        }
        table.au16Value[uByte] = u16Crc;
    }
    return table;
}

constexpr CRCTable S_CRCTable = BuildCRCTable();

unsigned short LittleEndian16(const unsigned char* pu8Bytes)
{
    return static_cast<unsigned short>(pu8Bytes[0] | (pu8Bytes[1] << 8));
}

bool SumsToZero(const unsigned char* pu8Bytes, unsigned int uCount)
{
    unsigned int uSum = 0;
    for (unsigned int i = 0; i < uCount; ++i) {
        uSum += pu8Bytes[i];
    }
    return (uSum & 0xFF) == 0;
}

bool HasMagic(const unsigned char* pu8Data, unsigned char u8Version)
{
    return std::memcmp(pu8Data, S_au8Magic, sizeof S_au8Magic) == 0 && pu8Data[4] == u8Version;
}

// The three lines that name a record in the binary reader's messages.
void PrintErrorRecord(unsigned int uId, unsigned char u8Type, unsigned char u8Length)
{
    std::fputs("Error SDR record: \n", stderr);
    std::fprintf(stderr, "              => ID: 0x%02X \n", uId);
    std::fprintf(stderr, "              => Type: 0x%02X \n", u8Type);
    std::fprintf(stderr, "              => Length: 0x%02X \n", u8Length);
}

void ReportFormatError()
{
    std::fputs("SDR binary file format error:\n", stderr);
}

// A list holds one record less than SDR_LIST_SLOT_COUNT: the limit the
// message has always named.
bool ReportCountExceeded()
{
    std::fprintf(stderr, "The SDR record count exceeds %Xh records. \n", SDR_LIST_SLOT_COUNT);
    return false;
}

// Format 2 never stops at the list's limit by itself (its files are at
// most 64 KiB); the list must keep to it all the same.
bool HasFreeSlot(const SDRRecordList& list)
{
    return list.size() < SDR_LIST_SLOT_COUNT || ReportCountExceeded();
}

// Reads the record at *pulOffset and appends it: SDR_RECORD_OK or
// SDR_READ_FAILED.
unsigned int AppendBinRecord(const unsigned char* pu8Data, unsigned long ulSize, unsigned long* pulOffset,
                             SDRRecordList* pList)
{
    SDREntry entry = FreeSDRSlot();
    if (SDRReadOneBinRecord(pu8Data, ulSize, pulOffset, &entry) != SDR_RECORD_OK) {
        return SDR_READ_FAILED;
    }
    pList->push_back(entry);
    return SDR_RECORD_OK;
}

struct Format {
    int iVersion;
    unsigned short u16Count;
    unsigned long ulStart;
};

// Recognises the header; iVersion -1 when none matches. Each format is
// only tried when the file holds its whole header.
Format RecogniseFormat(const unsigned char* pu8Data, unsigned long ulSize)
{
    if (ulSize >= SDR_BIN_V2_HEADER_SIZE && IsNewVersionTwoSDRFile(pu8Data)) {
        return {2, LittleEndian16(pu8Data + 5), LittleEndian16(pu8Data + 16)};
    }
    if (ulSize >= SDR_BIN_V1_HEADER_SIZE && IsNewSDRFile(pu8Data)) {
        return {1, LittleEndian16(pu8Data + 5), SDR_BIN_V1_HEADER_SIZE};
    }
    if (ulSize >= SDR_BIN_V0_HEADER_SIZE && IsOldSDRFile(pu8Data)) {
        return {0, pu8Data[0], SDR_BIN_V0_HEADER_SIZE};
    }
    return {-1, 0, 0};
}

unsigned int ReadVersionZeroOrOneRecords(const unsigned char* pu8Data, unsigned long ulSize, const Format& format,
                                         SDRRecordList* pList)
{
    unsigned long ulOffset = format.ulStart;
    unsigned int uRead = 0;
    while (ulOffset < ulSize) {
        if (AppendBinRecord(pu8Data, ulSize, &ulOffset, pList) != SDR_RECORD_OK) {
            return SDR_READ_FAILED;
        }
        ++uRead;
        if (!HasFreeSlot(*pList)) {
            return SDR_READ_FAILED;
        }
    }
    // Too few and too many records are the same error.
    if (uRead != format.u16Count) {
        ReportFormatError();
        return SDR_READ_FAILED;
    }
    return SDR_READ_DONE;
}

}  // namespace

const unsigned short (&u16CRCTable)[256] = S_CRCTable.au16Value;

unsigned short GenerateCRC16(unsigned short u16Crc, unsigned char u8Byte)
{
    return static_cast<unsigned short>(u16CRCTable[((u16Crc >> 8) ^ u8Byte) & 0xFF] ^ (u16Crc << 8));
}

int PaddingBytesEncountered(unsigned long ulFrom, unsigned long ulTo, const unsigned char* pu8Data)
{
    for (unsigned long i = ulFrom; i < ulTo; ++i) {
        if (pu8Data[i] != 0xFF) {
            return 0;
        }
    }
    return 1;
}

int IsOldSDRFile(const unsigned char* pu8Data)
{
    return ((pu8Data[0] + pu8Data[1]) & 0xFF) == 0;
}

int IsNewSDRFile(const unsigned char* pu8Data)
{
    return HasMagic(pu8Data, 1) && SumsToZero(pu8Data, SDR_BIN_V1_HEADER_SIZE);
}

int IsNewVersionTwoSDRFile(const unsigned char* pu8Data)
{
    return HasMagic(pu8Data, 2) && SumsToZero(pu8Data, 8) && SumsToZero(pu8Data + 8, 13);
}

unsigned int SDRReadOneBinRecord(const unsigned char* pu8Data, unsigned long ulFileSize, unsigned long* pulOffset,
                                 SDREntry* psEntry)
{
    unsigned long ulOffset = *pulOffset;
    const unsigned char* pu8Record = pu8Data + ulOffset;
    psEntry->u8RecordType = pu8Record[SDR_HEADER_TYPE];
    psEntry->u8RecordLength = static_cast<unsigned char>(pu8Record[SDR_HEADER_BODY_LENGTH] + SDR_HEADER_LENGTH);
    psEntry->u8Cursor = psEntry->u8RecordLength;
    const unsigned char u8Total = psEntry->u8RecordLength;

    if (ulOffset + u8Total + 2 > ulFileSize) {
        std::fputs("Adding the following SDR record exceeds the total file size! \n", stderr);
        PrintErrorRecord(LittleEndian16(pu8Record), psEntry->u8RecordType, u8Total);
        return SDR_READ_FAILED;
    }
    // No SDR is longer than 0x40 bytes; a longer one would not fit its slot.
    if (u8Total > SDR_RECORD_DATA_SIZE) {
        std::fputs("SDR binary file format error. \n", stderr);
        std::fprintf(stderr, "Error position: 0x%02lX (file offset) \n", ulOffset + SDR_HEADER_BODY_LENGTH);
        std::fprintf(stderr, "Error cause: record length exceeds %u bytes! \n", SDR_RECORD_DATA_SIZE);
        PrintErrorRecord(LittleEndian16(pu8Record), psEntry->u8RecordType, u8Total);
        return SDR_READ_FAILED;
    }
    unsigned short u16Computed = 0;
    for (unsigned int i = 0; i < u8Total; ++i) {
        psEntry->au8RecordData[i] = pu8Record[i];
        u16Computed = GenerateCRC16(u16Computed, pu8Record[i]);
    }
    ulOffset += u8Total;
    const unsigned short u16Stored = LittleEndian16(pu8Data + ulOffset);
    DebugMessage("CRC 16: Calculated[%04X] vs FromData[%04X] \n", u16Computed, u16Stored);
    if (u16Computed != u16Stored) {
        std::fputs("SDR binary file format error. \n", stderr);
        std::fprintf(stderr, "Error position: 0x%02lX (file offset) \n", ulOffset);
        std::fputs("Error cause: CRC 16 checking failed! \n", stderr);
        std::fprintf(stderr, "              => Expected value: 0x%04X \n", u16Stored);
        std::fprintf(stderr, "              => Obtained value: 0x%04X \n", u16Computed);
        PrintErrorRecord(psEntry->au8RecordData[0], psEntry->u8RecordType, u8Total);
        *pulOffset = ulOffset;
        return SDR_READ_FAILED;
    }
    *pulOffset = ulOffset + 2;
    psEntry->u16RecordID = LittleEndian16(psEntry->au8RecordData);
    DebugMessage("Record Type = %x \n", psEntry->u8RecordType);
    DebugMessage("Record Length = %x \n", u8Total);
    DebugMessage("Record ID = %x \n", psEntry->u16RecordID);
    return SDR_RECORD_OK;
}

unsigned int SDRReadVersionTwoBinRecords(const unsigned char* pu8Data, unsigned long ulFileSize,
                                         unsigned short u16Count, unsigned long ulOffset, SDRRecordList* pList)
{
    unsigned int uRead = 0;
    // A file that ends before the header's count is reached is accepted.
    while (ulOffset < ulFileSize) {
        if (!HasFreeSlot(*pList)) {
            return SDR_READ_FAILED;
        }
        if (AppendBinRecord(pu8Data, ulFileSize, &ulOffset, pList) != SDR_RECORD_OK) {
            ReportFormatError();
            return SDR_READ_FAILED;
        }
        ++uRead;
        if (uRead == u16Count) {
            if (PaddingBytesEncountered(ulOffset, ulFileSize, pu8Data)) {
                DebugMessage("Padding bytes of 0xFF reached. \n");
                return SDR_READ_DONE;
            }
            ReportFormatError();
            return SDR_READ_FAILED;
        }
    }
    return SDR_READ_DONE;
}

namespace {

unsigned int ReadSDRBinData(const unsigned char* pu8Data, unsigned long ulSize, SDRRecordList* pList)
{
    const Format format = RecogniseFormat(pu8Data, ulSize);
    if (format.iVersion < 0) {
        return SDR_NOT_BINARY;
    }
    if (format.iVersion == 2 && LittleEndian16(pu8Data + 18) != ulSize) {
        std::fputs("<ERROR> Actual file size does not match the file size specified in the header! \n", stderr);
        return SDR_READ_FAILED;
    }
    std::printf("Recognize SDR File as binary format version %d (%d records) \n", format.iVersion, format.u16Count);
    std::printf("Start to process SDR file (total 0x%lX bytes) \n", ulSize);
    if (format.iVersion == 2) {
        return SDRReadVersionTwoBinRecords(pu8Data, ulSize, format.u16Count, format.ulStart, pList) == SDR_READ_DONE
                   ? SDR_READ_DONE
                   : SDR_READ_FAILED;
    }
    if (!HasFreeSlot(*pList)) {
        return SDR_READ_FAILED;
    }
    return ReadVersionZeroOrOneRecords(pu8Data, ulSize, format, pList);
}

}  // namespace

unsigned int ReadSDRBinFile(const char* pchPath, SDRRecordList* pList)
{
    if (pchPath == nullptr || pList == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return SDR_READ_FAILED;
    }
    FILE* pFile = std::fopen(pchPath, "rb");
    if (pFile == nullptr) {
        std::fprintf(stderr, "<ERROR> Failure to open SDR file %s. \n", pchPath);
        return SDR_READ_FAILED;
    }
    long lSize = -1;
    if (std::fseek(pFile, 0, SEEK_END) == 0) {
        lSize = std::ftell(pFile);
    }
    if (lSize < 1) {
        std::fprintf(stderr, "<ERROR> SDR file empty, %s.\n", pchPath);
        std::fclose(pFile);
        return SDR_READ_FAILED;
    }
    const unsigned long ulSize = static_cast<unsigned long>(lSize);
    // Zero-filled, with room for a record header read at the very end, so
    // that a truncated record is reported rather than read past the buffer.
    auto* pu8Data = static_cast<unsigned char*>(std::calloc(ulSize + SDR_BIN_V2_HEADER_SIZE, 1));
    if (pu8Data == nullptr) {
        std::fprintf(stderr, "<ERROR> Memory allocation error for SDR file %s.\n", pchPath);
        std::fclose(pFile);
        return SDR_READ_FAILED;
    }
    // The read count is 16 bits wide: a file of 64 KiB or more is read only
    // in part, and one of exactly 64 KiB not at all.
    std::rewind(pFile);
    const size_t uRead = std::fread(pu8Data, 1, ulSize % 65536, pFile);
    std::fclose(pFile);
    unsigned int uResult = SDR_READ_FAILED;
    if (uRead >= 1) {
        uResult = ReadSDRBinData(pu8Data, ulSize, pList);
    }
    std::free(pu8Data);
    return uResult;
}
