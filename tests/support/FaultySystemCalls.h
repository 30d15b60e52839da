#pragma once

#include "platform/SystemCalls.h"

#include <cerrno>
#include <set>
#include <string>

#include <unistd.h>

// System calls that are current for as long as they live.
class CPlantedCalls : public CSystemCalls
{
public:
    CPlantedCalls() { Replace(this); }
    ~CPlantedCalls() override { Replace(nullptr); }
    CPlantedCalls(const CPlantedCalls&) = delete;
    CPlantedCalls& operator=(const CPlantedCalls&) = delete;
};

// The system's calls with a fault planted at the Nth one. Counts all calls, and keeps the open
// descriptors.
class CFaultySystemCalls : public CPlantedCalls
{
public:
    ~CFaultySystemCalls() override { Bury(); }

    // The call with that number, counted from 1 from now on, fails once with that errno.
    void FailAt(int call, int error)
    {
        m_calls = 0;
        m_failAt = call;
        m_error = error;
        m_isMortal = false;
    }

    // From that call on nothing reaches the system any more, as if the process had been killed.
    void DieAt(int call)
    {
        FailAt(call, EIO);
        m_isMortal = true;
    }

    // What the system does behind a dead process: closes its files, which ends their locks.
    void Bury()
    {
        m_failAt = 0;
        for (const int file : m_open) {
            ::close(file);
        }
        m_open.clear();
    }

    int Calls() const { return m_calls; }
    bool WasHit() const { return m_failAt > 0 && m_calls >= m_failAt; }
    std::size_t OpenFiles() const { return m_open.size(); }
    const std::string& LastHit() const { return m_hit; }

    // A write that is hit moves half of its bytes first.
    void CutWrites(bool on) { m_isCutting = on; }

    int Open(const char* path, int flags, mode_t mode) override
    {
        const int file = CSystemCalls::Open(path, flags, mode);
        if (file >= 0) {
            m_open.insert(file);
        }
        return file;
    }
    // The system's close ends the descriptor also when it reports a failure.
    int Close(int file) override
    {
        const bool isDead = IsDead();
        const int error = Begin("close");
        if (!isDead && !IsDead() && m_open.erase(file) > 0) {
            ::close(file);
        }
        errno = error;
        return error == 0 || error == EINTR ? 0 : -1;
    }
    ssize_t WriteAt(int file, const void* buffer, std::size_t size, off_t position) override
    {
        if (m_isCutting && m_calls + 1 == m_failAt) {
            (void)!::pwrite(file, buffer, size / 2, position);
        }
        return CSystemCalls::WriteAt(file, buffer, size, position);
    }

protected:
    int Begin(const char* call) override
    {
        ++m_calls;
        if (m_calls == m_failAt || IsDead()) {
            m_hit = call;
            return m_error;
        }
        return 0;
    }

private:
    bool IsDead() const { return m_isMortal && m_failAt > 0 && m_calls >= m_failAt; }

    int m_calls = 0;
    int m_failAt = 0;
    int m_error = 0;
    bool m_isMortal = false;
    bool m_isCutting = false;
    std::string m_hit;
    std::set<int> m_open;
};
