#pragma once

#include "platform/LastError.h"
#include "platform/Types.h"

#include <string>
#include <string_view>
#include <vector>

// File operations with the names, arguments, results and last errors of the Windows interface, on
// POSIX. Paths are bytes, divided by '/'. A result of 0, false or INVALID_HANDLE_VALUE is a
// failure with the reason in the last error: 2 for a missing file, 3 for a missing folder on the
// way to it, 5 without the right, 112 on a full disk and so on (platform/LastError.h). A handle
// belongs to one thread at a time. Where memory ends the operations throw std::bad_alloc.

inline constexpr std::uint32_t GENERIC_READ = 0x80000000;
inline constexpr std::uint32_t GENERIC_WRITE = 0x40000000;
inline constexpr std::uint32_t FILE_SHARE_READ = 1;
inline constexpr std::uint32_t FILE_SHARE_WRITE = 2;
inline constexpr std::uint32_t CREATE_NEW = 1;
inline constexpr std::uint32_t OPEN_EXISTING = 3;
inline constexpr std::uint32_t TRUNCATE_EXISTING = 5;
inline constexpr std::uint32_t FILE_ATTRIBUTE_DIRECTORY = 16;
inline constexpr std::uint32_t FILE_ATTRIBUTE_NORMAL = 128;
inline constexpr std::uint32_t FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;
inline constexpr std::uint32_t FILE_BEGIN = 0;
inline constexpr std::uint32_t FILE_CURRENT = 1;
inline constexpr std::uint32_t FILE_END = 2;
inline constexpr std::uint32_t INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
inline constexpr std::uint32_t INVALID_FILE_SIZE = 0xFFFFFFFF;

// Opens or creates a file, or opens a folder (FILE_FLAG_BACKUP_SEMANTICS, OPEN_EXISTING).
//
// Share mode 0 holds the file exclusively from here to CloseHandle: another open with share mode 0,
// in this process or any other, fails at once with 32. Any other share mode takes no lock and
// respects none. CREATE_NEW fails with 183 if the name exists; a new file appears under its name
// already locked.
// TRUNCATE_EXISTING empties the file once the lock is held and stamps it; where only the stamp
// failed the file is empty after the failure, and asking again stamps it. An exclusive open of an
// existing file for writing first completes a rewrite that did not come to its end, and fails with
// the code of what it could not do for that, such as 112. It makes the folder ".redo" where that is
// missing, if it can. Symbolic links, devices and pipes are
// refused with 5 under share mode 0. A child process that was forked while a file is held, and has
// not called exec, holds it too.
HANDLE CreateFileA(const char* path, std::uint32_t access, std::uint32_t shareMode,
                   const void* securityAttributes, std::uint32_t disposition,
                   std::uint32_t flagsAndAttributes, HANDLE templateFile);

// After a failure the file is closed all the same; the handle is then to be closed once more, which
// frees it. FindClose likewise.
int CloseHandle(HANDLE handle);

// Read or write at the handle's position, which moves on. *count says how many bytes went; a read
// at the end of the file gives 0 bytes and success. A write moves all bytes or fails.
int ReadFile(HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* count, void* overlapped);
int WriteFile(HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* count,
              void* overlapped);

// The new position's low 32 bits; INVALID_SET_FILE_POINTER on failure. distanceHigh may be null.
std::uint32_t SetFilePointer(HANDLE file, std::int32_t distance, std::int32_t* distanceHigh,
                             std::uint32_t method);

// The length's low 32 bits, the high ones through sizeHigh, which may be null; INVALID_FILE_SIZE
// on failure.
std::uint32_t GetFileSize(HANDLE file, std::uint32_t* sizeHigh);

// Replaces the whole content of a file that is held exclusively for writing, stamps it, and moves
// its folder's time there (platform/ChangeProtocol.h). Name, lock and creation time stay. A process
// that dies at any point leaves the old or the new content, or a part of it that the next exclusive
// open completes. A failure leaves the old content, or such a part: then calling it again, or that
// open, completes it first. Last error 223: more than 64 MiB; 2: another file has the name by now;
// 5: the file belongs to another user; 112: disk full; 170: no stamp could be given in time.
int RewriteFile(HANDLE file, std::string_view content);

// Stamps a file that is held exclusively, and moves its folder's time there; the content and a redo
// file stay. Last errors as RewriteFile.
int RestampFile(HANDLE file);

