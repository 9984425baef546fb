// SDR binary files, format versions 0, 1 and 2: recognised by their
// headers, every record CRC-checked, read into the local record list.
#pragma once

#include "sdr/sdr_record.h"

enum eSDRBinaryResult : unsigned int {
    SDR_RECORD_OK = 3,
    SDR_NOT_BINARY = 4,  // not a binary SDR file; nothing reported
    SDR_READ_DONE = 5,
    SDR_READ_FAILED = 6,  // error, already reported
};

constexpr unsigned int SDR_BIN_V2_HEADER_SIZE = 21;
constexpr unsigned int SDR_BIN_V1_HEADER_SIZE = 8;
constexpr unsigned int SDR_BIN_V0_HEADER_SIZE = 2;

// CRC-16/XMODEM: polynomial 0x1021, MSB first, initial value 0, no final XOR.
extern const unsigned short (&u16CRCTable)[256];
unsigned short GenerateCRC16(unsigned short u16Crc, unsigned char u8Byte);

// 1 when every byte in [from, to) is 0xFF, also for an empty range.
int PaddingBytesEncountered(unsigned long ulFrom, unsigned long ulTo, const unsigned char* pu8Data);
// Header recognisers; the caller makes sure the data holds the header.
int IsOldSDRFile(const unsigned char* pu8Data);            // format 0
int IsNewSDRFile(const unsigned char* pu8Data);            // format 1
int IsNewVersionTwoSDRFile(const unsigned char* pu8Data);  // format 2

// Reads the record at *pulOffset into the entry and moves the offset past
// it and its CRC. SDR_RECORD_OK or SDR_READ_FAILED.
unsigned int SDRReadOneBinRecord(const unsigned char* pu8Data, unsigned long ulFileSize, unsigned long* pulOffset,
                                 SDREntry* psEntry);
// The record loop of format 2, appending to the list. SDR_READ_DONE or
// SDR_READ_FAILED.
unsigned int SDRReadVersionTwoBinRecords(const unsigned char* pu8Data, unsigned long ulFileSize,
                                         unsigned short u16Count, unsigned long ulOffset, SDRRecordList* pList);
// The whole file, its records appended to the list. SDR_NOT_BINARY,
// SDR_READ_DONE or SDR_READ_FAILED.
unsigned int ReadSDRBinFile(const char* pchPath, SDRRecordList* pList);
