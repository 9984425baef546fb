// Throughput of the text-file routines that every SDR and FRU text reader
// and writer stands on: reading lines in each encoding, and writing lines
// (each write is flushed so a full disk is caught at its line).
#include <cstdio>
#include <string>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "encoding/text_encoding.h"
#include "encoding/text_output.h"

namespace {

constexpr int LINE_COUNT = 100000;

// An SDR-text-like file: one two-digit byte a line, in the encoding.
std::string MakeFile(unsigned int u32Encoding)
{
    char achTemplate[] = "/tmp/valdrn-bench-XXXXXX";
    const int iFd = mkstemp(achTemplate);
    close(iFd);
    FILE* pFile = std::fopen(achTemplate, "wb");
    if (u32Encoding == FILE_ENCODING_UTF8) {
        std::fputs("\xEF\xBB\xBF", pFile);
    } else if (u32Encoding == FILE_ENCODING_UTF16) {
        std::fputs("\xFF\xFE", pFile);
    }
    for (int i = 0; i < LINE_COUNT; ++i) {
        char achLine[8];
        std::snprintf(achLine, sizeof achLine, "%02X\n", i & 0xFF);
        if (u32Encoding == FILE_ENCODING_UTF16) {
            for (const char* p = achLine; *p != '\0'; ++p) {
                std::fputc(*p, pFile);
                std::fputc(0, pFile);
            }
        } else {
            std::fputs(achLine, pFile);
        }
    }
    std::fclose(pFile);
    return achTemplate;
}

void BM_ReadTextLine(benchmark::State& state)
{
    const auto u32Encoding = static_cast<unsigned int>(state.range(0));
    const std::string sPath = MakeFile(u32Encoding);
    for (auto _ : state) {
        TextReaderContext context;
        InitTextReader(&context, sPath.c_str(), std::fopen(sPath.c_str(), "rb"), u32Encoding);
        SkipByteOrderMark(&context);
        char achLine[258];
        int iLines = 0;
        while (ReadTextLine(&context, achLine, sizeof achLine) != TEXT_LINE_END_OF_FILE) {
            ++iLines;
        }
        ReleaseTextReader(&context);
        benchmark::DoNotOptimize(iLines);
    }
    state.SetItemsProcessed(state.iterations() * LINE_COUNT);
    std::remove(sPath.c_str());
}
BENCHMARK(BM_ReadTextLine)->Arg(FILE_ENCODING_ASCII)->Arg(FILE_ENCODING_UTF8)->Arg(FILE_ENCODING_UTF16);

void BM_WriteStringToFile(benchmark::State& state)
{
    const auto u32Encoding = static_cast<unsigned int>(state.range(0));
    char achTemplate[] = "/tmp/valdrn-bench-XXXXXX";
    close(mkstemp(achTemplate));
    for (auto _ : state) {
        FILE* pFile = std::fopen(achTemplate, "wb");
        for (int i = 0; i < LINE_COUNT; ++i) {
            WriteStringToFile(pFile, achTemplate, "A5\n", u32Encoding);
        }
        std::fclose(pFile);
    }
    state.SetItemsProcessed(state.iterations() * LINE_COUNT);
    std::remove(achTemplate);
}
BENCHMARK(BM_WriteStringToFile)
    ->Arg(FILE_ENCODING_ASCII)
    ->Arg(FILE_ENCODING_UTF8)
    ->Arg(FILE_ENCODING_UTF16)
    ->Unit(benchmark::kMillisecond);

}  // namespace
