// Trace output, switched on by -debugmsg: every layer may trace, and none
// but the command line decides whether it shows.
#pragma once

extern bool G_bVerboseMode;

// printf-style trace to standard output, flushed at once; silent unless
// verbose mode is on.
void DebugMessage(const char* pchFormat, ...) __attribute__((format(printf, 1, 2)));

// Trace of a byte array as "%02X " items and a line end; silent unless
// verbose mode is on.
void DebugPrintArray(const unsigned char* pu8Data, unsigned short u16Length);
