// SDR records: the record-type table, the checks that decide
// whether a record is acceptable, and the comparison of two lists.
#pragma once

#include "base/sdr_entry.h"

constexpr unsigned char SDR_TYPE_OEM = 0xC0;
// Types 0x00 to 0x14 have rows in the tables below.
constexpr unsigned int SDR_TYPE_TABLE_SIZE = 0x15;

// Header byte positions, as the header check takes them.
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

// Total lengths allowed per record type (0 where the type is reserved or
// invalid); OEM records (0xC0) have their own pair.
extern const unsigned char SDR_RECORD_MIN_LEN[SDR_TYPE_TABLE_SIZE];
extern const unsigned char SDR_RECORD_MAX_LEN[SDR_TYPE_TABLE_SIZE];
constexpr unsigned char SDR_RECORD_MIN_LEN_TYPE_C0 = 0x08;
constexpr unsigned char SDR_RECORD_MAX_LEN_TYPE_C0 = 0x40;

// The three parts of every check's diagnostic on standard error: where the
// data came from (lead line), what is wrong (the formatted message), and
// the line or record it concerns.
void ReportSDRCheckFailure(int iMode, int iNumber, const char* pchFormat, ...) __attribute__((format(printf, 3, 4)));

// Every check returns 1 (good) or 0 (bad, after its diagnostic on standard
// error: a lead line, the message and the place).
int SDRValidateRecordType(int iMode, int iNumber, unsigned char u8Type);
int SDRValidateRecordLength(int iMode, int iNumber, const SDREntry* psEntry);
// Checks u8Value as the record's header byte at u8Position.
int SDRValidateRecordHeader(int iMode, int iNumber, const SDREntry* psEntry, unsigned char u8Position,
                            unsigned char u8Value);
// Checks every record of a list (type, length, header bytes 0-3); entries
// marked free are passed over.
int SDRValidateRawData(const SDRRecordList& list);

int SDRHasIDString(unsigned char u8Type);
// Sum of the record lengths of a list (wraps at 16 bits).
unsigned short GetRequiredSDRSize(const SDRRecordList& list);
// 1 when a file's records and the repository's are the same records.
int SDRCompare(const SDRRecordList& fileList, const SDRRecordList& bmcList);

// A record that differs between a file and the repository, paired by
// order as SDRCompare pairs them (free slots passed over). A record found
// on one side only has the other side's position -1 and no bytes.
struct SDRDifference {
    int iFilePosition = -1;  // from 0, in the file's list
    int iBMCPosition = -1;   // from 0, in the repository's list
    std::vector<unsigned char> au8FileBytes;
    std::vector<unsigned char> au8BMCBytes;
};
// Every difference SDRCompare would stop at, not only the first: the type,
// the length or a byte past the record ID. Says nothing.
std::vector<SDRDifference> SDRDifferences(const SDRRecordList& fileList, const SDRRecordList& bmcList);
// Verbose trace of one record fetched from the BMC, the u16Index-th
// (from 0) of u16Total; psEntry null when the index is past the limit.
void DebugPrintGetSDR(unsigned short u16RecordID, unsigned short u16NextRecordID, unsigned short u16Index,
                      unsigned short u16Total, const SDREntry* psEntry);
