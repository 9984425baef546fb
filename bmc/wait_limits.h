// How long VALDRN waits for a BMC that is slow rather than gone. Each wait
// has a generous default and an environment variable that sets it in
// seconds (a decimal number above 0); a value that is not one is named in
// a warning line and the default is used.
#pragma once

struct WaitLimit {
    const char* pchVariable;
    long lDefaultMilliseconds;
};

// An erase of the repository: flash on a real BMC can take long.
constexpr WaitLimit ERASE_WAIT = {"VALDRN_ERASE_TIMEOUT", 60000};
// A BMC answering "busy" (0xC0) or "timeout" (0xC3) to one request.
constexpr WaitLimit BUSY_WAIT = {"VALDRN_BUSY_TIMEOUT", 10000};
// The initialization agent after a download.
constexpr WaitLimit INIT_AGENT_WAIT = {"VALDRN_INIT_AGENT_TIMEOUT", 60000};
// Another VALDRN run changing the same BMC.
constexpr WaitLimit LOCK_WAIT = {"VALDRN_LOCK_TIMEOUT", 60000};

// One request in the ipmitool session of VALDRN_LAN_SESSION=run, up to
// its marker (ipmitool's own retries against a BMC gone take about 10 s).
constexpr WaitLimit LAN_REQUEST_WAIT = {"VALDRN_LAN_REQUEST_TIMEOUT", 30000};

long WaitLimitMilliseconds(const WaitLimit& limit);
