#include "sdr/sdr_record.h"

#include <cstdarg>
#include <cstdio>

//                                           00    01    02    03    04-07                   08    09
const unsigned char SDR_RECORD_MIN_LEN[SDR_TYPE_TABLE_SIZE] = {0, 0x30, 0x20, 0x11, 0, 0, 0, 0, 0x10, 0x20,
                                                               // 0A-0F          10    11    12    13    14
                                                               0, 0, 0, 0, 0, 0, 0x10, 0x10, 0x10, 0x20, 0x10};
const unsigned char SDR_RECORD_MAX_LEN[SDR_TYPE_TABLE_SIZE] = {0, 0x40, 0x30, 0x21, 0, 0,    0,    0,    0x10, 0x20, 0,
                                                               0, 0,    0,    0,    0, 0x20, 0x20, 0x20, 0x20, 0x10};

void ReportSDRCheckFailure(int iMode, int iNumber, const char* pchFormat, ...)
{
    std::fputs(iMode == SDR_CHECK_MEMORY ? "<ERROR> Incorrect SDR data. \n" : "<ERROR> SDR file format error. \n",
               stderr);
    va_list args;
    va_start(args, pchFormat);
    std::vfprintf(stderr, pchFormat, args);
    va_end(args);
    std::fprintf(stderr, iMode == SDR_CHECK_MEMORY ? "(record %d) \n" : "(line %d) \n", iNumber);
}

namespace {

bool IsInvalidType(unsigned char u8Type)
{
    return u8Type == 0x00 || u8Type > SDR_TYPE_OEM || (u8Type >= 0x15 && u8Type <= 0xBF);
}

bool IsReservedType(unsigned char u8Type)
{
    return (u8Type >= 0x04 && u8Type <= 0x07) || (u8Type >= 0x0A && u8Type <= 0x0F);
}

}  // namespace

int SDRValidateRecordType(int iMode, int iNumber, unsigned char u8Type)
{
    if (IsInvalidType(u8Type)) {
        ReportSDRCheckFailure(iMode, iNumber, "Record type (%02Xh) is invalid. ", u8Type);
        return 0;
    }
    if (IsReservedType(u8Type)) {
        ReportSDRCheckFailure(iMode, iNumber, "Record type (%02Xh) is reserved. ", u8Type);
        return 0;
    }
    return 1;
}

int SDRValidateRecordLength(int iMode, int iNumber, const SDREntry* psEntry)
{
    if (psEntry == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    const unsigned char u8Type = psEntry->u8RecordType;
    const unsigned char u8Length = psEntry->u8RecordLength;
    unsigned char u8Max = 0;  // types outside the table have no allowed length
    unsigned char u8Min = 0;
    if (u8Type == SDR_TYPE_OEM) {
        u8Max = SDR_RECORD_MAX_LEN_TYPE_C0;
        u8Min = SDR_RECORD_MIN_LEN_TYPE_C0;
    } else if (u8Type < SDR_TYPE_TABLE_SIZE) {
        u8Max = SDR_RECORD_MAX_LEN[u8Type];
        u8Min = SDR_RECORD_MIN_LEN[u8Type];
    }
    if (u8Length > u8Max) {
        ReportSDRCheckFailure(iMode, iNumber,
                              "Record length (%02Xh) is greater than the maximum length of type %02Xh. ", u8Length,
                              u8Type);
        return 0;
    }
    if (u8Length == 0) {
        ReportSDRCheckFailure(iMode, iNumber, "Record length is zero. ");
        return 0;
    }
    if (u8Length < u8Min) {
        ReportSDRCheckFailure(iMode, iNumber, "Record length (%02Xh) is less than the less length of type %02Xh. ",
                              u8Length, u8Type);
        return 0;
    }
    return 1;
}

int SDRValidateRecordHeader(int iMode, int iNumber, const SDREntry* psEntry, unsigned char u8Position,
                            unsigned char u8Value)
{
    if (psEntry == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    switch (u8Position) {
    case SDR_HEADER_TYPE:
        if (u8Value != psEntry->u8RecordType) {
            ReportSDRCheckFailure(iMode, iNumber, "Record type (%02Xh) is not the same as that from '%s %02X'. ",
                                  u8Value, "_SDR_TYPE", psEntry->u8RecordType);
            return 0;
        }
        return 1;
    case SDR_HEADER_VERSION:
        if (u8Value != SDR_VERSION) {
            ReportSDRCheckFailure(iMode, iNumber, "SDR version (%02Xh) != %02Xh in record type %02Xh. ", u8Value,
                                  SDR_VERSION, psEntry->u8RecordType);
            return 0;
        }
        return 1;
    case SDR_HEADER_BODY_LENGTH:
        if (u8Value + SDR_HEADER_LENGTH != psEntry->u8RecordLength) {
            ReportSDRCheckFailure(iMode, iNumber, "Record length (%02Xh) is inconsistent with that from '%s %02X'. ",
                                  u8Value, "_REC_LEN", psEntry->u8RecordLength);
            return 0;
        }
        return 1;
    default:
        return 1;  // the record ID bytes take any value
    }
}

int SDRValidateRawData(const SDRRecordList& list)
{
    int iRecordNumber = 0;
    for (const SDREntry& record : list) {
        if (!IsSDRSlotOccupied(record)) {
            continue;
        }
        ++iRecordNumber;
        if (!SDRValidateRecordType(SDR_CHECK_MEMORY, iRecordNumber, record.u8RecordType) ||
            !SDRValidateRecordLength(SDR_CHECK_MEMORY, iRecordNumber, &record)) {
            return 0;
        }
        // The body-length byte is left to the text reader, which has
        // _REC_LEN to compare it with.
        for (unsigned char u8Byte = SDR_HEADER_ID_LOW; u8Byte <= SDR_HEADER_TYPE; ++u8Byte) {
            if (!SDRValidateRecordHeader(SDR_CHECK_MEMORY, iRecordNumber, &record, u8Byte,
                                         record.au8RecordData[u8Byte])) {
                return 0;
            }
        }
    }
    return 1;
}

int SDRHasIDString(unsigned char u8Type)
{
    switch (u8Type) {
    case 0x01:
    case 0x02:
    case 0x03:
    case 0x10:
    case 0x11:
    case 0x12:
        return 1;
    default:
        return 0;
    }
}

unsigned short GetRequiredSDRSize(const SDRRecordList& list)
{
    unsigned short u16Size = 0;
    for (const SDREntry& entry : list) {
        u16Size = static_cast<unsigned short>(u16Size + entry.u8RecordLength);
    }
    return u16Size;
}
