// Time and peak memory of loading SDR files: a text file of 65,534 records
// (the most a list holds) and a binary format-2 file (at most 64 KiB).
// Each load runs in a child process of its own, so that its peak resident
// size is the loader's alone.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sdr/sdr_binary_reader.h"
#include "sdr/sdr_text_reader.h"
#include "sdr/sdr_text_writer.h"

namespace {

constexpr int RUNS = 5;

// A compact sensor record with a 16-character name: 0x30 bytes.
void MakeCompactSensor(SDREntry& entry, unsigned int uId)
{
    entry.u16RecordID = static_cast<unsigned short>(uId);
    entry.u8RecordType = 0x02;
    entry.u8RecordLength = 0x30;
    unsigned char* pu8 = entry.au8RecordData;
    pu8[0] = static_cast<unsigned char>(uId);
    pu8[1] = static_cast<unsigned char>(uId >> 8);
    pu8[2] = 0x51;
    pu8[3] = 0x02;
    pu8[4] = 0x30 - 5;
    for (int i = 5; i < 0x1F; ++i) {
        pu8[i] = static_cast<unsigned char>(uId * 7 + i);
    }
    pu8[0x1F] = 0xC0 | 16;
    std::snprintf(reinterpret_cast<char*>(pu8 + 0x20), 17, "Sensor %09u", uId);
}

void WriteTextFile(const char* pchPath, unsigned int uRecords)
{
    SDRRecordList list(uRecords, FreeSDRSlot());
    for (unsigned int i = 0; i < uRecords; ++i) {
        MakeCompactSensor(list[i], i + 1);
    }
    std::FILE* pQuiet = std::freopen("/dev/null", "w", stdout);
    SaveSDRFile(pchPath, list, 0);
    std::fflush(pQuiet);
}

unsigned short LittleEndian(unsigned int uValue)
{
    return static_cast<unsigned short>(uValue);
}

void WriteFormatTwoFile(const char* pchPath)
{
    std::string sBody;
    unsigned int uCount = 0;
    SDREntry entry = {};
    while (sBody.size() + 0x30 + 2 + 21 < 65535) {
        MakeCompactSensor(entry, ++uCount);
        unsigned short u16Crc = 0;
        for (int i = 0; i < 0x30; ++i) {
            u16Crc = GenerateCRC16(u16Crc, entry.au8RecordData[i]);
        }
        sBody.append(reinterpret_cast<char*>(entry.au8RecordData), 0x30);
        sBody += static_cast<char>(u16Crc & 0xFF);
        sBody += static_cast<char>(u16Crc >> 8);
    }
    unsigned char au8Header[21] = {'K', 'R', 'N', 'W', 2};
    au8Header[5] = static_cast<unsigned char>(uCount);
    au8Header[6] = static_cast<unsigned char>(uCount >> 8);
    unsigned int uSum = 0;
    for (int i = 0; i < 7; ++i) {
        uSum += au8Header[i];
    }
    au8Header[7] = static_cast<unsigned char>(0x100 - (uSum & 0xFF));
    au8Header[16] = 21;
    const unsigned short u16Size = LittleEndian(21 + sBody.size());
    au8Header[18] = static_cast<unsigned char>(u16Size);
    au8Header[19] = static_cast<unsigned char>(u16Size >> 8);
    uSum = 0;
    for (int i = 8; i < 20; ++i) {
        uSum += au8Header[i];
    }
    au8Header[20] = static_cast<unsigned char>(0x100 - (uSum & 0xFF));
    std::FILE* pFile = std::fopen(pchPath, "wb");
    std::fwrite(au8Header, 1, sizeof au8Header, pFile);
    std::fwrite(sBody.data(), 1, sBody.size(), pFile);
    std::fclose(pFile);
}

struct Measure {
    double dSeconds;
    long lPeakKiB;
    int iRecords;
};

// Loads the file in a child: the reader into a list, as an operation does.
Measure LoadInChild(const char* pchPath)
{
    int aiPipe[2];
    if (pipe(aiPipe) != 0) {
        return {-1, -1, -1};
    }
    const pid_t pid = fork();
    if (pid == 0) {
        std::freopen("/dev/null", "w", stdout);
        const auto start = std::chrono::steady_clock::now();
        SDRRecordList list;
        const int iResult = ReadSDRFile(pchPath, &list);
        const auto u16Count = static_cast<unsigned short>(list.size());
        const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        Measure measure{dSeconds, 0, iResult == 1 ? u16Count : -1};
        if (write(aiPipe[1], &measure, sizeof measure) != sizeof measure) {
            _exit(2);
        }
        _exit(0);
    }
    close(aiPipe[1]);
    Measure measure{};
    const bool bRead = read(aiPipe[0], &measure, sizeof measure) == sizeof measure;
    close(aiPipe[0]);
    int iStatus = 0;
    struct rusage usage = {};
    wait4(pid, &iStatus, 0, &usage);
    measure.lPeakKiB = usage.ru_maxrss;
    return bRead ? measure : Measure{-1, -1, -1};
}

void Report(const char* pchName, const char* pchPath)
{
    std::vector<Measure> aMeasures;
    for (int i = 0; i < RUNS; ++i) {
        aMeasures.push_back(LoadInChild(pchPath));
    }
    std::sort(aMeasures.begin(), aMeasures.end(),
              [](const Measure& a, const Measure& b) { return a.dSeconds < b.dSeconds; });
    long lPeak = 0;
    for (const Measure& measure : aMeasures) {
        lPeak = std::max(lPeak, measure.lPeakKiB);
    }
    std::fprintf(stderr, "%-34s records %6d  median %.3f s  best %.3f s  peak RSS %.1f MB\n", pchName,
                 aMeasures[RUNS / 2].iRecords, aMeasures[RUNS / 2].dSeconds, aMeasures[0].dSeconds, lPeak / 1024.0);
}

}  // namespace

int main()
{
    char achDir[] = "/tmp/valdrn-sdr-bench-XXXXXX";
    if (mkdtemp(achDir) == nullptr) {
        return 1;
    }
    const std::string sText = std::string(achDir) + "/65534.sdr";
    const std::string sBinary = std::string(achDir) + "/format2.bin";
    WriteTextFile(sText.c_str(), SDR_MAX_RECORD_COUNT);
    WriteFormatTwoFile(sBinary.c_str());
    Report("SDR text file, 65534 records", sText.c_str());
    Report("SDR binary format 2, 64 KiB", sBinary.c_str());
    std::remove(sText.c_str());
    std::remove(sBinary.c_str());
    rmdir(achDir);
    return 0;
}
