#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>

// The system calls that the platform layer makes, one operation each, with the call's own result
// and errno. All calls go through the instance that is current, so that a test can put a derived
// one in its place and count, fail or cut short the Nth call. A call that a signal interrupted is
// repeated here and nowhere else.
class CSystemCalls
{
public:
    virtual ~CSystemCalls() = default;

    virtual int Open(const char* path, int flags, mode_t mode);
    // An interrupted close has closed, and counts as done.
    virtual int Close(int file);
    virtual ssize_t ReadAt(int file, void* buffer, std::size_t size, off_t position);
    virtual ssize_t WriteAt(int file, const void* buffer, std::size_t size, off_t position);
    virtual int Truncate(int file, off_t length);
    // Reserves room on the disk; the file's length stays.
    virtual int Allocate(int file, off_t position, off_t length);
    virtual int Lock(int file, int operation);
    virtual int Sync(int file);
    virtual int SyncFileSystem(int file);
    // An empty path means the open file `folder` itself.
    virtual int Stat(int folder, const char* path, int flags, struct statx* status);
    virtual int SetTimes(int file, const struct timespec times[2]);
    virtual int SetTimes(const char* path, const struct timespec times[2]);
    virtual int SetOwner(int file, uid_t user, gid_t group);
    virtual int SetMode(int file, mode_t mode);
    virtual int Access(const char* path, int mode);
    virtual int Rename(const char* from, const char* to, unsigned flags);
    virtual int Unlink(const char* path);
    // Gives a file that was opened without a name one.
    virtual int LinkOpenFile(int file, const char* path);
    virtual int MakeFolder(const char* path, mode_t mode);
    virtual int RemoveFolder(const char* path);
    virtual ssize_t ListEntries(int folder, void* buffer, std::size_t size);
    virtual off_t Rewind(int folder);
    virtual ssize_t GetAttribute(const char* path, const char* name, void* value, std::size_t size);
    virtual ssize_t GetOpenAttribute(int file, const char* name, void* value, std::size_t size);
    // EEXIST where the file has the attribute.
    virtual int AddOpenAttribute(int file, const char* name, const void* value, std::size_t size);
    virtual int Now(struct timespec* time);

    static CSystemCalls& Current() noexcept;

    // Puts another instance in the current one's place; null puts the system's own back. Not while
    // another thread is inside the library. The instance stays the caller's.
    static void Replace(CSystemCalls* calls) noexcept;

protected:
    // Asked before each call but Now, with its name, such as "open": an errno fails the call with
    // it, 0 lets it reach the system.
    virtual int Begin(const char* /*call*/) { return 0; }

private:
    template <class Call>
    auto Make(const char* name, Call call) -> decltype(call());
};
