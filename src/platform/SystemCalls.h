#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/types.h>
#include <time.h>

inline namespace contactmgr_internal
{

// The system calls of the platform layer, one operation each, with the call's own result and errno.
// All calls go through the current instance. A test can replace it to count calls, and to fail or
// cut short the Nth one. A call that a signal interrupted is repeated here and nowhere else.
class CSystemCalls
{
public:
    virtual ~CSystemCalls() = default;

    virtual int Open(const char* path, int flags, mode_t mode);
    // An interrupted close succeeds: the descriptor is closed.
    virtual int Close(int file);
    virtual ssize_t ReadAt(int file, void* buffer, std::size_t size, off_t position);
    virtual ssize_t WriteAt(int file, const void* buffer, std::size_t size, off_t position);
    virtual int Truncate(int file, off_t length);
    // Reserves room on the disk. The file's length stays.
    virtual int Allocate(int file, off_t position, off_t length);
    virtual int Lock(int file, int operation);
    virtual int Sync(int file);
    virtual int SyncFileSystem(int file);
    // An empty path stands for the open file `folder`.
    virtual int Stat(int folder, const char* path, int flags, struct statx* status);
    virtual int StatFileSystem(const char* path, struct statfs* status);
    virtual int SetTimes(int file, const struct timespec times[2]);
    virtual int SetTimes(const char* path, const struct timespec times[2]);
    virtual int SetOwner(int file, uid_t user, gid_t group);
    virtual int SetMode(int file, mode_t mode);
    virtual int Access(const char* path, int mode);
    virtual int Rename(const char* from, const char* to, unsigned flags);
    virtual int Unlink(const char* path);
    // Names an open file that was made without a name.
    virtual int Link(int file, const char* path);
    virtual int MakeFolder(const char* path, mode_t mode);
    virtual int RemoveFolder(const char* path);
    virtual ssize_t ListEntries(int folder, void* buffer, std::size_t size);
    virtual off_t Rewind(int folder);
    virtual ssize_t GetAttribute(const char* path, const char* name, void* value, std::size_t size);
    virtual ssize_t GetAttribute(int file, const char* name, void* value, std::size_t size);
    // EEXIST where the file has the attribute.
    virtual int AddAttribute(int file, const char* name, const void* value, std::size_t size);
    // The path with all symbolic links followed (realpath).
    virtual int ResolvePath(const char* path, std::string* resolved);
    // The home folder of a user of the system; empty and 0 for a user who is unknown.
    virtual int GetHomeFolder(const char* user, std::string* home);
    virtual int ListUsers(std::vector<std::string>* names);
    virtual int Now(struct timespec* time);

    static CSystemCalls& Current() noexcept;

    // Makes another instance current; null stands for the system's own. The caller keeps owning it.
    // No other thread may be inside the library.
    static void Replace(CSystemCalls* calls) noexcept;

protected:
    // Called before each system call except Now, with the call's name, such as "open". 0 lets the
    // call go on; an errno value makes it fail with that value.
    virtual int Begin(const char* /*call*/) { return 0; }

private:
    template <class Call>
    auto Make(const char* name, Call call) -> decltype(call());
};

} // namespace contactmgr_internal