// Moves the redo files of the first release, "NAME.redo~" beside NAME in the folder, to where the
// next open completes NAME from them. Last error of the listing or the first failed rename.
int TakeOldRedoFiles(const char* folder);

// Moves the time of a folder of such files forward to the given one, but never behind the latest
// that it has had. *latest is where it then stands, also if this process may not move it (5). Last
// error 2 or 3: there is no such folder.
int MoveFolderTime(const char* folder, const FILETIME& time, FILETIME* latest);

// Times of an open file. Each pointer may be null; creation time as GetEntryCreationTime tells it.
int GetFileTime(HANDLE file, FILETIME* creation, FILETIME* lastAccess, FILETIME* lastWrite);

// Sets the last-write time; the two others must be null (87). A folder's time only moves forward:
// an earlier or equal time is success without effect.
int SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* lastAccess,
                const FILETIME* lastWrite);

enum GET_FILEEX_INFO_LEVELS
{
    GetFileExInfoStandard = 0
};

struct WIN32_FILE_ATTRIBUTE_DATA
{
    std::uint32_t dwFileAttributes = 0;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    std::uint32_t nFileSizeHigh = 0;
    std::uint32_t nFileSizeLow = 0;
};

// The attributes behind a path; one system call.
int GetFileAttributesExA(const char* path, GET_FILEEX_INFO_LEVELS level, void* data);

struct WIN32_FIND_DATA : WIN32_FILE_ATTRIBUTE_DATA
{
    char cFileName[260] = {};
};

// Searches a folder. The pattern is FOLDER/*, FOLDER/*SUFFIX or FOLDER/NAME; a suffix compares
// without regard to ASCII case. The entries "." and ".." and names of more than 259 bytes never
// match. The folder's names are listed whole, in one step, at FindFirstFileA, so that a rename at
// the same time hides no entry; times and size are read as each entry is delivered, and an entry
// that has gone since is passed over. Creation time is the file system's, or 0 where it has
// none; GetEntryCreationTime tells more. Last error 2: nothing matches; 3: no such
// folder; 18: no more entries.
HANDLE FindFirstFileA(const char* pattern, WIN32_FIND_DATA* data);
int FindNextFileA(HANDLE search, WIN32_FIND_DATA* data);
int FindClose(HANDLE search);

// The creation time of the entry that the search delivered last: when an exclusive CREATE_NEW made
// the file; for one that came otherwise, the earlier of its birth and its last write.
FILETIME GetEntryCreationTime(HANDLE search, const WIN32_FIND_DATA& data);

// The names in a folder, in no order, without "." and ".."; times and sizes are not read.
int ListFolder(const char* path, std::vector<std::string>* names);

// The same without the folders in it, and only what ends in the suffix, without regard to ASCII
// case. A file that has been renamed since is still told by the name that it had.
int ListFiles(const char* path, std::vector<std::string>* names, std::string_view suffix = {});

// Renames without replacing: 183 if the target exists, 2 if the source is gone. Of two callers who
// rename one source exactly one succeeds; where the file system does not see to that, a lock on the
// file does, and 32 says that somebody else held it for long.
int MoveFileA(const char* from, const char* to);

// Renames and replaces an existing target in one step. The file takes over owner, group and mode of
// the target, as far as this process may set them. Root is refused (5) where the file has a second
// name, which somebody may have given it.
int ReplaceFileA(const char* from, const char* to);

int DeleteFileA(const char* path);

// Makes a file for its name alone: 183 if the name exists.
int MakeEmptyFile(const char* path);

// Makes one folder, not its parents: 183 if the name exists, 3 without the parent.
int CreateDirectoryA(const char* path, const void* securityAttributes);

// Whether what RewriteFile and TRUNCATE_EXISTING do in this process is flushed to the disk before
// it counts as done, which protects it from a power cut. A new file is flushed by its first
// rewrite. Off at start. Set it before other threads use the library.
void SetFlushing(bool on) noexcept;

// Whether file times in a folder keep fractions of a second, as followers of changes need. Tried on
// a file without a name, or one that goes at once; true where none can be made.
bool KeepsFineFileTimes(const char* folder);

// Whether this process may make names in a folder; if not, the last error says why.
bool MayWriteFolder(const char* path);

// Writes everything that stands unflushed on the file system of the path to its disk. Last error 2
// or 3: there is no such path; 112, 1117: what the disk refused.
int FlushFileSystem(const char* path);
