// Helpers shared by the routines of the FRU text reader.
#pragma once

#include <cstddef>

// The line buffer every reading routine shares.
constexpr std::size_t FRU_LINE_BUFFER_SIZE = 258;

// "<ERROR> Incorrect FRU file." and a line end, then the formatted message.
void ReportFRUFileError(const char* pchFormat, ...) __attribute__((format(printf, 1, 2)));

// Appends to the local image, reporting an image that would pass 64 KiB.
bool AppendImageBytes(const unsigned char* pu8Bytes, unsigned int uCount, const char* pchAreaName);
