#include "platform/FileRewrite.h"

#include "platform/FileStamp.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <linux/magic.h>

namespace
{

constexpr std::uint64_t kSmallestBlock = 1024;
constexpr std::size_t kSmallestPage = 4096;
constexpr std::size_t kLargestRedo = std::size_t{1} << 30;

// Ends a redo file. All parts are of the machine's own byte order: writer and repairer stand on
// the same store, and a trailer that does not fit only means that the old content stays.
struct RedoTrailer
{
    char magic[16];
    std::uint64_t contentSize;
    std::uint64_t checksum;
};

constexpr char kRedoMagic[16] = {'\n', 'c', 'o', 'n', 't', 'a', 'c', 't',
                                 'm',  'g', 'r', '-', 'r', 'e', 'd', 'o'};

std::uint64_t Checksum(std::string_view bytes)
{
    constexpr std::uint64_t kPrime = 0x9E3779B97F4A7C15;
    std::uint64_t sum = bytes.size() * kPrime;
    while (!bytes.empty()) {
        std::uint64_t word = 0;
        const std::size_t size = std::min(bytes.size(), sizeof(word));
        std::memcpy(&word, bytes.data(), size);
        sum = (sum ^ word) * kPrime;
        sum ^= sum >> 29;
        bytes.remove_prefix(size);
    }
    return sum;
}

bool RemoveRedo(COpenFile& file)
{
    file.mayHaveRedo = RetryInterrupted([&] {
                           return CSystemCalls::Current().Unlink(file.redoPath.c_str());
                       }) != 0 &&
                       errno != ENOENT;
    return !file.mayHaveRedo || FailWithErrno();
}

std::string RedoText(std::string_view content)
{
    RedoTrailer trailer = {};
    std::memcpy(trailer.magic, kRedoMagic, sizeof(kRedoMagic));
    trailer.contentSize = content.size();
    trailer.checksum = Checksum(content);
    std::string text;
    text.reserve(content.size() + sizeof(trailer));
    text.append(content);
    text.append(reinterpret_cast<const char*>(&trailer), sizeof(trailer));
    return text;
}

// Cuts the trailer off; false if the redo file is not complete.
bool CheckRedo(std::string* text)
{
    RedoTrailer trailer = {};
    if (text->size() < sizeof(trailer)) {
        return false;
    }
    const std::size_t contentSize = text->size() - sizeof(trailer);
    std::memcpy(&trailer, text->data() + contentSize, sizeof(trailer));
    text->resize(contentSize);
    return std::memcmp(trailer.magic, kRedoMagic, sizeof(kRedoMagic)) == 0 &&
           trailer.contentSize == contentSize && trailer.checksum == Checksum(*text);
}

bool WriteRedo(COpenFile& file, std::string_view content)
{
    CSystemCalls& calls = CSystemCalls::Current();
    const std::string text = RedoText(content);
    file.mayHaveRedo = true;
    CDescriptor redo(RetryInterrupted([&] {
        return calls.Open(file.redoPath.c_str(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                          kFileMode);
    }));
    if (!redo.IsOpen() || !WriteAll(redo.Get(), text, 0)) {
        return FailWithErrno();
    }
    if (IsFlushing() && RetryInterrupted([&] { return calls.Sync(redo.Get()); }) != 0) {
        return FailWithErrno();
    }
    if (!redo.Close()) {
        return FailWithErrno();
    }
    return !IsFlushing() || SyncFolder(file.folder.c_str()) || FailWithErrno();
}

bool Truncate(COpenFile& file, std::uint64_t size)
{
    if (RetryInterrupted([&] {
            return CSystemCalls::Current().Truncate(file.descriptor, static_cast<off_t>(size));
        }) != 0) {
        return false;
    }
    file.size = size;
    return true;
}

bool SyncIfFlushing(const COpenFile& file)
{
    return !IsFlushing() ||
           RetryInterrupted([&] { return CSystemCalls::Current().Sync(file.descriptor); }) == 0;
}

bool StampAndMoveFolder(const COpenFile& file)
{
    FILETIME stamp;
    if (!StampFile(file.descriptor, file.folder.c_str(), &stamp)) {
        return false;
    }
    WaitForStamp(stamp);
    return MoveFolderTime(file.folder.c_str(), stamp);
}

// The length is not known for sure from a write's beginning until it has come to a good end.
void ExpectAtLeast(COpenFile& file, std::uint64_t size)
{
    file.size = std::max(file.size, size);
}

bool LearnSize(COpenFile& file)
{
    struct statx status = {};
    if (RetryInterrupted([&] {
            return CSystemCalls::Current().Stat(file.descriptor, "", AT_EMPTY_PATH, &status);
        }) != 0) {
        return false;
    }
    file.size = status.stx_size;
    return true;
}

// Room for a longer text, so that a full disk is noticed before the old one is touched. Where room
// cannot be reserved, the writing tells.
bool Reserve(COpenFile& file, std::uint64_t size)
{
    if (file.size == 0 || size / kSmallestBlock <= file.size / kSmallestBlock) {
        return true;
    }
    if (RetryInterrupted([&] {
            return CSystemCalls::Current().Allocate(file.descriptor, static_cast<off_t>(file.size),
                                                    static_cast<off_t>(size - file.size));
        }) == 0 ||
        errno == EOPNOTSUPP || errno == ENOSYS) {
        return true;
    }
    FailWithErrno();
    const CKeepLastError keep;
    if (LearnSize(file) && Truncate(file, file.size)) { // gives back what was reserved
        StampAndMoveFolder(file);
    }
    return false;
}

// What can be refused before anything is touched: a file that has been replaced under its name
// since it was opened, or one that this process may not stamp.
bool PrepareChange(COpenFile& file)
{
    struct statx status = {};
    if (RetryInterrupted([&] {
            return CSystemCalls::Current().Stat(AT_FDCWD, file.path.c_str(), AT_SYMLINK_NOFOLLOW,
                                                &status);
        }) != 0) {
        return FailWithErrno(file.path.c_str());
    }
    if (status.stx_ino != file.inode) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return false;
    }
    return MayStamp(file.descriptor, status) &&
           (file.note.isRead || ReadNote(file.descriptor, &file.note)) &&
           (file.isCreationOpen || MendCreation(file.descriptor, status, &file.note));
}

bool Overwrite(COpenFile& file, std::string_view content)
{
    ExpectAtLeast(file, content.size());
    if (!WriteAll(file.descriptor, content, 0)) {
        return FailWithErrno();
    }
    if (content.size() < file.size && !Truncate(file, content.size())) {
        return FailWithErrno();
    }
    return SyncIfFlushing(file) || FailWithErrno();
}

// After a failed overwrite the content is neither old nor new. An empty file is the state that
// everybody knows how to read; where even that fails, a redo file stays for the next open.
void EmptyAfterFailure(COpenFile& file)
{
    const CKeepLastError keep;
    if (Truncate(file, 0)) {
        RemoveRedo(file);
        StampAndMoveFolder(file);
    }
}

bool ReadRedo(const char* path, std::string* text, bool* found)
{
    CSystemCalls& calls = CSystemCalls::Current();
    *found = false;
    const CDescriptor redo(RetryInterrupted(
        [&] { return calls.Open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0); }));
    if (!redo.IsOpen()) {
        return errno == ENOENT || FailWithErrno();
    }
    *found = true;
    struct statx status = {};
    if (RetryInterrupted([&] { return calls.Stat(redo.Get(), "", AT_EMPTY_PATH, &status); }) != 0) {
        return FailWithErrno();
    }
    if (!S_ISREG(status.stx_mode) || status.stx_size > kLargestRedo) {
        return true;
    }
    text->resize(status.stx_size);
    return ReadAll(redo.Get(), text->data(), text->size(), 0) || FailWithErrno();
}

