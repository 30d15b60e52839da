#pragma once

#include "platform/SystemCalls.h"

#include <cerrno>
#include <set>
#include <string>

#include <unistd.h>

// The system's calls with a fault planted at the Nth one. Counts all calls, keeps the open
// descriptors, and is current for as long as it lives.
class CFaultySystemCalls : public CSystemCalls
{
public:
    CFaultySystemCalls() { Replace(this); }
    ~CFaultySystemCalls() override
    {
        Replace(nullptr);
        Bury();
    }

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

    int Open(const char* path, int flags, mode_t mode) override
    {
        const int file = Run("open", [&] { return CSystemCalls::Open(path, flags, mode); });
        if (file >= 0) {
            m_open.insert(file);
        }
        return file;
    }
    // The system's close ends the descriptor also when it reports a failure.
    int Close(int file) override
    {
        const bool isDead = IsDead();
        const int result = Run("close", [] { return 0; });
        if (!isDead && !IsDead() && m_open.erase(file) > 0) {
            const int error = errno;
            CSystemCalls::Close(file);
            errno = error;
        }
        return result;
    }
    ssize_t ReadAt(int file, void* buffer, std::size_t size, off_t position) override
    {
        return Run("read", [&] { return CSystemCalls::ReadAt(file, buffer, size, position); });
    }
    ssize_t WriteAt(int file, const void* buffer, std::size_t size, off_t position) override
    {
        const std::size_t cut = size > 1 && m_calls + 1 == m_failAt && m_isCutting ? size / 2 : 0;
        if (cut > 0) {
            CSystemCalls::WriteAt(file, buffer, cut, position);
        }
        return Run("write", [&] { return CSystemCalls::WriteAt(file, buffer, size, position); });
    }
    int Truncate(int file, off_t length) override
    {
        return Run("truncate", [&] { return CSystemCalls::Truncate(file, length); });
    }
    int Allocate(int file, off_t position, off_t length) override
    {
        return Run("allocate", [&] { return CSystemCalls::Allocate(file, position, length); });
    }
    int Lock(int file, int operation) override
    {
        return Run("lock", [&] { return CSystemCalls::Lock(file, operation); });
    }
    int Sync(int file) override
    {
        return Run("sync", [&] { return CSystemCalls::Sync(file); });
    }
    int SyncFileSystem(int file) override
    {
        return Run("syncfs", [&] { return CSystemCalls::SyncFileSystem(file); });
    }
    long FileSystemType(int file) override
    {
        return Run("statfs", [&] { return CSystemCalls::FileSystemType(file); });
    }
    int Stat(int folder, const char* path, int flags, struct statx* status) override
    {
        return Run("stat", [&] { return CSystemCalls::Stat(folder, path, flags, status); });
    }
    int SetTimes(int file, const struct timespec times[2]) override
    {
        return Run("times", [&] { return CSystemCalls::SetTimes(file, times); });
    }
    int Access(const char* path, int mode) override
    {
        return Run("access", [&] { return CSystemCalls::Access(path, mode); });
    }
    int Rename(const char* from, const char* to, unsigned flags) override
    {
        return Run("rename", [&] { return CSystemCalls::Rename(from, to, flags); });
    }
    int Unlink(const char* path) override
    {
        return Run("unlink", [&] { return CSystemCalls::Unlink(path); });
    }
    int LinkOpenFile(int file, const char* path) override
    {
        return Run("link", [&] { return CSystemCalls::LinkOpenFile(file, path); });
    }
    int MakeFolder(const char* path, mode_t mode) override
    {
        return Run("mkdir", [&] { return CSystemCalls::MakeFolder(path, mode); });
    }
    ssize_t ListEntries(int folder, void* buffer, std::size_t size) override
    {
        return Run("list", [&] { return CSystemCalls::ListEntries(folder, buffer, size); });
    }
    off_t Rewind(int folder) override
    {
        return Run("rewind", [&] { return CSystemCalls::Rewind(folder); });
    }
    ssize_t GetAttribute(const char* path, const char* name, void* value, std::size_t size) override
    {
        return Run("getxattr", [&] { return CSystemCalls::GetAttribute(path, name, value, size); });
    }
    ssize_t GetOpenAttribute(int file, const char* name, void* value, std::size_t size) override
    {
        return Run("getxattr",
                   [&] { return CSystemCalls::GetOpenAttribute(file, name, value, size); });
    }
    int SetOpenAttribute(int file, const char* name, const void* value, std::size_t size) override
    {
        return Run("setxattr",
                   [&] { return CSystemCalls::SetOpenAttribute(file, name, value, size); });
    }

    // A write that is hit moves half of its bytes first.
    void CutWrites(bool on) { m_isCutting = on; }

private:
    bool IsDead() const { return m_isMortal && m_failAt > 0 && m_calls >= m_failAt; }

    template <class Call>
    auto Run(const char* name, Call call) -> decltype(call())
    {
        ++m_calls;
        if (m_calls == m_failAt || IsDead()) {
            m_hit = name;
            errno = m_error;
            return -1;
        }
        return call();
    }

    int m_calls = 0;
    int m_failAt = 0;
    int m_error = 0;
    bool m_isMortal = false;
    bool m_isCutting = false;
    std::string m_hit;
    std::set<int> m_open;
};
