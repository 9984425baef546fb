// What the machine says about the interfaces: loaded IPMI kernel modules,
// the system interface named in intf.ini, and whether ipmitool is there.
#pragma once

enum eEnvironmentCheck {
    ENV_CHECK_OK = 0,
    ENV_CHECK_LISTING_FAILED = 1,  // /sbin/lsmod could not be run
    ENV_CHECK_IPMI_MODULES_LOADED = 19,
    ENV_CHECK_INTERFACE_MISMATCH = 20,
};

// Runs /sbin/lsmod: 0 no "ipmi_" module, 19 one is loaded, 1 no listing.
int CheckForLoadedIPMIModules();
// The first token of intf.ini's first line (split at blank, "_", CR, LF)
// must equal the wanted name exactly: 0 it does (or there is no file or
// no token), 20 it does not.
int CheckSystemInterfaceInConfigFile(const char* pchWanted);
// True when "ipmitool -V" runs successfully.
bool CheckIpmitoolInstalled();
