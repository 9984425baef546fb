// The words and layout shared by the SDR text reader and writer.
#pragma once

#include "sdr/sdr_record.h"

#define SDR_TAG_BLOCK_START "_SDR ("
#define SDR_TAG_DISABLED_START "_DISABLED_SDR ("
#define SDR_TAG_BLOCK_END ")"
#define SDR_TAG_TYPE "_SDR_TYPE"
#define SDR_TAG_LENGTH "_REC_LEN"

// Lines of an SDR text file hold at most 254 characters.
constexpr unsigned int SDR_LINE_BUFFER_SIZE = 255;

// Position of the first ID-string byte per record type 0x00-0x14 (the
// type/length byte stands just before it); for types without an ID string
// the record's full length.
extern const unsigned char SDR_STRING_START_POSITION[SDR_TYPE_TABLE_SIZE];

// The ID-string start of a record of a valid type; OEM records (0xC0) end
// at their own length, at most 0x40.
unsigned char SDRStringStart(unsigned char u8Type, unsigned char u8RecordLength);
