#include "platform/FileRewrite.h"

#include "platform/ChangeProtocol.h"
#include "platform/CreationTime.h"
#include "platform/Failure.h"
#include "platform/FileStamp.h"
#include "platform/RedoFile.h"

#include <algorithm>

namespace
{

constexpr std::uint64_t kSmallestBlock = 1024;

bool Truncate(COpenFile& file, std::uint64_t size)
{
    if (CSystemCalls::Current().Truncate(file.descriptor, static_cast<off_t>(size)) != 0) {
        return false;
    }
    file.size = size;
    return true;
}

bool Sync(const COpenFile& file)
{
    return CSystemCalls::Current().Sync(file.descriptor) == 0;
}

// What can be refused before anything is touched: a file that has been replaced under its name
// since it was opened, or one that this process may not stamp.
bool PrepareChange(COpenFile& file)
{
    struct statx status = {};
    if (CSystemCalls::Current().Stat(AT_FDCWD, file.path.c_str(), AT_SYMLINK_NOFOLLOW, &status) !=
        0) {
        return FailWithErrno(file.path.c_str());
    }
    if (status.stx_ino != file.inode) {
        return Fail(ERROR_FILE_NOT_FOUND);
    }
    return MayStamp(file.descriptor, status) &&
           (KeepCreation(file.descriptor, status) || FailWithErrno());
}

// Room for a longer text, so that a full disk is noticed before the old one is touched. Where room
// cannot be reserved, the writing tells; so it does where old blocks are not written in place.
bool Reserve(COpenFile& file, std::uint64_t size)
{
    if (file.size == 0 || size / kSmallestBlock <= file.size / kSmallestBlock) {
        return true;
    }
    if (CSystemCalls::Current().Allocate(file.descriptor, static_cast<off_t>(file.size),
                                         static_cast<off_t>(size - file.size)) == 0 ||
        errno == EOPNOTSUPP || errno == ENOSYS) {
        return true;
    }
    FailWithErrno();
    const CKeepLastError keep;
    if (Truncate(file, file.size)) { // gives back what was reserved, and moves the file's time
        StampAndMoveFolder(file.descriptor, file.folder);
    }
    return false;
}

bool Overwrite(COpenFile& file, std::string_view content, bool isFlushing)
{
    // Until all is written the file may have any length up to this.
    file.size = std::max<std::uint64_t>(file.size, content.size());
    return (WriteAll(file.descriptor, content, 0) &&
            (content.size() >= file.size || Truncate(file, content.size())) &&
            (!isFlushing || Sync(file))) ||
           FailWithErrno();
}

// I1: all that comes behind a complete redo file.
bool Complete(COpenFile& file, std::string_view content, bool isFlushing)
{
    file.isUnfinished = true;
    if (!Overwrite(file, content, isFlushing) ||
        !StampAndMoveFolder(file.descriptor, file.folder) || !RemoveRedo(file)) {
        return false; // I2
    }
    file.isUnfinished = false;
    return true;
}

} // namespace

bool RewriteOpenFile(COpenFile& file, std::string_view content)
{
    if (content.size() > kLargestContent) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    // A new redo file takes the place of the old one, so the file has to be whole before.
    if ((file.isUnfinished && !RepairOpenFile(file)) || !PrepareChange(file)) {
        return false;
    }
    if (!WriteRedo(file, content) || !Reserve(file, content.size())) {
        const CKeepLastError keep;
        RemoveRedo(file);
        return false;
    }
    return Complete(file, content, IsFlushing());
}

bool EmptyOpenFile(COpenFile& file)
{
    // The folder first, so that followers look even if this process dies behind the truncation.
    FILETIME latest;
    if (!PrepareChange(file) || !MoveFolderToNow(file.folder, &latest)) {
        return false;
    }
    if ((file.size > 0 && !Truncate(file, 0)) || (IsFlushing() && !Sync(file))) {
        return FailWithErrno();
    }
    file.isUnfinished = false;
    {
        const CKeepLastError keep;
        RemoveRedo(file); // I3: one that stays is ignored
    }
    return StampAndMoveFolder(file.descriptor, file.folder);
}

bool RestampOpenFile(COpenFile& file)
{
    return PrepareChange(file) && StampAndMoveFolder(file.descriptor, file.folder);
}

bool RepairOpenFile(COpenFile& file)
{
    ERedo state = ERedo::None;
    std::string content;
    if (!ReadRedo(file, &state, &content)) {
        return false;
    }
    if (state != ERedo::None && !PrepareChange(file)) {
        return false;
    }
    if (state == ERedo::Complete && file.size > 0) {
        return Complete(file, content, true); // I8
    }
    if (state != ERedo::None && !RemoveRedo(file)) {
        return false;
    }
    file.isUnfinished = false;
    return true;
}
