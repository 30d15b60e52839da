#include "platform/OpenFile.h"

#include "platform/Errno.h"
#include "platform/Failure.h"
#include "platform/NewFile.h"
#include "platform/SystemCalls.h"

#include <utility>

inline namespace contactmgr_internal
{

HANDLE COpenFile::ToHandle(std::unique_ptr<COpenFile> file) noexcept
{
    return file == nullptr ? INVALID_HANDLE_VALUE
                           : HANDLE{reinterpret_cast<std::intptr_t>(file.release())};
}

COpenFile* COpenFile::FromHandle(HANDLE handle) noexcept
{
    if (handle == INVALID_HANDLE_VALUE || handle == HANDLE{0}) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    return reinterpret_cast<COpenFile*>(static_cast<std::intptr_t>(handle));
}

bool COpenFile::Open(const char* path, int flags) noexcept
{
    return Own(
        CDescriptor(CSystemCalls::Current().Open(path, flags | O_CLOEXEC | O_NOCTTY, kFileMode)));
}

bool COpenFile::Own(CDescriptor file) noexcept
{
    m_file = std::move(file);
    return m_file.IsOpen();
}

bool COpenFile::Close() noexcept
{
    return !m_file.IsOpen() || m_file.Close();
}

bool COpenFile::Stat(struct statx* status) const
{
    return CSystemCalls::Current().Stat(Descriptor(), "", AT_EMPTY_PATH, status) == 0 ||
           FailWithErrno();
}

CHeldFile* COpenFile::Held() noexcept
{
    return Fail(ERROR_ACCESS_DENIED);
}

bool COpenFile::Read(char* buffer, std::size_t size, std::size_t* count)
{
    std::size_t total = 0;
    for (ssize_t moved = 1; total < size && moved > 0 && (total == 0 || IsPageEnd(m_position));) {
        moved = CSystemCalls::Current().ReadAt(Descriptor(), buffer + total, size - total,
                                               static_cast<off_t>(m_position));
        if (moved < 0) {
            return FailWithErrno();
        }
        total += static_cast<std::size_t>(moved);
        m_position += static_cast<std::uint64_t>(moved);
    }
    *count = total;
    return true;
}

bool COpenFile::Write(std::string_view bytes)
{
    if (!WriteAll(Descriptor(), bytes, m_position)) {
        return FailWithErrno();
    }
    m_position += bytes.size();
    return true;
}

bool COpenFile::GetSize(std::uint64_t* size) const
{
    struct statx status = {};
    if (!Stat(&status)) {
        return false;
    }
    *size = status.stx_size;
    return true;
}

} // namespace contactmgr_internal
