// Loading an SDR file, binary or text, into the local record list.
#pragma once

#include "encoding/text_encoding.h"
#include "sdr/sdr_record.h"

// Results of SDRReadOneRecord and SDRReadRecordData.
enum eSDRTextResult {
    SDR_TEXT_ERROR = 0,      // reported
    SDR_TEXT_BLOCK_END = 2,  // ")" stood where a record should start
    SDR_TEXT_RECORD_READ = 3,
};

// The one entry for SDR files: binary formats first, then the text format.
// The file's records are appended to the list. 1 on success, 0 on failure
// (reported; the list then holds what was read before the error).
int ReadSDRFile(const char* pchPath, SDRRecordList* pList);

// Checks the block structure of the whole file, then leaves it just after
// the "_SDR (" line with the line counter at that line. 1 or 0.
int SDRValidateStartEndTag(TextReaderContext* psContext);
int SDRReadOneRecord(TextReaderContext* psContext, SDREntry* psEntry);
// Reads the next non-blank line, which must be the tag and one hex byte.
// 1 read, 2 the line was ")" (for "_SDR_TYPE" only), 0 error.
int SDRReadRecordTypeLength(TextReaderContext* psContext, const char* pchTag, unsigned char* pu8Value);
int SDRReadRecordData(TextReaderContext* psContext, SDREntry* psEntry);
