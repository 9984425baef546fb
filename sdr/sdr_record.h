// SDR records: the list slot, the record-type table, the checks that decide
// whether a record is acceptable, and the comparison of two lists.
#pragma once

constexpr unsigned int SDR_RECORD_DATA_SIZE = 101;
constexpr unsigned int SDR_LIST_SLOT_COUNT = 65535;
constexpr unsigned short SDR_FREE_SLOT_ID = 0xFFFF;
// A list holds at most this many records; the last slot stays free.
constexpr unsigned int SDR_MAX_RECORD_COUNT = 65534;

constexpr unsigned char SDR_VERSION = 0x51;
constexpr unsigned char SDR_HEADER_LENGTH = 5;
constexpr unsigned char SDR_TYPE_OEM = 0xC0;
// Types 0x00 to 0x14 have rows in the tables below.
constexpr unsigned int SDR_TYPE_TABLE_SIZE = 0x15;

// Header byte positions, as used in u8Cursor by the validators.
enum eSDRHeaderByte {
    SDR_HEADER_ID_LOW = 0,
    SDR_HEADER_ID_HIGH = 1,
    SDR_HEADER_VERSION = 2,
    SDR_HEADER_TYPE = 3,
    SDR_HEADER_BODY_LENGTH = 4,
};

// Where the data being checked came from: its number in messages is a
// line number (text file) or a record number (binary file or BMC).
enum eSDRCheckMode {
    SDR_CHECK_TEXT_FILE = 0,
    SDR_CHECK_MEMORY = 1,
};

struct SDREntry {
    unsigned short u16RecordID;  // 0xFFFF marks a free slot
    unsigned char u8RecordType;
    unsigned char u8RecordLength;  // total length, the 5 header bytes included
    unsigned char u8Cursor;        // work byte of readers, validators and transfers
    unsigned char au8RecordData[SDR_RECORD_DATA_SIZE];
};

static_assert(sizeof(SDREntry) == 106, "an SDR list slot is 106 bytes");

// Total lengths allowed per record type (0 where the type is reserved or
// invalid); OEM records (0xC0) have their own pair.
extern const unsigned char SDR_RECORD_MIN_LEN[SDR_TYPE_TABLE_SIZE];
extern const unsigned char SDR_RECORD_MAX_LEN[SDR_TYPE_TABLE_SIZE];
constexpr unsigned char SDR_RECORD_MIN_LEN_TYPE_C0 = 0x08;
constexpr unsigned char SDR_RECORD_MAX_LEN_TYPE_C0 = 0x40;

// A slot holds a record when it has a length and is not marked free.
inline bool IsSDRSlotOccupied(const SDREntry& entry)
{
    return entry.u8RecordLength != 0 && entry.u16RecordID != SDR_FREE_SLOT_ID;
}

// The three parts of every check's diagnostic on standard error: where the
// data came from (lead line), what is wrong (the formatted message), and
// the line or record it concerns.
void ReportSDRCheckFailure(int iMode, int iNumber, const char* pchFormat, ...) __attribute__((format(printf, 3, 4)));

// Every check returns 1 (good) or 0 (bad, after its diagnostic on standard
// error: a lead line, the message and the place).
int SDRValidateRecordType(int iMode, int iNumber, unsigned char u8Type);
int SDRValidateRecordLength(int iMode, int iNumber, const SDREntry* psEntry);
// Checks the header byte whose position stands in psEntry->u8Cursor.
int SDRValidateRecordHeader(int iMode, int iNumber, const SDREntry* psEntry, unsigned char u8Value);
// Checks every occupied slot of a list (type, length, header bytes 0-3).
int SDRValidateRawData(SDREntry* psList);

int SDRHasIDString(unsigned char u8Type);
// Sum of the record lengths of local-list slots 0 to count-1 (wraps at 16 bits).
unsigned short GetRequiredSDRSize(unsigned short u16Count);
// 1 when the local list and the repository list hold the same records.
int SDRCompare(unsigned short u16FileCount, unsigned short u16BMCCount);
// Verbose trace of one record fetched from the BMC into the repository list.
void DebugPrintGetSDR(unsigned short u16RecordID, unsigned short u16NextRecordID, unsigned short u16Index,
                      unsigned short u16Total);
