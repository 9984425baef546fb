// Which interface reaches the BMC, and the LAN+ parameters: set by the
// command line's interface options, read by the link to the BMC.
#pragma once

enum eInterfaceType : unsigned int {
    eInterfaceOpenIPMI = 0,  // OpenIPMI driver through libopenraw.so (default)
    eInterfaceKCSIO = 1,     // direct KCS port I/O through libkcsio.so
    eInterfaceLanPlus = 2,   // remote BMC through ipmitool
};

extern unsigned int eInterfaceInUse;

// LAN+ parameters; every text is NUL-terminated within its field.
struct IolDataRecord {
    char achHostIP[60];
    char achUserName[40];
    char achPassword[40];
    char achInterface[16];
    unsigned short u16CipherSuiteID;
};

extern IolDataRecord sIolData;
