// Trace output switched on by -debugmsg, and the message fragments that
// frame the program's usage errors.
#pragma once

#include <cstdio>

// The program name that every usage hint prints.
#define VALDRN_PROGRAM_NAME "VALDRN"

extern bool G_bVerboseMode;

// printf-style trace to standard output, flushed at once; silent unless
// verbose mode is on.
void DebugMessage(const char* pchFormat, ...) __attribute__((format(printf, 1, 2)));

// Trace of a byte array as "%02X " items and a line end; silent unless
// verbose mode is on.
void DebugPrintArray(const unsigned char* pu8Data, unsigned short u16Length);

// "Invalid operations. \n", the line that follows every usage error.
void PrintInvalidOperations(FILE* pStream);

// "Use VALDRN -h for help.\n".
void PrintHelpHint(FILE* pStream);
