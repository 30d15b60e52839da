#include "platform/FileContent.h"

#include "platform/Failure.h"
#include "platform/OpenFile.h"

#include <limits>

inline namespace contactmgr_internal
{

namespace
{

bool FindOrigin(const COpenFile& file, std::uint32_t method, std::uint64_t* origin)
{
    switch (method) {
    case FILE_BEGIN:
        *origin = 0;
        return true;
    case FILE_CURRENT:
        *origin = file.Position();
        return true;
    case FILE_END:
        return file.GetSize(origin);
    default:
        return Fail(ERROR_INVALID_PARAMETER);
    }
}

// With a high half the low half is unsigned.
std::int64_t Join(std::int32_t low, const std::int32_t* high)
{
    return high == nullptr
               ? low
               : static_cast<std::int64_t>(std::uint64_t{static_cast<std::uint32_t>(*high)} << 32 |
                                           static_cast<std::uint32_t>(low));
}

} // namespace

int ReadFile(HANDLE handle, void* buffer, std::uint32_t size, std::uint32_t* count,
             void* /*overlapped*/)
{
    COpenFile* file = COpenFile::FromHandle(handle);
    std::size_t moved = 0;
    if (file == nullptr || !file->Read(static_cast<char*>(buffer), size, &moved)) {
        return 0;
    }
    *count = static_cast<std::uint32_t>(moved);
    return 1;
}

int WriteFile(HANDLE handle, const void* buffer, std::uint32_t size, std::uint32_t* count,
              void* /*overlapped*/)
{
    COpenFile* file = COpenFile::FromHandle(handle);
    if (file == nullptr || !file->Write({static_cast<const char*>(buffer), size})) {
        return 0;
    }
    *count = size;
    return 1;
}

std::uint32_t SetFilePointer(HANDLE handle, std::int32_t distance, std::int32_t* distanceHigh,
                             std::uint32_t method)
{
    COpenFile* file = COpenFile::FromHandle(handle);
    std::uint64_t origin = 0;
    if (file == nullptr || !FindOrigin(*file, method, &origin)) {
        return INVALID_SET_FILE_POINTER;
    }
    const std::uint64_t target = origin + static_cast<std::uint64_t>(Join(distance, distanceHigh));
    if (target > std::numeric_limits<std::int64_t>::max()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_SET_FILE_POINTER;
    }
    file->SetPosition(target);
    if (distanceHigh != nullptr) {
        *distanceHigh = static_cast<std::int32_t>(target >> 32);
    }
    return static_cast<std::uint32_t>(target);
}

std::uint32_t GetFileSize(HANDLE handle, std::uint32_t* sizeHigh)
{
    const COpenFile* file = COpenFile::FromHandle(handle);
    std::uint64_t size = 0;
    if (file == nullptr || !file->GetSize(&size)) {
        return INVALID_FILE_SIZE;
    }
    if (sizeHigh != nullptr) {
        *sizeHigh = static_cast<std::uint32_t>(size >> 32);
    }
    return static_cast<std::uint32_t>(size);
}

} // namespace contactmgr_internal
