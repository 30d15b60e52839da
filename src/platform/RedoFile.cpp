#include "platform/RedoFile.h"

#include "platform/ChangeProtocol.h"
#include "platform/Errno.h"
#include "platform/FileSearch.h"
#include "platform/Flushing.h"
#include "platform/NewFile.h"
#include "platform/SystemCalls.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <vector>

#include <sys/file.h>

inline namespace contactmgr_internal
{

namespace
{

// The end of a redo file, in the machine's byte order. Where another machine cannot read it, the
// old text stays.
struct RedoTrailer
{
    char magic[16];
    std::uint64_t contentSize;
    std::uint64_t checksum;
};

constexpr char kRedoMagic[16] = {'\n', 'c', 'o', 'n', 't', 'a', 'c', 't',
                                 'm',  'g', 'r', '-', 'r', 'e', 'd', 'o'};

// The last folder in which this thread found a redo folder, and the owner of what root makes there.
struct CKnownFolder
{
    std::string path;
    std::optional<COwner> owner;
};
thread_local CKnownFolder t_known;

// Finds files that were cut or written in part. Nobody forges them, so it need not be strong.
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

std::string RedoPath(const std::string& folder, std::string_view name)
{
    std::string path;
    path.reserve(folder.size() + std::strlen(kRedoFolder) + 1 + name.size());
    return path.append(folder).append(kRedoFolder).append(1, '/').append(name);
}

// Reads the trailer first, so that a large file of another kind is not read. False with errno set.
bool ReadState(int redo, ERedo* state, std::string* content)
{
    struct statx status = {};
    RedoTrailer trailer = {};
    if (CSystemCalls::Current().Stat(redo, "", AT_EMPTY_PATH, &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.stx_mode)) {
        *state = ERedo::None;
        return true;
    }
    *state = ERedo::Incomplete;
    if (status.stx_size < sizeof(trailer) || status.stx_size > kLargestContent + sizeof(trailer)) {
        return true;
    }
    const std::uint64_t size = status.stx_size - sizeof(trailer);
    if (!ReadAll(redo, reinterpret_cast<char*>(&trailer), sizeof(trailer), size)) {
        return false;
    }
    if (std::memcmp(trailer.magic, kRedoMagic, sizeof(kRedoMagic)) != 0 ||
        trailer.contentSize != size) {
        return true;
    }
    content->resize(size);
    if (!ReadAll(redo, content->data(), size, 0)) {
        return false;
    }
    if (trailer.checksum == Checksum(*content)) {
        *state = ERedo::Complete;
    }
    return true;
}

bool WriteAndClose(CDescriptor redo, std::string_view text)
{
    return redo.IsOpen() && WriteAll(redo.Get(), text, 0) &&
           (!IsFlushing() || CSystemCalls::Current().Sync(redo.Get()) == 0) && redo.Close();
}

CDescriptor OpenOrMake(const std::string& path, int flags, const std::optional<COwner>& owner)
{
    CSystemCalls& calls = CSystemCalls::Current();
    flags |= O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    if (!owner) {
        return CDescriptor(calls.Open(path.c_str(), flags | O_CREAT, kFileMode));
    }
    CDescriptor file(calls.Open(path.c_str(), flags, 0));
    if (file.IsOpen() || errno != ENOENT) {
        return file;
    }
    file = MakeFile(path, owner, [](int) { return true; });
    // Another process may have made it meanwhile.
    return file.IsOpen() || errno != EEXIST ? std::move(file)
                                            : CDescriptor(calls.Open(path.c_str(), flags, 0));
}

bool IsMarkedUnfinished(const std::string& path)
{
    std::array<char, 24> text = {};
    const ssize_t size = CSystemCalls::Current().GetAttribute(path.c_str(), kCreationAttribute,
                                                              text.data(), text.size());
    return size > 0 && text[static_cast<std::size_t>(size) - 1] == kOldUnfinishedMark;
}

// Leaves a locked file out: its owner completes it.
bool CopyToRedo(const std::string& path, const std::string& redoPath)
{
    CSystemCalls& calls = CSystemCalls::Current();
    const CDescriptor file(
        calls.Open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
    struct statx status = {};
    if (!file.IsOpen() || calls.Lock(file.Get(), LOCK_EX | LOCK_NB) != 0 ||
        calls.Stat(file.Get(), "", AT_EMPTY_PATH, &status) != 0 || status.stx_size == 0 ||
        status.stx_size > kLargestContent) {
        return true;
    }
    std::string content(status.stx_size, '\0');
    return ReadAll(file.Get(), content.data(), content.size(), 0) &&
           WriteAndClose(OpenOrMake(redoPath, O_WRONLY | O_TRUNC, NewOwner(status)),
                         RedoText(content));
}

// False with errno set.
bool MoveOldRedoFiles(const std::string& folder, const std::string& redoFolder)
{
    std::vector<std::string> names;
    if (ListFiles(folder.c_str(), &names, kOldRedoSuffix) == 0) {
        errno = EIO;
        return false;
    }
    return std::ranges::all_of(names, [&](const std::string& name) {
        const std::string path = folder + '/' + name;
        const std::string to = redoFolder + '/' + name.substr(0, name.rfind(kOldRedoSuffix));
        return CSystemCalls::Current().Rename(path.c_str(), to.c_str(), 0) == 0 || errno == ENOENT;
    });
}

// False with errno set.
bool CopyMarkedFiles(const std::string& folder, const std::string& redoFolder)
{
    std::vector<std::string> names;
    if (ListFiles(folder.c_str(), &names) == 0) {
        errno = EIO;
        return false;
    }
    return std::ranges::all_of(names, [&](const std::string& name) {
        const std::string path = folder + '/' + name;
        return !IsMarkedUnfinished(path) || CopyToRedo(path, redoFolder + '/' + name);
    });
}

// The lock keeps two makers apart. Some network file systems do not pass it on to other servers.
bool MakeRedoFolder(const std::string& folder)
{
    const CDescriptor locked = OpenFolder(folder.c_str());
    if (!locked.IsOpen()) {
        return false;
    }
    LockPatiently(locked.Get());
    return MakeFolder(folder + kRedoFolder,
                      [&](const std::string& made) {
                          return MoveOldRedoFiles(folder, made) && CopyMarkedFiles(folder, made);
                      }) ||
           errno == EEXIST;
}

} // namespace

bool EnsureRedoFolder(const std::string& folder)
{
    // A redo folder that was removed since shows when a file in it cannot be opened.
    if (t_known.path == folder) {
        return true;
    }
    const std::string redoFolder = folder + kRedoFolder;
    struct statx status = {};
    const auto look = [&] {
        return CSystemCalls::Current().Stat(AT_FDCWD, redoFolder.c_str(), AT_SYMLINK_NOFOLLOW,
                                            &status) == 0;
    };
    if (!look() && (errno != ENOENT || !MakeRedoFolder(folder) || !look())) {
        return false;
    }
    // A link could lead root into a folder outside the store.
    if (!S_ISDIR(status.stx_mode)) {
        errno = ENOTDIR;
        return false;
    }
    t_known = {folder, NewOwner(status)};
    return true;
}

bool MoveOldRedoFiles(const std::string& folder)
{
    return MoveOldRedoFiles(folder, folder + kRedoFolder) || FailWithErrno();
}

CDescriptor OpenInRedoFolder(const std::string& folder, std::string_view name, int flags)
{
    const std::string path = RedoPath(folder, name);
    for (int attempt = 0; attempt < 2 && EnsureRedoFolder(folder); ++attempt) {
        CDescriptor file = OpenOrMake(path, flags, t_known.owner);
        if (file.IsOpen() || errno != ENOENT) {
            return file;
        }
        t_known = {};
    }
    return {};
}

bool WriteRedo(const std::string& folder, std::string_view name, std::string_view content)
{
    const std::string text = RedoText(content);
    return (WriteAndClose(OpenInRedoFolder(folder, name, O_WRONLY | O_TRUNC), text) &&
            (!IsFlushing() ||
             (SyncFolder((folder + kRedoFolder).c_str()) && SyncFolder(folder.c_str())))) ||
           FailWithErrno();
}

bool ReadRedo(const std::string& folder, std::string_view name, ERedo* state, std::string* content)
{
    *state = ERedo::None;
    if (!EnsureRedoFolder(folder)) {
        // On a full or read-only disk a whole file can still be read.
        const int error = errno;
        const std::string old = (folder + '/').append(name).append(kOldRedoSuffix);
        const bool isTorn = CSystemCalls::Current().Access(old.c_str(), F_OK) == 0;
        errno = error;
        return !isTorn || FailWithErrno();
    }
    const CDescriptor redo(CSystemCalls::Current().Open(
        RedoPath(folder, name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
    if (!redo.IsOpen()) {
        // ELOOP: a link is no redo file.
        return errno == ENOENT || errno == ELOOP || FailWithErrno();
    }
    return ReadState(redo.Get(), state, content) || FailWithErrno();
}

bool RemoveRedo(const std::string& folder, std::string_view name)
{
    return CSystemCalls::Current().Unlink(RedoPath(folder, name).c_str()) == 0 || errno == ENOENT ||
           FailWithErrno();
}

} // namespace contactmgr_internal
