// Milliseconds of the monotonic clock: deadlines that a change of the wall
// clock cannot move. Header-only, for the in-band libraries as well.
#pragma once

#include <ctime>

inline long MonotonicMilliseconds()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000L + now.tv_nsec / 1000000L;
}
