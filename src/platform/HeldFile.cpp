#include "platform/HeldFile.h"

#include "platform/ChangeProtocol.h"
#include "platform/CreationTime.h"
#include "platform/Errno.h"
#include "platform/Failure.h"
#include "platform/FileStamp.h"
#include "platform/Flushing.h"
#include "platform/NewFile.h"
#include "platform/Path.h"
#include "platform/RedoFile.h"
#include "platform/SystemCalls.h"

#include <algorithm>
#include <array>

#include <sys/file.h>

inline namespace contactmgr_internal
{

namespace
{

// A text that ends in the same block as the old one needs no further room.
constexpr std::uint64_t kSmallestBlock = 1024;

// What is read of a file when it is opened: most contacts whole.
constexpr std::size_t kStartSize = std::size_t{16} << 10;

} // namespace

CHeldFile::CHeldFile(const char* path) : COpenFile(false), m_path(path), m_folder(FolderOf(m_path))
{}

bool CHeldFile::Create()
{
    FILETIME latest;
    // I5: the new name sets the folder's time from a coarse clock, which may be earlier than a
    // version that was handed out. So the folder's time is moved again afterwards. Moving it now
    // shows whether this process may.
    if (!MoveFolderTimeToNow(m_folder, &latest)) {
        if (GetLastError() == ERROR_FILE_NOT_FOUND) {
            SetLastError(ERROR_PATH_NOT_FOUND);
        }
        return false;
    }
    std::optional<COwner> owner;
    if (!NewOwnerIn(m_folder, &owner) || !Own(MakeFile(m_path, owner, [&](int made) {
            // I6. A walk may lock a file that already has its name for a moment.
            return LockPatiently(made) && NoteCreation(made, latest) &&
                   SetLastWriteTime(made, latest);
        }))) {
        return FailWithErrno(m_path.c_str());
    }
    m_isCreationNoted = true;
    const CKeepLastError keep;
    MoveFolderTimeToNow(m_folder, &latest);
    return true;
}

bool CHeldFile::Hold()
{
    // Before the lock: making the redo folder copies old marked files, but no locked ones. A
    // failure shows again when the redo file is read.
    EnsureRedoFolder(m_folder);
    // Open for writing in any case: NFS gives no exclusive lock otherwise. O_NONBLOCK: a pipe must
    // not block the open.
    if (!Open(m_path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK)) {
        errno = errno == ELOOP ? EACCES : errno;
        return FailWithErrno(m_path.c_str());
    }
    return CSystemCalls::Current().Lock(Descriptor(), LOCK_EX | LOCK_NB) == 0 || FailWithErrno();
}

// A short read tells the length too, unless it ended with a page.
bool CHeldFile::ReadStart()
{
    std::array<char, kStartSize> start;
    const ssize_t count =
        CSystemCalls::Current().ReadAt(Descriptor(), start.data(), start.size(), 0);
    const int error = errno;
    m_size = static_cast<std::uint64_t>(std::max<ssize_t>(count, 0));
    if (IsPageEnd(m_size) && !ReadStatus()) {
        return false;
    }
    if (count < 0) {
        errno = error;
        return FailWithErrno();
    }
    m_start.assign(start.data(), static_cast<std::size_t>(count));
    return true;
}

bool CHeldFile::ReadStatus()
{
    struct statx status = {};
    if (!Stat(&status)) {
        return false;
    }
    if (!S_ISREG(status.stx_mode)) {
        return Fail(ERROR_ACCESS_DENIED);
    }
    m_size = status.stx_size;
    m_inode = status.stx_ino;
    return true;
}

bool CHeldFile::Rewrite(std::string_view content)
{
    if (content.size() > kLargestContent) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    // I1: the new redo file replaces the old one, so the file must be whole before.
    if ((m_isUnfinished && !Repair()) || !PrepareChange()) {
        return false;
    }
    if (!WriteRedo(m_folder, NameOf(m_path), content) || !Reserve(content.size())) {
        const CKeepLastError keep;
        RemoveRedoFile();
        return false;
    }
    return Complete(content, IsFlushing());
}

bool CHeldFile::Empty()
{
    // The folder first: if this process dies after the truncation, followers still look at the
    // file.
    FILETIME latest;
    if (!PrepareChange() || !MoveFolderTimeToNow(m_folder, &latest)) {
        return false;
    }
    if ((m_size > 0 && !Truncate(0)) || (IsFlushing() && !Sync())) {
        return FailWithErrno();
    }
    m_isUnfinished = false;
    {
        const CKeepLastError keep;
        RemoveRedoFile(); // I3: a failure does not matter
    }
    return StampAndMoveFolder(Descriptor(), m_folder);
}

bool CHeldFile::Restamp()
{
    return PrepareChange() && StampAndMoveFolder(Descriptor(), m_folder);
}

bool CHeldFile::Repair()
{
    ERedo state = ERedo::None;
    std::string content;
    if (!ReadRedo(m_folder, NameOf(m_path), &state, &content)) {
        return false;
    }
    if (state != ERedo::None && !PrepareChange()) {
        return false;
    }
    if (state == ERedo::Complete && m_size > 0) {
        return Complete(content, true); // I8: flushed
    }
    if (state != ERedo::None && !RemoveRedoFile()) {
        return false;
    }
    m_isUnfinished = false;
    return true;
}

bool CHeldFile::Read(char* buffer, std::size_t size, std::size_t* count)
{
    const std::uint64_t rest = m_size - std::min(m_size, Position());
    const std::size_t wanted = std::min<std::uint64_t>(size, rest);
    std::size_t total = TakeStart(buffer, wanted);
    for (std::size_t moved = 1; total < wanted && moved > 0; total += moved) {
        if (!COpenFile::Read(buffer + total, wanted - total, &moved)) {
            return false;
        }
    }
    *count = total;
    return true;
}

std::size_t CHeldFile::TakeStart(char* buffer, std::size_t size)
{
    if (Position() >= m_start.size()) {
        return 0;
    }
    const std::size_t taken = m_start.copy(buffer, size, Position());
    SetPosition(Position() + taken);
    if (Position() == m_start.size()) {
        std::string().swap(m_start);
    }
    return taken;
}

bool CHeldFile::Write(std::string_view bytes)
{
    m_start.clear();
    const bool isWritten = COpenFile::Write(bytes);
    m_size = std::max(m_size, Position());
    return isWritten;
}

bool CHeldFile::GetSize(std::uint64_t* size) const
{
    *size = m_size;
    return true;
}

// Refuses what would fail later: a file that was replaced under its name since its open, and one
// that this process may not stamp.
bool CHeldFile::PrepareChange()
{
    m_start.clear();
    struct statx status = {};
    if (m_inode == 0 && !ReadStatus()) {
        return false;
    }
    if (CSystemCalls::Current().Stat(AT_FDCWD, m_path.c_str(), AT_SYMLINK_NOFOLLOW, &status) != 0) {
        return FailWithErrno(m_path.c_str());
    }
    if (status.stx_ino != m_inode) {
        return Fail(ERROR_FILE_NOT_FOUND);
    }
    return MayStamp(Descriptor(), status) &&
           (m_isCreationNoted || KeepCreation(Descriptor(), status) || FailWithErrno());
}

// Reserves room for a longer text, so that a full disk shows before the old text is touched. Some
// file systems cannot, or write every block to a new place; there the overwriting fails instead.
bool CHeldFile::Reserve(std::uint64_t size)
{
    if (m_size == 0 || size / kSmallestBlock <= m_size / kSmallestBlock) {
        return true;
    }
    if (CSystemCalls::Current().Allocate(Descriptor(), static_cast<off_t>(m_size),
                                         static_cast<off_t>(size - m_size)) == 0 ||
        errno == EOPNOTSUPP || errno == ENOSYS) {
        return true;
    }
    FailWithErrno();
    const CKeepLastError keep;
    if (Truncate(m_size)) { // gives the reserved room back, and moves the file's time
        StampAndMoveFolder(Descriptor(), m_folder);
    }
    return false;
}

bool CHeldFile::Overwrite(std::string_view content, bool isFlushing)
{
    // Until a write succeeds the file may have any length up to this.
    m_size = std::max<std::uint64_t>(m_size, content.size());
    return (WriteAll(Descriptor(), content, 0) &&
            (content.size() >= m_size || Truncate(content.size())) && (!isFlushing || Sync())) ||
           FailWithErrno();
}

// I1: the steps after a complete redo file.
bool CHeldFile::Complete(std::string_view content, bool isFlushing)
{
    m_isUnfinished = true;
    if (!Overwrite(content, isFlushing) || !StampAndMoveFolder(Descriptor(), m_folder) ||
        !RemoveRedoFile()) {
        return false; // I2: the redo file stays
    }
    m_isUnfinished = false;
    return true;
}

// False with errno set.
bool CHeldFile::Truncate(std::uint64_t size)
{
    if (CSystemCalls::Current().Truncate(Descriptor(), static_cast<off_t>(size)) != 0) {
        return false;
    }
    m_size = size;
    return true;
}

// False with errno set.
bool CHeldFile::Sync()
{
    return CSystemCalls::Current().Sync(Descriptor()) == 0;
}

bool CHeldFile::RemoveRedoFile()
{
    return RemoveRedo(m_folder, NameOf(m_path));
}

} // namespace contactmgr_internal
