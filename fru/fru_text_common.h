// Helpers shared by the routines of the FRU text reader.
#pragma once

#include <cstddef>

#include "fru/fru_image.h"

// The line buffer every reading routine shares.
constexpr std::size_t FRU_LINE_BUFFER_SIZE = 258;

// "<ERROR> Incorrect FRU file." and a line end, then the formatted message.
void ReportFRUFileError(const char* pchFormat, ...) __attribute__((format(printf, 1, 2)));

// Appends to the image, reporting an image that would pass 64 KiB.
bool AppendImageBytes(FRUImage* psImage, const unsigned char* pu8Bytes, unsigned int uCount, const char* pchAreaName);
