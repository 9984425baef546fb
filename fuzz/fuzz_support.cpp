#include "fuzz/fuzz_support.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "sdr/sdr_record.h"

namespace valdrn_fuzz {

namespace {

// A plain copy of the path: the string may be gone when exit handlers run.
char S_achScratchDir[4096];

void RemoveScratchDir()
{
    std::error_code error;
    std::filesystem::remove_all(S_achScratchDir, error);
}

}  // namespace

const std::string& ScratchDir()
{
    static const std::string sDir = [] {
        const char* pchBase = std::getenv("TMPDIR");
        std::string sTemplate = std::string(pchBase != nullptr ? pchBase : "/tmp") + "/valdrn-fuzz-XXXXXX";
        if (mkdtemp(sTemplate.data()) == nullptr) {
            Finding("cannot make a scratch directory");
        }
        std::snprintf(S_achScratchDir, sizeof S_achScratchDir, "%s", sTemplate.c_str());
        std::atexit(RemoveScratchDir);
        return sTemplate;
    }();
    return sDir;
}

std::string ScratchFile(const char* pchName)
{
    return ScratchDir() + "/" + pchName;
}

void WriteWholeFile(const std::string& sPath, const std::string& sBytes)
{
    std::ofstream file(sPath, std::ios::binary | std::ios::trunc);
    file.write(sBytes.data(), static_cast<std::streamsize>(sBytes.size()));
    if (!file) {
        Finding("cannot write a scratch file");
    }
}

std::string ReadWholeFile(const std::string& sPath)
{
    std::ifstream file(sPath, std::ios::binary);
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

std::string TextFileFromInput(const uint8_t* pu8Data, std::size_t uSize)
{
    if (uSize == 0) {
        return "";
    }
    const std::string sRest(reinterpret_cast<const char*>(pu8Data + 1), uSize - 1);
    std::string sFile;
    switch (pu8Data[0]) {
    case 1:
        sFile = "\xEF\xBB\xBF";
        for (unsigned char c : sRest) {
            if (c < 0x80) {
                sFile += static_cast<char>(c);
            } else {
                sFile += static_cast<char>(0xC0 | (c >> 6));
                sFile += static_cast<char>(0x80 | (c & 0x3F));
            }
        }
        return sFile;
    case 2:
        sFile = "\xFF\xFE";
        for (char c : sRest) {
            sFile += c;
            sFile += '\0';
        }
        return sFile;
    default:
        return sRest;
    }
}

void Finding(const char* pchWhat)
{
    std::fprintf(stderr, "\nFINDING: %s\n", pchWhat);
    std::fflush(stderr);
    std::abort();
}

}  // namespace valdrn_fuzz
