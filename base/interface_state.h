// Which interface reaches the BMC, and the LAN+ parameters: chosen by the
// command line's interface options, carried by the run to the link to the
// BMC, the names of its saved copies and its restore command.
#pragma once

enum eInterfaceType : unsigned int {
    eInterfaceOpenIPMI = 0,  // OpenIPMI driver through libopenraw.so (default)
    eInterfaceKCSIO = 1,     // direct KCS port I/O through libkcsio.so
    eInterfaceLanPlus = 2,   // remote BMC through ipmitool
};

// LAN+ parameters; every text is NUL-terminated within its field. A cipher
// suite of 0xFF leaves the choice to ipmitool; 0 unless -C is given.
struct IolDataRecord {
    char achHostIP[60];
    char achUserName[40];
    char achPassword[40];
    char achInterface[16];
    unsigned short u16CipherSuiteID;
};

// One run's interface: the OpenIPMI driver unless an option says otherwise.
struct InterfaceChoice {
    unsigned int eInterfaceInUse = eInterfaceOpenIPMI;
    IolDataRecord sIolData = {};
};
