#include "Bare.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <dirent.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

thread_local std::size_t t_calls = 0;

constexpr std::size_t kListingBytes = 256 << 10;
constexpr std::size_t kContactBytes = 64 << 10;

// The call's result; the program ends if it is negative.
template <class Result>
Result Made(const char* call, Result result)
{
    ++t_calls;
    if (result < 0) {
        std::fprintf(stderr, "floor: %s: %s\n", call, std::strerror(errno));
        std::abort();
    }
    return result;
}

} // namespace

namespace Bare
{

std::size_t Calls() noexcept
{
    return t_calls;
}

int Open(int folder, const char* name, int flags, mode_t mode)
{
    return Made("open", openat(folder, name, flags | O_CLOEXEC, mode));
}

int OpenFolder(const char* path)
{
    return Open(AT_FDCWD, path, O_RDONLY | O_DIRECTORY);
}

void Close(int file)
{
    Made("close", close(file));
}

void Lock(int file)
{
    const int result = flock(file, LOCK_EX | LOCK_NB);
    Made("flock", errno == EWOULDBLOCK ? 0 : result);
}

std::size_t Read(int file, char* buffer, std::size_t size)
{
    return static_cast<std::size_t>(Made("pread", pread(file, buffer, size, 0)));
}

void Write(int file, const char* text, std::size_t size)
{
    Made("pwrite", pwrite(file, text, size, 0));
}

void Truncate(int file)
{
    Made("ftruncate", ftruncate(file, 0));
}

std::size_t SizeOf(int file)
{
    struct stat status = {};
    Made("fstat", fstat(file, &status));
    return static_cast<std::size_t>(status.st_size);
}

long Stat(int folder, const char* name)
{
    struct statx status = {};
    ++t_calls;
    const unsigned wanted = STATX_SIZE | STATX_MTIME | STATX_BTIME;
    return statx(folder, name, 0, wanted, &status) == 0 ? static_cast<long>(status.stx_size) : -1;
}

void Touch(int file)
{
    Made("futimens", futimens(file, nullptr));
}

void TouchPath(const char* path)
{
    Made("utimensat", utimensat(AT_FDCWD, path, nullptr, 0));
}

void Rename(int folder, const char* from, const char* to)
{
    Made("renameat2", renameat2(folder, from, folder, to, RENAME_NOREPLACE));
}

void CreateFile(const std::string& path, const std::string& text)
{
    const int file = Open(AT_FDCWD, path.c_str(), O_RDWR | O_CREAT | O_TRUNC);
    Write(file, text.data(), text.size());
    Close(file);
}

CListing::CListing(int folder) : m_folder(folder), m_buffer(new char[kListingBytes]) {}

const char* CListing::Next()
{
    for (;;) {
        if (m_at == m_end) {
            m_at = 0;
            m_end = static_cast<std::size_t>(
                Made("getdents64", getdents64(m_folder, m_buffer.get(), kListingBytes)));
            if (m_end == 0) {
                Made("lseek", lseek(m_folder, 0, SEEK_SET));
                return nullptr;
            }
        }
        const auto* entry = reinterpret_cast<const dirent64*>(m_buffer.get() + m_at);
        m_at += entry->d_reclen;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            return entry->d_name;
        }
    }
}

std::size_t ReadContact(int folder, const char* name)
{
    static thread_local std::array<char, kContactBytes> buffer;
    const int file = Open(folder, name);
    Lock(file);
    const std::size_t size = Read(file, buffer.data(), buffer.size());
    Close(file);
    return size;
}

} // namespace Bare
