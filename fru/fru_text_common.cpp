#include "fru/fru_text_common.h"

#include <cstdarg>
#include <cstdio>

void ReportFRUFileError(const char* pchFormat, ...)
{
    std::fputs("<ERROR> Incorrect FRU file.\n", stderr);
    va_list args;
    va_start(args, pchFormat);
    std::vfprintf(stderr, pchFormat, args);
    va_end(args);
}

bool AppendImageBytes(FRUImage* psImage, const unsigned char* pu8Bytes, unsigned int uCount, const char* pchAreaName)
{
    if (!AppendFRUBytes(psImage, pu8Bytes, uCount)) {
        ReportFRUFileError("The FRU data in %s Area exceeds %u bytes. \n", pchAreaName, FRU_MAX_IMAGE_SIZE);
        return false;
    }
    return true;
}
