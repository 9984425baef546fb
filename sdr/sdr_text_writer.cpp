#include "sdr/sdr_text_writer.h"

#include <cstdio>
#include <string>

#include "base/trace.h"
#include "encoding/text_encoding.h"
#include "encoding/text_output.h"
#include "sdr/sdr_text_format.h"

namespace {

bool HasIDStringInQuotes(const SDREntry& entry, unsigned char u8StringStart)
{
    switch (entry.u8RecordType) {
    case 0x08:
    case 0x09:
    case 0x13:
    case 0x14:
    case SDR_TYPE_OEM:
        return false;
    default:
        return u8StringStart != 0 && u8StringStart <= entry.u8RecordLength &&
               (entry.au8RecordData[u8StringStart - 1] & 0xC0) == 0xC0;
    }
}

// A quoted ID string is read back line by line, so it cannot hold a line
// feed or a NUL, and the reader wants exactly as many characters as its
// type/length byte gives; refuse such a list rather than write a file that
// does not read back.
bool IDStringsAreWritable(const SDRRecordList& list)
{
    int iRecordNumber = 0;
    for (const SDREntry& entry : list) {
        if (!IsSDRSlotOccupied(entry)) {
            continue;
        }
        ++iRecordNumber;
        const unsigned char u8Start = SDRStringStart(entry.u8RecordType, entry.u8RecordLength);
        if (!HasIDStringInQuotes(entry, u8Start)) {
            continue;
        }
        const unsigned int uStringLength = entry.u8RecordLength - u8Start;
        const unsigned char u8TypeLength = entry.au8RecordData[u8Start - 1];
        if (uStringLength != (u8TypeLength & 0x3Fu)) {
            ReportSDRCheckFailure(SDR_CHECK_MEMORY, iRecordNumber,
                                  "ID string length (%02Xh) is not consistent with Type/Length Code (%02X); "
                                  "the record cannot be written in an SDR text file. ",
                                  uStringLength, u8TypeLength);
            return false;
        }
        for (unsigned int uPosition = u8Start; uPosition < entry.u8RecordLength; ++uPosition) {
            const unsigned char u8Byte = entry.au8RecordData[uPosition];
            if (u8Byte == 0x00 || u8Byte == '\n') {
                ReportSDRCheckFailure(SDR_CHECK_MEMORY, iRecordNumber,
                                      "ID string byte (%02Xh) cannot be written in an SDR text file. ", u8Byte);
                return false;
            }
        }
    }
    return true;
}

class SDRTextWriter {
public:
    SDRTextWriter(FILE* pFile, const char* pchPath, unsigned int u32Encoding)
        : m_pFile(pFile), m_pchPath(pchPath), m_u32Encoding(u32Encoding)
    {
    }

    // False once a write failed; a full disk has closed the file then.
    bool Line(const std::string& sText)
    {
        return WriteStringToFile(m_pFile, m_pchPath, sText.c_str(), m_u32Encoding) == 1;
    }

    bool ByteLine(unsigned char u8Byte)
    {
        char achLine[8];
        std::snprintf(achLine, sizeof achLine, "%02X\n", u8Byte);
        return Line(achLine);
    }

    bool TagLine(const char* pchTag, unsigned char u8Value)
    {
        char achLine[32];
        std::snprintf(achLine, sizeof achLine, "%s   %02X\n", pchTag, u8Value);
        return Line(achLine);
    }

    bool ByteOrderMark()
    {
        if (m_u32Encoding == FILE_ENCODING_UTF8) {
            return WriteBytesToFile(m_pFile, m_pchPath, "\xEF\xBB\xBF", 3) == WriteResult::WRITE_OK;
        }
        if (m_u32Encoding == FILE_ENCODING_UTF16) {
            return WriteBytesToFile(m_pFile, m_pchPath, "\xFF\xFE", 2) == WriteResult::WRITE_OK;
        }
        return true;
    }

    bool Record(const SDREntry& entry, unsigned char& u8StringStart)
    {
        const unsigned char u8Length = entry.u8RecordLength;
        if (!TagLine(SDR_TAG_TYPE, entry.u8RecordType) || !TagLine(SDR_TAG_LENGTH, u8Length)) {
            return false;
        }
        DebugPrintArray(entry.au8RecordData, u8Length);
        if (entry.u8RecordType == SDR_TYPE_OEM || entry.u8RecordType < SDR_TYPE_TABLE_SIZE) {
            u8StringStart = SDRStringStart(entry.u8RecordType, u8Length);
        } else {
            // Only a guard: the list was validated before anything was written.
            std::printf("WARNING!! the SDR type is not defined (type = %Xh)", entry.u8RecordType);
        }
        const unsigned int uHexEnd = u8StringStart < u8Length ? u8StringStart : u8Length;
        for (unsigned int i = 0; i < uHexEnd; ++i) {
            if (!ByteLine(entry.au8RecordData[i])) {
                return false;
            }
        }
        if (HasIDStringInQuotes(entry, u8StringStart)) {
            const std::string sString(reinterpret_cast<const char*>(entry.au8RecordData) + u8StringStart,
                                      u8Length - u8StringStart);
            if (!Line("'" + sString + "'\n")) {
                return false;
            }
        } else {
            for (unsigned int i = uHexEnd; i < u8Length; ++i) {
                if (!ByteLine(entry.au8RecordData[i])) {
                    return false;
                }
            }
        }
        return Line("\n\n");
    }

private:
    FILE* m_pFile;
    const char* m_pchPath;
    unsigned int m_u32Encoding;
};

}  // namespace

int WriteSDRListToStream(FILE* pFile, const char* pchPath, const SDRRecordList& list, unsigned int u32Encoding)
{
    // Nothing is written unless every record is good: the file stays empty.
    if (!SDRValidateRawData(list) || !IDStringsAreWritable(list)) {
        std::fclose(pFile);
        return 0;
    }
    SDRTextWriter writer(pFile, pchPath, u32Encoding);
    if (!writer.ByteOrderMark() || !writer.Line(SDR_TAG_BLOCK_START "\n")) {
        return 0;
    }
    unsigned char u8StringStart = 0;  // kept from record to record for the guard above
    for (unsigned int i = 0; i < list.size(); ++i) {
        const SDREntry& entry = list[i];
        if (entry.u8RecordLength == 0) {
            continue;
        }
        DebugMessage("Record Seq=%X, ID=%04X, Type=%02X, Length=%02X\nData=", i + 1, entry.u16RecordID,
                     entry.u8RecordType, entry.u8RecordLength);
        if (entry.u16RecordID == SDR_FREE_SLOT_ID) {
            continue;
        }
        if (!writer.Record(entry, u8StringStart)) {
            return 0;
        }
    }
    if (!writer.Line(SDR_TAG_BLOCK_END "\n")) {
        return 0;
    }
    std::fclose(pFile);
    return 1;
}

int SaveSDRFile(const char* pchPath, const SDRRecordList& list, unsigned int u32Encoding)
{
    if (pchPath == nullptr || u32Encoding > FILE_ENCODING_UTF16) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    FILE* pFile = std::fopen(pchPath, "wb");
    if (pFile == nullptr) {
        std::fprintf(stderr, "<ERROR> File open error %s.\n", pchPath);
        return 0;
    }
    if (WriteSDRListToStream(pFile, pchPath, list, u32Encoding) != 1) {
        return 0;
    }
    std::printf("The SDR data has been saved in file %s! \n", pchPath);
    return 1;
}
