// The message fragments that frame the program's usage errors.
#pragma once

#include <cstdio>

// The program name that every usage hint prints.
#define VALDRN_PROGRAM_NAME "VALDRN"

// "Invalid operations. \n", the line that follows every usage error.
void PrintInvalidOperations(FILE* pStream);

// "Use VALDRN -h for help.\n".
void PrintHelpHint(FILE* pStream);
