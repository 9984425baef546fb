// Writing a whole buffer to a file descriptor.
#pragma once

#include <cstddef>

// Writes every byte, again after a signal; false with errno set when a
// write fails (ENOSPC when the file system takes nothing more).
bool WriteAll(int iFd, const void* pBytes, size_t uCount);
