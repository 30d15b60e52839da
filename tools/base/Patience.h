#pragma once

#include "platform/LastError.h"

#include <chrono>
#include <cstdint>

// How long a run of the tool waits for what another program holds. All waits of one run count
// together. A resource.
class CPatience
{
public:
    // The limit is 0 or more; with 0 nothing is waited for.
    explicit CPatience(std::chrono::duration<double> limit) : m_left(limit) {}
    CPatience(const CPatience&) = delete;
    CPatience& operator=(const CPatience&) = delete;

    // Waits a moment, at first a millisecond and then longer. False at once if the time is over.
    // Leaves the last error as it is.
    bool Wait();

    // ERROR_SHARING_VIOLATION (32): a contact is held; ERROR_LOCK_VIOLATION (33): a folder is
    // locked.
    static bool IsHeld(std::uint32_t code)
    {
        return code == ERROR_SHARING_VIOLATION || code == ERROR_LOCK_VIOLATION;
    }

    // Calls with the last error cleared, and again until it succeeds, fails for another reason than
    // that something is held, or the time is over.
    template <class Call>
    auto Try(Call call)
    {
        while (true) {
            SetLastError(ERROR_SUCCESS);
            auto result = call();
            if (result || !IsHeld(GetLastError()) || !Wait()) {
                return result;
            }
        }
    }

private:
    std::chrono::duration<double> m_left;
    std::chrono::duration<double> m_next = std::chrono::milliseconds(1);
};
