// Saving the repository record list as an SDR text file.
#pragma once

#include "base/sdr_entry.h"

// Writes G_psRepositorySDREntryList (SaveSDRFile) or any list in the
// encoding (0 8-bit, 1 UTF-8, 2 UTF-16LE). 1 on success, 0 on failure
// (reported).
int SaveSDRFile(const char* pchPath, unsigned int u32Encoding);
int SaveSDRListToFile(const char* pchPath, SDRList list, unsigned int u32Encoding);
