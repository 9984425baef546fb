#include "base/trace.h"

#include <cstdarg>
#include <cstdio>

bool G_bVerboseMode = false;

void DebugMessage(const char* pchFormat, ...)
{
    if (!G_bVerboseMode || pchFormat == nullptr) {
        return;
    }
    va_list args;
    va_start(args, pchFormat);
    std::vprintf(pchFormat, args);
    va_end(args);
    std::fflush(stdout);
}

void DebugPrintArray(const unsigned char* pu8Data, unsigned short u16Length)
{
    if (!G_bVerboseMode) {
        return;
    }
    if (pu8Data == nullptr || u16Length == 0) {
        std::puts(u16Length == 0 ? "None" : "An error occurs in displaying a hex data array.");
    } else {
        for (unsigned int i = 0; i < u16Length; ++i) {
            std::printf("%02X ", pu8Data[i]);
        }
        std::putchar('\n');
    }
    std::fflush(stdout);
}
