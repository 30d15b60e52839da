#include "platform/FileOpen.h"

#include "platform/Errno.h"
#include "platform/Failure.h"
#include "platform/HeldFile.h"
#include "platform/NewFile.h"
#include "platform/SystemCalls.h"

inline namespace contactmgr_internal
{

namespace
{

int AccessFlags(std::uint32_t access)
{
    switch (access & (GENERIC_READ | GENERIC_WRITE)) {
    case GENERIC_READ:
        return O_RDONLY;
    case GENERIC_WRITE:
        return O_WRONLY;
    default:
        return O_RDWR;
    }
}

// False with errno set.
bool OpenByDisposition(COpenFile& file, const char* path, std::uint32_t access,
                       std::uint32_t disposition)
{
    if (file.IsFolder()) {
        return file.Open(path, O_RDONLY | O_DIRECTORY);
    }
    if (disposition == CREATE_NEW) {
        return file.Own(MakeFile(path));
    }
    // O_NONBLOCK: a pipe must not block the open.
    return file.Open(path, AccessFlags(access) | O_NONBLOCK |
                               (disposition == TRUNCATE_EXISTING ? O_TRUNC : 0));
}

std::unique_ptr<COpenFile> OpenUnlocked(const char* path, bool isFolder, std::uint32_t access,
                                        std::uint32_t disposition)
{
    auto file = std::make_unique<COpenFile>(isFolder);
    if (!OpenByDisposition(*file, path, access, disposition)) {
        FailWithErrno(path);
        return nullptr;
    }
    return file;
}

// The object is made before the file: exhausted memory must not leave a file that was just made.
std::unique_ptr<COpenFile> OpenHeld(const char* path, std::uint32_t access,
                                    std::uint32_t disposition)
{
    auto file = std::make_unique<CHeldFile>(path);
    bool isReady = false;
    if (disposition == CREATE_NEW) {
        isReady = file->Create();
    } else if (disposition == TRUNCATE_EXISTING) {
        isReady = file->Hold() && file->Empty();
    } else {
        isReady =
            file->Hold() && ((access & GENERIC_WRITE) == 0 || file->Repair()) && file->ReadStart();
    }
    return isReady ? std::move(file) : nullptr;
}

bool IsKnownDisposition(std::uint32_t disposition)
{
    return disposition == CREATE_NEW || disposition == OPEN_EXISTING ||
           disposition == TRUNCATE_EXISTING;
}

} // namespace

HANDLE CreateFileA(const char* path, std::uint32_t access, std::uint32_t shareMode,
                   const void* /*securityAttributes*/, std::uint32_t disposition,
                   std::uint32_t flagsAndAttributes, HANDLE /*templateFile*/)
{
    const bool isFolder = (flagsAndAttributes & FILE_FLAG_BACKUP_SEMANTICS) != 0;
    if (path == nullptr || !IsKnownDisposition(disposition) ||
        (isFolder && disposition != OPEN_EXISTING)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    return COpenFile::ToHandle(shareMode == 0 && !isFolder
                                   ? OpenHeld(path, access, disposition)
                                   : OpenUnlocked(path, isFolder, access, disposition));
}

int CloseHandle(HANDLE handle)
{
    COpenFile* file = COpenFile::FromHandle(handle);
    if (file == nullptr) {
        return 0;
    }
    if (!file->Close()) {
        return FailWithErrno();
    }
    delete file;
    return 1;
}

} // namespace contactmgr_internal
