#include "server/FileSystem.h"

#include "platform/Failure.h"
#include "platform/FileAttributes.h"
#include "platform/FileHandle.h"
#include "platform/FileNames.h"

#include <algorithm>
#include <chrono>
#include <thread>

inline namespace contactmgr_internal
{

namespace
{

// While another server makes a folder, a replicated file system may refuse its name and not show
// the folder yet.
constexpr int kLooks = 50;
constexpr std::chrono::milliseconds kPauseBetweenLooks{2};

bool IsOrBecomesFolder(const char* path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    for (int look = 0; look < kLooks; ++look) {
        if (GetFileAttributesExA(path, GetFileExInfoStandard, &data) != 0) {
            return (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        }
        std::this_thread::sleep_for(kPauseBetweenLooks);
    }
    return false;
}

} // namespace

int EnsureDirectory(const char* path)
{
    if (path == nullptr || *path == '\0') {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const std::uint32_t before = GetLastError();
    if (IsFolder(path)) {
        return 1;
    }
    if (GetLastError() != ERROR_PATH_NOT_FOUND) {
        return 0;
    }
    SetLastError(before);
    if (CreateDirectoryA(path, nullptr) != 0) {
        return 1;
    }
    if (GetLastError() != ERROR_ALREADY_EXISTS) {
        return 0;
    }
    if (!IsOrBecomesFolder(path)) {
        return Fail(ERROR_ALREADY_EXISTS);
    }
    SetLastError(before);
    return 1;
}

int EnsureDirectories(const std::string& root, const std::string& path)
{
    std::size_t end = root.size();
    while (end < path.size()) {
        end = std::min(path.find('/', end + 1), path.size());
        if (EnsureDirectory(path.substr(0, end).c_str()) == 0) {
            return 0;
        }
    }
    return 1;
}

int MoveFolderTimeForward(const char* path, const FILETIME& lastWrite)
{
    const CFileHandle folder(CFileSystem::CreateFileA(
        path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, INVALID_HANDLE_VALUE));
    return folder.IsOpen() && SetFileTime(folder.Get(), nullptr, nullptr, &lastWrite) != 0;
}

} // namespace contactmgr_internal
