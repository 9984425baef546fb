// -d, -u and -v: moving SDR and FRU data between a local file and the BMC.
#pragma once

// Option handlers: 0 success, 1 failure.
int Download(unsigned short u16ArgCount, char* apchArgs[]);
int Upload(unsigned short u16ArgCount, char* apchArgs[]);
int Verify(unsigned short u16ArgCount, char* apchArgs[]);
