#include "base/Patience.h"

#include <algorithm>
#include <thread>

bool CPatience::Wait()
{
    constexpr std::chrono::duration<double> kLongest = std::chrono::milliseconds(50);
    if (m_left <= m_left.zero()) {
        return false;
    }
    const auto begin = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::min(m_next, m_left));
    m_left -= std::chrono::steady_clock::now() - begin;
    m_next = std::min(m_next * 2, kLongest);
    return true;
}
