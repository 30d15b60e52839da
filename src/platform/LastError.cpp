#include "platform/LastError.h"

namespace
{

thread_local std::uint32_t t_lastError = ERROR_SUCCESS;

struct TextRow
{
    std::uint32_t code;
    const char* text;
};

constexpr TextRow kTextTable[] = {
    {ERROR_SUCCESS, "no error"},
    {ERROR_FILE_NOT_FOUND, "not found"},
    {ERROR_PATH_NOT_FOUND, "folder not found"},
    {ERROR_TOO_MANY_OPEN_FILES, "too many open files"},
    {ERROR_ACCESS_DENIED, "access denied"},
    {ERROR_INVALID_HANDLE, "invalid handle"},
    {ERROR_NOT_ENOUGH_MEMORY, "out of memory"},
    {ERROR_INVALID_DATA, "invalid data"},
    {ERROR_NOT_SAME_DEVICE, "not on the same file system"},
    {ERROR_NO_MORE_FILES, "no more files"},
    {ERROR_GEN_FAILURE, "unexpected system failure"},
    {ERROR_SHARING_VIOLATION, "in use by another program"},
    {ERROR_LOCK_VIOLATION, "locked by another program"},
    {ERROR_HANDLE_EOF, "unexpected end of file"},
    {ERROR_NOT_SUPPORTED, "not supported"},
    {ERROR_INVALID_PARAMETER, "invalid parameter"},
    {ERROR_DISK_FULL, "disk full"},
    {ERROR_INSUFFICIENT_BUFFER, "buffer too small"},
    {ERROR_DIR_NOT_EMPTY, "folder not empty"},
    {ERROR_BUSY, "busy"},
    {ERROR_ALREADY_EXISTS, "exists already"},
    {ERROR_FILENAME_EXCED_RANGE, "name too long"},
    {ERROR_FILE_TOO_LARGE, "file too large"},
    {ERROR_UNSUPPORTED_COMPRESSION, "stored in a compression that is not read"},
    {ERROR_OPERATION_ABORTED, "operation interrupted"},
    {ERROR_FILE_INVALID, "file changed underneath"},
    {ERROR_IO_DEVICE, "input/output error"},
    {ERROR_NOT_FOUND, "no store has it"},
    {ERROR_ALREADY_INITIALIZED, "nothing new"},
    {ERROR_DISK_QUOTA_EXCEEDED, "disk quota exceeded"},
    {ERROR_CANT_RESOLVE_FILENAME, "too many symbolic links"},
};

} // namespace

std::uint32_t GetLastError() noexcept
{
    return t_lastError;
}

void SetLastError(std::uint32_t code) noexcept
{
    t_lastError = code;
}

const char* LastErrorText(std::uint32_t code) noexcept
{
    for (const TextRow& row : kTextTable) {
        if (row.code == code) {
            return row.text;
        }
    }
    return "unknown error";
}
