// Saving the repository record list as an SDR text file.
#pragma once

#include <cstdio>

#include "base/sdr_entry.h"

// Writes the list in the encoding (0 8-bit, 1 UTF-8, 2 UTF-16LE). 1 on
// success, 0 on failure (reported).
int SaveSDRFile(const char* pchPath, const SDRRecordList& list, unsigned int u32Encoding);
// The list as SDR text into an open stream (pchPath names it in messages),
// which it closes whatever the result, except after a full disk, whose
// dialogue has closed it. 1 written, 0 refused or failed (reported).
int WriteSDRListToStream(FILE* pFile, const char* pchPath, const SDRRecordList& list, unsigned int u32Encoding);
