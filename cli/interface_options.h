// The interface options: -msgintf chooses a local system interface, -n
// lanplus with -H, -U, -P and -C the remote one through ipmitool. Their
// handlers run before the operation and store the choice and parameters
// in the run's InterfaceChoice.
#pragma once

#include "base/interface_state.h"

// Option handlers, storing into the run's choice: 0 success, 1 failure
// (after a message).
int SetMessagingInterface(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[]);
int SaveLanIF(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[]);
int SaveHostIP(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[]);
int SaveUserName(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[]);
int SavePassWord(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[]);
int SaveCipherValue(InterfaceChoice* psChoice, unsigned short u16ArgCount, char* apchArgs[]);

bool ValidateAnalyzeMsgIntfParameters(unsigned short u16ArgCount, char* apchArgs[], unsigned int* pu32Interface);
bool CheckMsgIntfArgument(char* apchArgs[], unsigned short* pu16Cursor, unsigned int* pu32Interface);
