#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

// How far long work has come, in one line of a terminal on standard error that is written over. No
// line appears in the first second, and none where standard error is no terminal. A resource.
class CProgress
{
public:
    CProgress();
    ~CProgress() { Clear(); }
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    // "WHAT: COUNT". Call it for each item; it writes a few times a second.
    void Show(std::string_view what, std::size_t count);

    // Removes the line. To be called before anything else goes to the terminal.
    void Clear();

private:
    using CClock = std::chrono::steady_clock;

    bool m_isTerminal;
    bool m_isShown = false;
    CClock::time_point m_next;
};
