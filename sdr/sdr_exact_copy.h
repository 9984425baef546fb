// The exact copy of an SDR repository: what VALDRN saves before it erases
// a repository whose records an SDR text file cannot hold (a type or an
// SDR version the tool does not know, a record longer than a list slot, an
// ID string with a NUL or a line feed), and what -d puts back as it is.
//
// The layout is SDR binary format 2 (21-byte header, each record followed
// by its CRC-16/XMODEM), with "VALDRNEX" in header bytes 8-15, which the
// format leaves free. Records are kept byte for byte, whatever their
// content, bodies up to 255 bytes. The header's file-size field holds the
// size modulo 65536: a copy may be larger than the field can say.
#pragma once

#include <string>
#include <vector>

// A record as the BMC holds it: the 5-byte header, then the body.
using SDRRecordBytes = std::string;

std::string ExactSDRCopyBytes(const std::vector<SDRRecordBytes>& asRecords);

// True when the bytes begin as an exact copy does (its header and marker).
bool IsExactSDRCopy(const std::string& sBytes);

// The copy's records, checked (header, sizes, every CRC); false after one
// "<ERROR> " line that names the file and what is wrong.
bool ReadExactSDRCopy(const std::string& sBytes, const char* pchPath, std::vector<SDRRecordBytes>* pasRecords);

// A record's total length as its header says (the body-length byte plus
// the header), never wrapped; 0 when there is no whole header.
unsigned int SDRRecordTotalLength(const SDRRecordBytes& sRecord);

enum class ExactCopyFile { NOT_EXACT_COPY, READ, DAMAGED };
// The file's records when it is an exact copy (and "Recognize SDR File as
// an exact copy of a repository (N records) " on standard output); DAMAGED
// after the "<ERROR> " line; NOT_EXACT_COPY, silently, for any other file
// (also one that cannot be read: its reader will say so).
ExactCopyFile ReadExactSDRCopyFile(const char* pchPath, std::vector<SDRRecordBytes>* pasRecords);
