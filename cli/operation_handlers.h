// The option handlers of the operations: each checks its arguments (with
// the command line's usage hints on failure) and runs the operation.
// 0 success, 1 failure.
#pragma once

int Download(unsigned short u16ArgCount, char* apchArgs[]);
int Upload(unsigned short u16ArgCount, char* apchArgs[]);
int Verify(unsigned short u16ArgCount, char* apchArgs[]);
int Test(unsigned short u16ArgCount, char* apchArgs[]);
int UpdateFRU(unsigned short u16ArgCount, char* apchArgs[]);
