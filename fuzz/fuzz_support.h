// What the fuzz targets share: a scratch directory of their own, files
// written from the fuzzer's bytes, and the three text encodings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace valdrn_fuzz {

// A directory of this process's own, made on first use.
const std::string& ScratchDir();
// The path of a file in it.
std::string ScratchFile(const char* pchName);
void WriteWholeFile(const std::string& sPath, const std::string& sBytes);
std::string ReadWholeFile(const std::string& sPath);

// The first byte chooses how the rest becomes a text file, so that each
// reader's three decoders see structured text: 0 as it is, 1 as UTF-8 with
// its byte-order mark (the bytes taken as Latin-1), 2 as UTF-16LE with its
// mark; other values as it is too.
std::string TextFileFromInput(const uint8_t* pu8Data, std::size_t uSize);

// Aborts with the message: a broken property is a finding.
[[noreturn]] void Finding(const char* pchWhat);

}  // namespace valdrn_fuzz