// The old content has stayed, so the next open has nothing to stamp.
void CloseUnused(COpenFile& file)
{
    if (!file.isCreationOpen) {
        CloseNote(file.descriptor, &file.note);
    }
}

bool WriteByRedo(COpenFile& file, std::string_view content)
{
    if (!WriteRedo(file, content) || !Reserve(file, content.size())) {
        const CKeepLastError keep;
        DropRedo(file);
        CloseUnused(file);
        return false;
    }
    if (!Overwrite(file, content)) {
        EmptyAfterFailure(file);
        return false;
    }
    // The first of two stamps, for the case that this process dies before the other. Where it
    // fails, the next open finds the redo file.
    FILETIME stamp;
    return StampFile(file.descriptor, file.folder.c_str(), &stamp) && RemoveRedo(file);
}

// Whether a write of so many bytes is made whole or not at all, whenever its process dies. A kill
// is noticed between pages and where the process's limit ends a write, on some file systems between
// blocks; what happens behind a network or a FUSE server is not known.
bool FitsIntoOneWrite(const COpenFile& file, std::size_t size)
{
    constexpr std::array<long, 5> kTried = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC,
                                            TMPFS_MAGIC, OVERLAYFS_SUPER_MAGIC};
    if (IsFlushing() || file.mayHaveRedo || size < file.size || size > kSmallestPage) {
        return false;
    }
    CSystemCalls& calls = CSystemCalls::Current();
    struct statfs status = {};
    return RetryInterrupted([&] { return calls.StatFileSystem(file.descriptor, &status); }) == 0 &&
           std::find(kTried.begin(), kTried.end(), status.f_type) != kTried.end() &&
           static_cast<long>(size) <= status.f_bsize && size <= calls.LargestFileSize();
}

