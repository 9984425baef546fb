// SDR records and binary SDR files built byte by byte for the tests, with
// CRCs and checksums computed here (bitwise, independently of the
// program's table) so that every fixture can be audited.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sdr/sdr_record.h"

namespace valdrn_test {

// Bitwise CRC-16/XMODEM.
uint16_t Crc16Xmodem(const std::string& sBytes);
// The byte that makes the bytes sum to zero modulo 256.
uint8_t ZeroSumChecksum(const std::string& sBytes);

// A record: ID, SDR version 0x51, type, body length, then the body.
std::string SdrRecord(uint16_t u16Id, uint8_t u8Type, const std::string& sBody);
// A record of a type without an ID string, or an OEM record, of the given
// total length, its body a recognisable pattern.
std::string SdrFixedRecord(uint16_t u16Id, uint8_t u8Type, uint8_t u8TotalLength);
// A record of a type with an ID string: pattern bytes up to the string,
// the type/length byte (type code 11b) and the 8-bit string.
std::string SdrNamedRecord(uint16_t u16Id, uint8_t u8Type, const std::string& sName);
// The same with another type/length byte and raw string bytes.
std::string SdrRecordWithIdBytes(uint16_t u16Id, uint8_t u8Type, uint8_t u8TypeLength, const std::string& sIdBytes);
// One record of every valid type, with and without ID strings.
std::vector<std::string> SdrRecordsOfEveryType();

// A record followed by its CRC, little-endian.
std::string WithCrc(const std::string& sRecord);

std::string SdrBinaryFormat0(const std::vector<std::string>& asRecords, int iCount = -1);
std::string SdrBinaryFormat1(const std::vector<std::string>& asRecords, int iCount = -1);
// iSizeAdjust is added to the real size in the header's size field.
std::string SdrBinaryFormat2(const std::vector<std::string>& asRecords, int iCount = -1,
                             const std::string& sPadding = "", int iSizeAdjust = 0);

// A record list of uCount entries, every one free.
inline SDRRecordList FreeSlots(unsigned int uCount)
{
    return SDRRecordList(uCount, FreeSDRSlot());
}

// Puts a record into a list slot as a reader would.
void PutRecord(SDREntry& entry, const std::string& sRecord);
std::string RecordOf(const SDREntry& entry);

// The text, with its byte-order mark, in UTF-8 or UTF-16LE.
std::string AsUtf8File(const std::string& sLatin1);
std::string AsUtf16File(const std::string& sLatin1);

}  // namespace valdrn_test

namespace valdrn_test {

// A record in SDR text, laid out unlike the writer does (16 hex bytes to a
// line, lower-case digits) so that the reader is tried on other layouts.
std::string SdrTextRecord(const std::string& sRecord);
// A whole text file: "_SDR (", the records, ")".
std::string SdrTextFile(const std::vector<std::string>& asRecords);

}  // namespace valdrn_test
