#pragma once

#include "platform/FileAttributes.h"
#include "platform/FileHandle.h"
#include "platform/FileOpen.h"
#include "platform/FileRewrite.h"

#include <filesystem>
#include <string>
#include <string_view>

// Files as the address book handles them.

inline HANDLE OpenExclusive(const std::string& path, std::uint32_t disposition = OPEN_EXISTING)
{
    return CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE);
}

inline bool CanOpen(const std::string& path, std::uint32_t disposition = OPEN_EXISTING)
{
    return CFileHandle(OpenExclusive(path, disposition)).IsOpen();
}

// A new file: made, and saved for the first time.
inline bool MakeFile(const std::string& path, std::string_view content)
{
    const CFileHandle file(OpenExclusive(path, CREATE_NEW));
    return file.IsOpen() && RewriteFile(file.Get(), content) == 1;
}

inline bool Rewrite(const std::string& path, std::string_view content)
{
    const CFileHandle file(OpenExclusive(path));
    return file.IsOpen() && RewriteFile(file.Get(), content) == 1;
}

// The last-write time of a file or folder; zero where there is none.
inline FILETIME LastWriteOf(const std::string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    return GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data) == 0
               ? FILETIME()
               : data.ftLastWriteTime;
}

inline std::filesystem::path PathOf(int file)
{
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file));
}
