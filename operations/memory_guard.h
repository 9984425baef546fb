// Record lists grow with what is read; running out of memory while one
// grows is the run's failure, said on standard error as the tool has
// always said it, not an abort.
#pragma once

#include <cstdio>
#include <new>

constexpr const char* LOCAL_LIST_EXHAUSTED = "Add Memory allocation error!\n";
constexpr const char* REPOSITORY_LIST_EXHAUSTED = "Get Memory allocation error!\n";

// read() as it returns, or false after the message when memory ran out.
template <typename TRead>
bool WithinMemory(const char* pchExhausted, TRead read)
{
    try {
        return read();
    } catch (const std::bad_alloc&) {
        std::fputs(pchExhausted, stderr);
        return false;
    }
}
