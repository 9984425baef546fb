#include "base/write_all.h"

#include <unistd.h>
#include <cerrno>

bool WriteAll(int iFd, const void* pBytes, size_t uCount)
{
    const auto* pu8Bytes = static_cast<const unsigned char*>(pBytes);
    while (uCount > 0) {
        const ssize_t iWritten = write(iFd, pu8Bytes, uCount);
        if (iWritten < 0 && errno == EINTR) {
            continue;
        }
        if (iWritten <= 0) {
            if (iWritten == 0) {
                errno = ENOSPC;
            }
            return false;
        }
        pu8Bytes += iWritten;
        uCount -= static_cast<size_t>(iWritten);
    }
    return true;
}
