#include "bmc/wait_limits.h"

#include <cstdio>
#include <cstdlib>

long WaitLimitMilliseconds(const WaitLimit& limit)
{
    const char* pchValue = std::getenv(limit.pchVariable);
    if (pchValue == nullptr || pchValue[0] == '\0') {
        return limit.lDefaultMilliseconds;
    }
    char* pchEnd = nullptr;
    const double dSeconds = std::strtod(pchValue, &pchEnd);
    // Up to a day: beyond that it is a typo, not a slow BMC.
    if (pchEnd == pchValue || *pchEnd != '\0' || !(dSeconds > 0) || dSeconds > 86400) {
        std::fprintf(stderr, "Warning: %s=%s is not a number of seconds; %ld is used.\n", limit.pchVariable, pchValue,
                     limit.lDefaultMilliseconds / 1000);
        return limit.lDefaultMilliseconds;
    }
    return static_cast<long>(dSeconds * 1000);
}
