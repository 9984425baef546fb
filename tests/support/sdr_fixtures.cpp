#include "support/sdr_fixtures.h"

#include <cstdio>
#include <stdexcept>

namespace valdrn_test {

namespace {

void AppendLittleEndian(std::string& sBytes, uint16_t u16Value)
{
    sBytes += static_cast<char>(u16Value & 0xFF);
    sBytes += static_cast<char>(u16Value >> 8);
}

std::string Pattern(uint8_t u8Seed, size_t uCount)
{
    std::string sBytes;
    for (size_t i = 0; i < uCount; ++i) {
        sBytes += static_cast<char>((u8Seed * 31 + i * 7 + 1) & 0xFF);
    }
    return sBytes;
}

uint8_t StringStart(uint8_t u8Type)
{
    switch (u8Type) {
    case 0x01:
        return 0x30;
    case 0x02:
        return 0x20;
    case 0x03:
        return 0x11;
    case 0x10:
    case 0x11:
    case 0x12:
        return 0x10;
    default:
        throw std::invalid_argument("type without an ID string");
    }
}

std::string Records(const std::vector<std::string>& asRecords)
{
    std::string sBytes;
    for (const std::string& sRecord : asRecords) {
        sBytes += WithCrc(sRecord);
    }
    return sBytes;
}

}  // namespace

uint16_t Crc16Xmodem(const std::string& sBytes)
{
    uint16_t u16Crc = 0;
    for (unsigned char c : sBytes) {
        u16Crc ^= static_cast<uint16_t>(c << 8);
        for (int iBit = 0; iBit < 8; ++iBit) {
            u16Crc = static_cast<uint16_t>((u16Crc & 0x8000) ? (u16Crc << 1) ^ 0x1021 : u16Crc << 1);
        }
    }
    return u16Crc;
}

uint8_t ZeroSumChecksum(const std::string& sBytes)
{
    unsigned int uSum = 0;
    for (unsigned char c : sBytes) {
        uSum += c;
    }
    return static_cast<uint8_t>((0x100 - (uSum & 0xFF)) & 0xFF);
}

std::string SdrRecord(uint16_t u16Id, uint8_t u8Type, const std::string& sBody)
{
    std::string sRecord;
    AppendLittleEndian(sRecord, u16Id);
    sRecord += static_cast<char>(0x51);
    sRecord += static_cast<char>(u8Type);
    sRecord += static_cast<char>(sBody.size());
    return sRecord + sBody;
}

std::string SdrFixedRecord(uint16_t u16Id, uint8_t u8Type, uint8_t u8TotalLength)
{
    return SdrRecord(u16Id, u8Type, Pattern(u8Type, u8TotalLength - 5u));
}

std::string SdrRecordWithIdBytes(uint16_t u16Id, uint8_t u8Type, uint8_t u8TypeLength, const std::string& sIdBytes)
{
    const uint8_t u8Start = StringStart(u8Type);
    std::string sBody = Pattern(u8Type, u8Start - 6u);
    sBody += static_cast<char>(u8TypeLength);
    return SdrRecord(u16Id, u8Type, sBody + sIdBytes);
}

std::string SdrNamedRecord(uint16_t u16Id, uint8_t u8Type, const std::string& sName)
{
    return SdrRecordWithIdBytes(u16Id, u8Type, static_cast<uint8_t>(0xC0 | sName.size()), sName);
}

std::vector<std::string> SdrRecordsOfEveryType()
{
    return {
        SdrNamedRecord(0x0001, 0x01, "CPU1 Temp"),
        SdrNamedRecord(0x0002, 0x01, std::string(16, 'F')),  // longest full sensor: 0x40 bytes
        SdrNamedRecord(0x0003, 0x02, "Fan 1"),
        SdrNamedRecord(0x0004, 0x02, ""),                          // empty ID string
        SdrNamedRecord(0x0005, 0x03, "Evt 'q' //x"),               // quote and slashes inside
        SdrRecordWithIdBytes(0x0006, 0x02, 0x83, "\x12\x34\x56"),  // BCD plus ID string, in hex
        SdrFixedRecord(0x0007, 0x08, 0x10),
        SdrFixedRecord(0x0008, 0x09, 0x20),
        SdrNamedRecord(0x0009, 0x10, "Generic \xE9\xFF"),  // Latin-1 characters
        SdrNamedRecord(0x000A, 0x11, "FRU 0"),
        SdrNamedRecord(0x000B, 0x12, "BMC"),
        SdrFixedRecord(0x000C, 0x13, 0x20),
        SdrFixedRecord(0x000D, 0x14, 0x10),
        SdrFixedRecord(0x000E, 0xC0, 0x08),
        SdrFixedRecord(0x000F, 0xC0, 0x40),
        SdrNamedRecord(0x0010, 0x12, "  padded  "),
    };
}

std::string WithCrc(const std::string& sRecord)
{
    std::string sBytes = sRecord;
    AppendLittleEndian(sBytes, Crc16Xmodem(sRecord));
    return sBytes;
}

std::string SdrBinaryFormat0(const std::vector<std::string>& asRecords, int iCount)
{
    const uint8_t u8Count = static_cast<uint8_t>(iCount < 0 ? asRecords.size() : iCount);
    std::string sFile;
    sFile += static_cast<char>(u8Count);
    sFile += static_cast<char>(ZeroSumChecksum(sFile));
    return sFile + Records(asRecords);
}

std::string SdrBinaryFormat1(const std::vector<std::string>& asRecords, int iCount)
{
    std::string sHeader = "KRNW";
    sHeader += '\x01';
    AppendLittleEndian(sHeader, static_cast<uint16_t>(iCount < 0 ? asRecords.size() : iCount));
    sHeader += static_cast<char>(ZeroSumChecksum(sHeader));
    return sHeader + Records(asRecords);
}

std::string SdrBinaryFormat2(const std::vector<std::string>& asRecords, int iCount, const std::string& sPadding,
                             int iSizeAdjust)
{
    std::string sFirst = "KRNW";
    sFirst += '\x02';
    AppendLittleEndian(sFirst, static_cast<uint16_t>(iCount < 0 ? asRecords.size() : iCount));
    sFirst += static_cast<char>(ZeroSumChecksum(sFirst));
    const std::string sBody = Records(asRecords) + sPadding;
    std::string sSecond = "VALDRN01";  // bytes 8-15: not examined
    AppendLittleEndian(sSecond, 21);
    AppendLittleEndian(sSecond, static_cast<uint16_t>(21 + sBody.size() + iSizeAdjust));
    sSecond += static_cast<char>(ZeroSumChecksum(sSecond));
    return sFirst + sSecond + sBody;
}

void PutRecord(SDREntry& entry, const std::string& sRecord)
{
    entry.u16RecordID =
        static_cast<uint16_t>(static_cast<unsigned char>(sRecord[0]) | (static_cast<unsigned char>(sRecord[1]) << 8));
    entry.u8RecordType = static_cast<uint8_t>(sRecord[3]);
    entry.u8RecordLength = static_cast<uint8_t>(sRecord.size());
    std::copy(sRecord.begin(), sRecord.end(), entry.au8RecordData);
}

std::string RecordOf(const SDREntry& entry)
{
    return std::string(reinterpret_cast<const char*>(entry.au8RecordData), entry.u8RecordLength);
}

std::string AsUtf8File(const std::string& sLatin1)
{
    std::string sOut = "\xEF\xBB\xBF";
    for (unsigned char c : sLatin1) {
        if (c < 0x80) {
            sOut += static_cast<char>(c);
        } else {
            sOut += static_cast<char>(0xC0 | (c >> 6));
            sOut += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return sOut;
}

std::string AsUtf16File(const std::string& sLatin1)
{
    std::string sOut = "\xFF\xFE";
    for (unsigned char c : sLatin1) {
        sOut += static_cast<char>(c);
        sOut += '\0';
    }
    return sOut;
}

}  // namespace valdrn_test

namespace valdrn_test {

namespace {

bool IsNamed(uint8_t u8Type)
{
    return u8Type == 0x01 || u8Type == 0x02 || u8Type == 0x03 || u8Type == 0x10 || u8Type == 0x11 || u8Type == 0x12;
}

}  // namespace

std::string SdrTextRecord(const std::string& sRecord)
{
    const uint8_t u8Type = static_cast<uint8_t>(sRecord[3]);
    char achLine[64];
    std::snprintf(achLine, sizeof achLine, "_SDR_TYPE %02x\n_REC_LEN\t%02X // total length\n", u8Type,
                  static_cast<unsigned>(sRecord.size()));
    std::string sText = achLine;
    size_t uHexEnd = sRecord.size();
    bool bQuoted = false;
    if (IsNamed(u8Type)) {
        const size_t uStart = StringStart(u8Type);
        if ((static_cast<uint8_t>(sRecord[uStart - 1]) & 0xC0) == 0xC0) {
            uHexEnd = uStart;
            bQuoted = true;
        }
    }
    for (size_t i = 0; i < uHexEnd; ++i) {
        std::snprintf(achLine, sizeof achLine, "%02x%s", static_cast<unsigned char>(sRecord[i]),
                      (i % 16 == 15 || i + 1 == uHexEnd) ? "\n" : " ");
        sText += achLine;
    }
    if (bQuoted) {
        sText += "  '" + sRecord.substr(uHexEnd) + "'   // ID string\n";
    }
    return sText + "\n";
}

std::string SdrTextFile(const std::vector<std::string>& asRecords)
{
    std::string sText = "// SDR test file\n_SDR (\n";
    for (const std::string& sRecord : asRecords) {
        sText += SdrTextRecord(sRecord);
    }
    return sText + ")\n";
}

}  // namespace valdrn_test
