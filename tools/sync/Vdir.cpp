#include "sync/Vdir.h"

#include "cards/Digest.h"
#include "platform/Errno.h"
#include "platform/LastError.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr std::string_view kSuffix = ".vcf";
constexpr std::string_view kStagedPrefix = ".contactmgr-";
constexpr std::string_view kStagedSuffix = ".tmp";
constexpr std::size_t kLongestUidName = 100;
// As the library's own files: nobody but the owner and the group sees contacts.
constexpr mode_t kFileMode = 0660;
constexpr mode_t kFolderMode = 0770;
// Of no file that can be read.
constexpr CFileMark kNoMark = {0, -1, 0};

CFileMark MarkOf(const struct stat& status)
{
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    return {static_cast<std::uint64_t>(status.st_size),
            status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec,
            static_cast<std::uint64_t>(status.st_ino)};
}

bool IsCardName(std::string_view name)
{
    return !name.starts_with('.') && name.ends_with(kSuffix);
}

bool ReadWhole(int descriptor, std::uint64_t most, std::string* text)
{
    constexpr std::size_t kPieceBytes = 64 << 10;
    text->clear();
    for (;;) {
        const std::size_t before = text->size();
        text->resize(before + kPieceBytes);
        const ssize_t count = read(descriptor, text->data() + before, kPieceBytes);
        text->resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (count == 0) {
            return true;
        }
        if (count < 0 && errno != EINTR) {
            return FailWithErrno();
        }
        if (text->size() > most) {
            SetLastError(ERROR_FILE_TOO_LARGE);
            return false;
        }
    }
}

// A file that takes the place of another one is open to the same users.
bool KeepMode(int descriptor, const std::string& replaced)
{
    struct stat status;
    return stat(replaced.c_str(), &status) != 0 || fchmod(descriptor, status.st_mode & 0777) == 0 ||
           FailWithErrno();
}

// The file `staged` will be renamed to `replaced`. What is left of a failed write is removed.
bool WriteNewFile(const std::string& staged, const std::string& replaced, std::string_view text,
                  bool isFlushed, CFileMark* mark)
{
    const CDescriptor file(
        open(staged.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode));
    if (!file.IsOpen()) {
        return FailWithErrno(staged.c_str());
    }
    struct stat status;
    if (KeepMode(file.Get(), replaced) && (WriteAll(file.Get(), text, 0) || FailWithErrno()) &&
        ((!isFlushed || fsync(file.Get()) == 0) || FailWithErrno()) &&
        (fstat(file.Get(), &status) == 0 || FailWithErrno())) {
        *mark = MarkOf(status);
        return true;
    }
    const std::uint32_t code = GetLastError();
    unlink(staged.c_str());
    SetLastError(code);
    return false;
}

} // namespace

CVdir::CVdir(std::string folder) : m_folder(std::move(folder))
{
    while (m_folder.size() > 1 && m_folder.ends_with('/')) {
        m_folder.pop_back();
    }
}

std::string CVdir::StagedName(const std::string& name)
{
    return std::string(kStagedPrefix).append(name).append(kStagedSuffix);
}

bool CVdir::Make() const
{
    return mkdir(m_folder.c_str(), kFolderMode) == 0 || errno == EEXIST || FailWithErrnoOfFolder();
}

bool CVdir::Open()
{
    m_descriptor = CDescriptor(open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_descriptor.IsOpen()) {
        return FailWithErrnoOfFolder();
    }
    if (flock(m_descriptor.Get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) {
            return FailWithErrno();
        }
        SetLastError(ERROR_SHARING_VIOLATION);
        return false;
    }
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder, error)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(kStagedPrefix) && name.ends_with(kStagedSuffix)) {
            Remove(name);
        }
    }
    return true;
}

bool CVdir::List(std::map<std::string, CFileMark>* files) const
{
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(m_folder.c_str()), closedir);
    if (folder == nullptr) {
        return FailWithErrnoOfFolder();
    }
    errno = 0;
    while (const dirent* const entry = readdir(folder.get())) {
        struct stat status;
        if (IsCardName(entry->d_name)) {
            if (fstatat(dirfd(folder.get()), entry->d_name, &status, 0) != 0) {
                if (Exists(entry->d_name)) {
                    files->emplace(entry->d_name, kNoMark);
                }
            } else if (S_ISREG(status.st_mode)) {
                files->emplace(entry->d_name, MarkOf(status));
            }
        }
        errno = 0;
    }
    return errno == 0 || FailWithErrno();
}

bool CVdir::Read(const std::string& name, std::string* text, CFileMark* mark) const
{
    const CDescriptor file(open(PathOf(name).c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    struct stat status;
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
        return FailWithErrno();
    }
    *mark = MarkOf(status);
    return ReadWhole(file.Get(), kMaxCardBytes, text);
}

bool CVdir::Exists(const std::string& name) const
{
    struct stat status;
    return lstat(PathOf(name).c_str(), &status) == 0;
}

bool CVdir::IsStill(const std::string& name, const CFileMark* mark) const
{
    struct stat status;
    if (stat(PathOf(name).c_str(), &status) != 0) {
        return mark == nullptr && errno == ENOENT;
    }
    return mark != nullptr && MarkOf(status) == *mark;
}

bool CVdir::Stage(const std::string& name, std::string_view text, CFileMark* mark)
{
    return WriteNewFile(PathOf(StagedName(name)), PathOf(name), text, false, mark);
}

bool CVdir::FlushStaged()
{
    return syncfs(m_descriptor.Get()) == 0 || FailWithErrno();
}

bool CVdir::Commit(const std::string& name)
{
    return rename(PathOf(StagedName(name)).c_str(), PathOf(name).c_str()) == 0 || FailWithErrno();
}

void CVdir::Discard(const std::string& name)
{
    unlink(PathOf(StagedName(name)).c_str());
}

bool CVdir::Remove(const std::string& name)
{
    return unlink(PathOf(name).c_str()) == 0 || errno == ENOENT || FailWithErrno();
}

bool CVdir::Flush()
{
    return fsync(m_descriptor.Get()) == 0 || FailWithErrno();
}

std::string VdirNameOf(std::string_view uid)
{
    constexpr std::string_view kGood =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.@+=";
    const bool isGood = !uid.empty() && uid.size() <= kLongestUidName && uid.front() != '.' &&
                        uid.find_first_not_of(kGood) == uid.npos;
    return (isGood ? std::string(uid) : NameBasedUuid(uid)).append(kSuffix);
}

bool ReplaceFile(const std::string& path, std::string_view text)
{
    const std::string staged = path + std::string(kStagedSuffix);
    CFileMark mark;
    if (!WriteNewFile(staged, path, text, true, &mark)) {
        return false;
    }
    if (rename(staged.c_str(), path.c_str()) != 0) {
        FailWithErrno();
        unlink(staged.c_str());
        return false;
    }
    const std::string folder = std::filesystem::path(path).parent_path().string();
    const CDescriptor opened(
        open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return (opened.IsOpen() && fsync(opened.Get()) == 0) || FailWithErrno();
}

bool ReadWholeFile(const std::string& path, std::string* text)
{
    const CDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return file.IsOpen() ? ReadWhole(file.Get(), std::string().max_size(), text) : FailWithErrno();
}