bool WriteAtOnce(COpenFile& file, std::string_view content)
{
    // In one page of memory too, which is there as a whole or not at all.
    alignas(kSmallestPage) std::array<char, kSmallestPage> page;
    const std::size_t size = content.copy(page.data(), page.size());
    ExpectAtLeast(file, size);
    const ssize_t written = RetryInterrupted(
        [&] { return CSystemCalls::Current().WriteAt(file.descriptor, page.data(), size, 0); });
    if (written < 0) {
        FailWithErrno();
        // Nothing was written as a rule, but the file's time may have been moved.
        const CKeepLastError keep;
        if (LearnSize(file) && StampAndMoveFolder(file)) {
            CloseUnused(file);
        }
        return false;
    }
    if (static_cast<std::size_t>(written) == size || WriteByRedo(file, content)) {
        return true;
    }
    EmptyAfterFailure(file);
    return false;
}

} // namespace

// The kernel stamps the folder as the redo file goes, with a clock that may lag behind stamps that
// others have put there.
bool DropRedo(COpenFile& file)
{
    const bool isGone = RemoveRedo(file);
    const CKeepLastError keep;
    MoveFolderTimeToNow(file.folder.c_str());
    return isGone;
}

bool RewriteOpenFile(COpenFile& file, std::string_view content)
{
    if (!PrepareChange(file)) {
        return false;
    }
    const char* const path = file.folder.c_str();
    const CDescriptor folder(OpenFolder(path));
    if (!folder.IsOpen()) {
        return FailWithErrno(file.path.c_str());
    }
    if (file.isCreationOpen &&
        !BeginCreation(file.descriptor, path, file.size == 0, &file.note, &file.creationBegin)) {
        return false;
    }
    bool isAtOnce = false;
    {
        const CKeepLastError keep;
        // A redo file moves the folder's time as it comes and goes. Without one it is moved before
        // the write, so that followers look even if this process dies right behind it.
        isAtOnce = OpenNote(file.descriptor, &file.note) && file.note.isOpen &&
                   FitsIntoOneWrite(file, content.size()) &&
                   MoveFolderTimeToNow(folder.Get(), path);
    }
    if (isAtOnce ? !WriteAtOnce(file, content) : !WriteByRedo(file, content)) {
        return false;
    }
    // The kernel stamps the folder as a redo file goes, with a clock that may lag behind stamps
    // that others have put there. So the stamp that the folder gets comes last.
    FILETIME stamp;
    if (!StampFile(file.descriptor, path, &stamp) ||
        (file.isCreationOpen &&
         !EndCreation(file.descriptor, file.creationBegin, stamp, &file.note))) {
        return false;
    }
    file.isCreationOpen = false;
    WaitForStamp(stamp);
    // Until the folder has the stamp, the next open that finds the note tries it again.
    const CKeepLastError keep;
    if (MoveFolderTime(folder.Get(), path, stamp)) {
        CloseNote(file.descriptor, &file.note);
    }
    return true;
}

bool EmptyOpenFile(COpenFile& file)
{
    // The folder first, so that followers look even if this process dies behind the truncation.
    if (!PrepareChange(file) || !MoveFolderTimeToNow(file.folder.c_str())) {
        return false;
    }
    // Once more would only move the file's time behind its stamp.
    if (file.size > 0 && !Truncate(file, 0)) {
        return FailWithErrno();
    }
    if ((SyncIfFlushing(file) || FailWithErrno()) && RemoveRedo(file) && StampAndMoveFolder(file)) {
        return true;
    }
    const CKeepLastError keep;
    StampAndMoveFolder(file);
    return false;
}

bool RepairOpenFile(COpenFile& file)
{
    std::string content;
    bool found = false;
    if (!ReadRedo(file.redoPath.c_str(), &content, &found)) {
        return false;
    }
    const bool isCut = found && file.size > 0 && CheckRedo(&content);
    if (isCut) {
        FILETIME stamp;
        if (!PrepareChange(file) || !Overwrite(file, content) ||
            !StampFile(file.descriptor, file.folder.c_str(), &stamp) || !RemoveRedo(file)) {
            return false;
        }
    } else if (found && !DropRedo(file)) {
        return false;
    }
    if (isCut || (file.note.isOpen && file.size > 0)) {
        // The content is whole; where this fails, the next open that finds the note tries it again.
        const CKeepLastError keep;
        if (PrepareChange(file) && StampAndMoveFolder(file)) {
            CloseNote(file.descriptor, &file.note);
        }
    }
    return true;
}
