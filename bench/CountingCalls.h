#pragma once

#include "platform/SystemCalls.h"

#include <atomic>
#include <cstddef>

// Counts the library's system calls for as long as it lives.
class CCountingCalls : public CSystemCalls
{
public:
    CCountingCalls() { Replace(this); }
    ~CCountingCalls() override { Replace(nullptr); }
    CCountingCalls(const CCountingCalls&) = delete;
    CCountingCalls& operator=(const CCountingCalls&) = delete;

    std::size_t Count() const { return m_count; }

protected:
    int Begin(const char* /*call*/) override
    {
        m_count.fetch_add(1, std::memory_order_relaxed);
        return 0;
    }

private:
    std::atomic<std::size_t> m_count = 0;
};
