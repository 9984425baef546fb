// Binary backups of a FRU image or an SDR record list.
#pragma once

#include "base/sdr_entry.h"

// Writes the bytes to a new (truncated) file; on a failed write the file is
// deleted. 1 written, 0 failed.
int BackUpFRUBinFile(const char* pchPath, const unsigned char* pu8Data, unsigned short u16Count);
// Writes the bytes of every occupied slot of a 65535-slot list, in slot
// order. 1 written, 0 failed.
int BackUpSDRBinFile(const char* pchPath, const SDREntry* psList);
