#include "cli/diagnostics.h"

void PrintInvalidOperations(FILE* pStream)
{
    std::fputs("Invalid operations. \n", pStream);
}

void PrintHelpHint(FILE* pStream)
{
    std::fprintf(pStream, "Use %s -h for help.\n", VALDRN_PROGRAM_NAME);
}
