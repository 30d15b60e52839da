#include "server/FileSystem.h"

namespace
{

bool IsFolder(const char* path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    return GetFileAttributesExA(path, GetFileExInfoStandard, &data) != 0 &&
           (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

} // namespace

int EnsureDirectory(const char* path)
{
    if (path == nullptr || *path == '\0') {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const std::uint32_t before = GetLastError();
    if (CreateDirectoryA(path, nullptr) != 0) {
        return 1;
    }
    if (GetLastError() != ERROR_ALREADY_EXISTS) {
        return 0;
    }
    if (!IsFolder(path)) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return 0;
    }
    SetLastError(before);
    return 1;
}
