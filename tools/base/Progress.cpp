#include "base/Progress.h"

#include "base/Text.h"

#include <cstdio>

#include <unistd.h>

namespace
{

constexpr std::chrono::milliseconds kFirst(1000);
constexpr std::chrono::milliseconds kBetween(200);

} // namespace

CProgress::CProgress() : m_isTerminal(isatty(STDERR_FILENO) != 0), m_next(CClock::now() + kFirst) {}

void CProgress::Show(std::string_view what, std::size_t count)
{
    if (!m_isTerminal) {
        return;
    }
    const CClock::time_point now = CClock::now();
    if (now < m_next) {
        return;
    }
    m_next = now + kBetween;
    m_isShown = true;
    const std::string line = "\r\033[K" + ToField(what) + ": " + std::to_string(count);
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

void CProgress::Clear()
{
    if (m_isShown) {
        m_isShown = false;
        std::fputs("\r\033[K", stderr);
    }
}
