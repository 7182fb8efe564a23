// Bounded waits shared by the test programs and the soak: scaled time-outs, and a poll.
#pragma once

#include <windows.h>

namespace weft::test
{
// Scales a duration by WEFT_TIMEOUT_SCALE (default 1).
DWORD Scaled(DWORD ms);

// Polls a condition that no event announces (such as a thread's own suspension) until it
// holds or the time-out passes; gives the condition's last value.
template <class Predicate>
bool WaitUntil(Predicate predicate, DWORD timeoutMs)
{
    const ULONGLONG deadline = GetTickCount64() + timeoutMs;
    while (!predicate())
    {
        if (GetTickCount64() >= deadline)
            return predicate();
        Sleep(1);
    }
    return true;
}
}  // namespace weft::test
