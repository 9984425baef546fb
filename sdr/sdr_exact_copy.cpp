#include "sdr/sdr_exact_copy.h"

#include <cstdio>
#include <fstream>
#include <iterator>

#include "base/sdr_entry.h"
#include "sdr/sdr_binary_reader.h"

namespace {

constexpr char S_achMarker[] = "VALDRNEX";
constexpr unsigned int MARKER_OFFSET = 8;
constexpr unsigned int MARKER_SIZE = 8;
constexpr unsigned int CRC_SIZE = 2;

void AppendWord(std::string& sBytes, unsigned int uWord)
{
    sBytes += static_cast<char>(uWord & 0xFF);
    sBytes += static_cast<char>((uWord >> 8) & 0xFF);
}

unsigned int Word(const std::string& sBytes, size_t uAt)
{
    return static_cast<unsigned char>(sBytes[uAt]) | (static_cast<unsigned char>(sBytes[uAt + 1]) << 8);
}

// The byte that makes [uFrom, end) sum to zero modulo 256.
char ZeroSumOf(const std::string& sBytes, size_t uFrom)
{
    unsigned int uSum = 0;
    for (size_t i = uFrom; i < sBytes.size(); ++i) {
        uSum += static_cast<unsigned char>(sBytes[i]);
    }
    return static_cast<char>((0x100 - (uSum & 0xFF)) & 0xFF);
}

bool SumsToZero(const std::string& sBytes, size_t uFrom, size_t uTo)
{
    unsigned int uSum = 0;
    for (size_t i = uFrom; i < uTo; ++i) {
        uSum += static_cast<unsigned char>(sBytes[i]);
    }
    return (uSum & 0xFF) == 0;
}

unsigned short Crc(const std::string& sBytes, size_t uFrom, size_t uCount)
{
    unsigned short u16Crc = 0;
    for (size_t i = uFrom; i < uFrom + uCount; ++i) {
        u16Crc = GenerateCRC16(u16Crc, static_cast<unsigned char>(sBytes[i]));
    }
    return u16Crc;
}

bool Refuse(const char* pchPath, const char* pchWhat, unsigned long ulAt)
{
    std::fprintf(stderr, "<ERROR> The exact SDR copy %s is damaged: %s (file offset 0x%lX).\n", pchPath, pchWhat, ulAt);
    return false;
}

}  // namespace

unsigned int SDRRecordTotalLength(const SDRRecordBytes& sRecord)
{
    return sRecord.size() < SDR_HEADER_LENGTH ? 0u
                                              : static_cast<unsigned char>(sRecord[4]) + unsigned{SDR_HEADER_LENGTH};
}

std::string ExactSDRCopyBytes(const std::vector<SDRRecordBytes>& asRecords)
{
    std::string sBody;
    for (const SDRRecordBytes& sRecord : asRecords) {
        sBody += sRecord;
        AppendWord(sBody, Crc(sRecord, 0, sRecord.size()));
    }
    std::string sHeader = "KRNW";
    sHeader += '\x02';
    AppendWord(sHeader, static_cast<unsigned int>(asRecords.size()));
    sHeader += ZeroSumOf(sHeader, 0);
    sHeader += S_achMarker;
    AppendWord(sHeader, SDR_BIN_V2_HEADER_SIZE);
    AppendWord(sHeader, static_cast<unsigned int>((SDR_BIN_V2_HEADER_SIZE + sBody.size()) & 0xFFFF));
    sHeader += ZeroSumOf(sHeader, MARKER_OFFSET);
    return sHeader + sBody;
}

bool IsExactSDRCopy(const std::string& sBytes)
{
    return sBytes.size() >= SDR_BIN_V2_HEADER_SIZE && sBytes.compare(0, 5, "KRNW\x02") == 0 &&
           sBytes.compare(MARKER_OFFSET, MARKER_SIZE, S_achMarker) == 0;
}

bool ReadExactSDRCopy(const std::string& sBytes, const char* pchPath, std::vector<SDRRecordBytes>* pasRecords)
{
    pasRecords->clear();
    if (!IsExactSDRCopy(sBytes) || !SumsToZero(sBytes, 0, MARKER_OFFSET) ||
        !SumsToZero(sBytes, MARKER_OFFSET, SDR_BIN_V2_HEADER_SIZE)) {
        return Refuse(pchPath, "its header is not whole", 0);
    }
    if (Word(sBytes, 18) != (sBytes.size() & 0xFFFF) || Word(sBytes, 16) != SDR_BIN_V2_HEADER_SIZE) {
        return Refuse(pchPath, "its size is not the one its header gives", 18);
    }
    const unsigned int uCount = Word(sBytes, 5);
    size_t uAt = SDR_BIN_V2_HEADER_SIZE;
    while (uAt < sBytes.size()) {
        if (sBytes.size() - uAt < SDR_HEADER_LENGTH) {
            return Refuse(pchPath, "a record's header is cut short", uAt);
        }
        const unsigned int uLength = SDRRecordTotalLength(sBytes.substr(uAt, SDR_HEADER_LENGTH));
        if (sBytes.size() - uAt < uLength + CRC_SIZE) {
            return Refuse(pchPath, "a record is cut short", uAt);
        }
        if (Crc(sBytes, uAt, uLength) != Word(sBytes, uAt + uLength)) {
            return Refuse(pchPath, "a record's CRC does not match", uAt + uLength);
        }
        pasRecords->push_back(sBytes.substr(uAt, uLength));
        uAt += uLength + CRC_SIZE;
    }
    if (pasRecords->size() != uCount || uCount > SDR_MAX_RECORD_COUNT) {
        return Refuse(pchPath, "it holds another number of records than its header gives", 5);
    }
    return true;
}

ExactCopyFile ReadExactSDRCopyFile(const char* pchPath, std::vector<SDRRecordBytes>* pasRecords)
{
    std::ifstream file(pchPath, std::ios::binary);
    char achHead[SDR_BIN_V2_HEADER_SIZE] = {};
    if (!file.read(achHead, sizeof achHead) || !IsExactSDRCopy(std::string(achHead, sizeof achHead))) {
        return ExactCopyFile::NOT_EXACT_COPY;
    }
    const std::string sBytes = std::string(achHead, sizeof achHead) +
                               std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    if (!ReadExactSDRCopy(sBytes, pchPath, pasRecords)) {
        return ExactCopyFile::DAMAGED;
    }
    std::printf("Recognize SDR File as an exact copy of a repository (%u records) \n",
                static_cast<unsigned int>(pasRecords->size()));
    return ExactCopyFile::READ;
}
