// The interface options: -msgintf chooses a local system interface, -n
// lanplus with -H, -U, -P and -C the remote one through ipmitool. Their
// handlers run before the operation and store the choice and parameters.
#pragma once

#include "base/interface_state.h"

// Option handlers: 0 success, 1 failure (after a message).
int SetMessagingInterface(unsigned short u16ArgCount, char* apchArgs[]);
int SaveLanIF(unsigned short u16ArgCount, char* apchArgs[]);
int SaveHostIP(unsigned short u16ArgCount, char* apchArgs[]);
int SaveUserName(unsigned short u16ArgCount, char* apchArgs[]);
int SavePassWord(unsigned short u16ArgCount, char* apchArgs[]);
int SaveCipherValue(unsigned short u16ArgCount, char* apchArgs[]);

bool ValidateAnalyzeMsgIntfParameters(unsigned short u16ArgCount, char* apchArgs[], unsigned int* pu32Interface);
bool CheckMsgIntfArgument(char* apchArgs[], unsigned short* pu16Cursor, unsigned int* pu32Interface);
