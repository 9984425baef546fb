// -t: tests a local SDR or FRU file, text or binary, without the BMC.
#pragma once

// 0 when the file is free of errors, 1 otherwise.
int Test(unsigned short u16ArgCount, char* apchArgs[]);
