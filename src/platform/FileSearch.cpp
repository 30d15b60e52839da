#include "platform/FileSearch.h"

#include "platform/Ascii.h"
#include "platform/CreationTime.h"
#include "platform/Descriptor.h"
#include "platform/Errno.h"
#include "platform/Failure.h"
#include "platform/Path.h"
#include "platform/SystemCalls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

#include <dirent.h>

inline namespace contactmgr_internal
{

namespace
{

// A listing that fits the buffer takes one system call, so a rename meanwhile cannot hide an entry.
// One that fills the buffer starts again with a larger one, up to the largest size. How large tells
// the folder's own size, which is less than twice as much on some file systems, and nothing on
// others.
constexpr std::size_t kFirstListBuffer = std::size_t{32} << 10;
constexpr std::size_t kLargestListBuffer = std::size_t{256} << 20;
constexpr std::size_t kListBufferGrowth = 4;
// With less room than this left, a further entry may not have fitted.
constexpr std::size_t kLargestEntry = sizeof(struct dirent64);

using EntryFunction = std::function<void(std::string_view name, unsigned char type)>;

bool IsDotEntry(std::string_view name)
{
    return name == "." || name == "..";
}

// The records have no alignment that a struct could rely on.
void ForEachEntry(const char* buffer, std::size_t size, const EntryFunction& function)
{
    for (std::size_t offset = 0; offset < size;) {
        std::uint16_t length = 0;
        const char* record = buffer + offset;
        std::memcpy(&length, record + offsetof(struct dirent64, d_reclen), sizeof(length));
        const auto type = static_cast<unsigned char>(record[offsetof(struct dirent64, d_type)]);
        const std::string_view name(record + offsetof(struct dirent64, d_name));
        if (!IsDotEntry(name)) {
            function(name, type);
        }
        offset += length;
    }
}

ssize_t List(int folder, char* buffer, std::size_t size)
{
    return CSystemCalls::Current().ListEntries(folder, buffer, size);
}

std::size_t LargerBuffer(int folder, std::size_t capacity)
{
    struct statx status = {};
    CSystemCalls::Current().Stat(folder, "", AT_EMPTY_PATH, &status); // 0 after a failure
    const std::uint64_t wanted = std::min<std::uint64_t>(status.stx_size, kLargestListBuffer) * 2;
    return std::min(std::max<std::uint64_t>(capacity * kListBufferGrowth, wanted),
                    kLargestListBuffer);
}

// Calls the function once the listing is whole, or fills the largest buffer. False with errno set.
bool ListWhole(int folder, const EntryFunction& function)
{
    std::size_t capacity = kFirstListBuffer;
    auto buffer = std::make_unique_for_overwrite<char[]>(capacity);
    ssize_t filled = List(folder, buffer.get(), capacity);
    while (filled > 0 && capacity - static_cast<std::size_t>(filled) < kLargestEntry &&
           capacity < kLargestListBuffer) {
        capacity = LargerBuffer(folder, capacity);
        buffer.reset(); // never both at once
        buffer = std::make_unique_for_overwrite<char[]>(capacity);
        if (CSystemCalls::Current().Rewind(folder) < 0) {
            return false;
        }
        filled = List(folder, buffer.get(), capacity);
    }
    while (filled > 0) {
        ForEachEntry(buffer.get(), static_cast<std::size_t>(filled), function);
        filled = List(folder, buffer.get(), capacity);
    }
    return filled == 0;
}

bool EndsWithIgnoringCase(std::string_view name, std::string_view suffix)
{
    return name.size() >= suffix.size() &&
           EqualIgnoringCase(name.substr(name.size() - suffix.size()), suffix);
}

// A search of a folder. A resource; FindClose deletes it.
struct CSearch
{
    CDescriptor folder;
    std::string path;
    std::string names;    // those that match, each with a zero behind it
    std::size_t next = 0; // the place of the first that is not delivered yet
};

CSearch* SearchOf(HANDLE handle) noexcept
{
    if (handle == INVALID_HANDLE_VALUE || handle == HANDLE{0}) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    return reinterpret_cast<CSearch*>(static_cast<std::intptr_t>(handle));
}

// Some network file systems do not list the type of an entry.
bool IsFolderEntry(int folder, const char* name, unsigned char type)
{
    if (type != DT_UNKNOWN) {
        return type == DT_DIR;
    }
    struct statx status = {};
    return CSystemCalls::Current().Stat(folder, name, AT_SYMLINK_NOFOLLOW, &status) == 0 &&
           S_ISDIR(status.stx_mode);
}

bool LookThrough(const char* path, bool withFolders, std::string_view suffix,
                 const NameFunction& function)
{
    const CDescriptor folder = OpenFolder(path);
    if (!folder.IsOpen()) {
        return FailWithErrnoOfFolder();
    }
    const auto take = [&](std::string_view name, unsigned char type) {
        if (EndsWithIgnoringCase(name, suffix) &&
            (withFolders || !IsFolderEntry(folder.Get(), name.data(), type))) {
            function(name);
        }
    };
    return ListWhole(folder.Get(), take) || FailWithErrno();
}

bool CollectNames(const char* path, bool withFolders, std::string_view suffix,
                  std::vector<std::string>* names)
{
    std::vector<std::string> found;
    if (!LookThrough(path, withFolders, suffix,
                     [&](std::string_view name) { found.emplace_back(name); })) {
        return false;
    }
    *names = std::move(found);
    return true;
}

bool CollectMatches(CSearch& search, std::string_view pattern)
{
    const bool anyPrefix = pattern.starts_with('*');
    const std::string_view suffix = anyPrefix ? pattern.substr(1) : pattern;
    const auto collect = [&](std::string_view name, unsigned char) {
        const bool matches = anyPrefix ? EndsWithIgnoringCase(name, suffix) : name == pattern;
        if (matches && name.size() < sizeof(WIN32_FIND_DATA::cFileName)) {
            search.names.append(name).push_back('\0');
        }
    };
    return ListWhole(search.folder.Get(), collect) || FailWithErrno();
}

using CAttributes = std::optional<WIN32_FILE_ATTRIBUTE_DATA>;

// False with errno set; ENOENT: the entry is gone since the listing.
bool LookAt(int folder, const char* name, WIN32_FILE_ATTRIBUTE_DATA* data)
{
    struct statx status = {};
    if (CSystemCalls::Current().Stat(folder, name, AT_SYMLINK_NOFOLLOW | AT_STATX_FORCE_SYNC,
                                     &status) != 0) {
        return false;
    }
    FillAttributes(status, data);
    return true;
}

// 0, or the errno of the first entry that failed. Each index is one thread's.
int LookAtAll(int folder, std::span<const std::string> names, std::span<CAttributes> data)
{
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (!LookAt(folder, names[i].c_str(), &data[i].emplace())) {
            data[i].reset();
            if (errno != ENOENT) {
                return errno;
            }
        }
    }
    return 0;
}

constexpr std::size_t kMaxThreads = 4;
constexpr std::size_t kNamesOfAThread = 2000;

std::size_t CountThreads(std::size_t names)
{
    const std::size_t most =
        std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMaxThreads);
    return std::clamp<std::size_t>(names / kNamesOfAThread, 1, most);
}

// Leaves out entries that are gone since the listing.
bool DeliverNext(CSearch& search, WIN32_FIND_DATA* data)
{
    while (search.next < search.names.size()) {
        const char* name = search.names.data() + search.next;
        const std::size_t length = std::strlen(name);
        search.next += length + 1;
        if (LookAt(search.folder.Get(), name, data)) {
            std::memcpy(data->cFileName, name, length + 1);
            return true;
        }
        if (errno != ENOENT) {
            return FailWithErrno();
        }
    }
    return Fail(ERROR_NO_MORE_FILES);
}

} // namespace

HANDLE FindFirstFileA(const char* pattern, WIN32_FIND_DATA* data)
{
    auto search = std::make_unique<CSearch>();
    search->path = FolderOf(pattern);
    search->folder = OpenFolder(search->path.c_str());
    if (!search->folder.IsOpen()) {
        FailWithErrnoOfFolder();
        return INVALID_HANDLE_VALUE;
    }
    if (!CollectMatches(*search, NameOf(pattern))) {
        return INVALID_HANDLE_VALUE;
    }
    if (!DeliverNext(*search, data)) {
        if (GetLastError() == ERROR_NO_MORE_FILES) {
            SetLastError(ERROR_FILE_NOT_FOUND);
        }
        return INVALID_HANDLE_VALUE;
    }
    return HANDLE{reinterpret_cast<std::intptr_t>(search.release())};
}

int FindNextFileA(HANDLE handle, WIN32_FIND_DATA* data)
{
    CSearch* search = SearchOf(handle);
    return search != nullptr && DeliverNext(*search, data);
}

int FindClose(HANDLE handle)
{
    CSearch* search = SearchOf(handle);
    if (search == nullptr) {
        return 0;
    }
    if (search->folder.IsOpen() && !search->folder.Close()) {
        return FailWithErrno();
    }
    delete search;
    return 1;
}

FILETIME GetEntryCreationTime(HANDLE handle, const WIN32_FIND_DATA& data)
{
    const CSearch* search = SearchOf(handle);
    if (search == nullptr) {
        return data.ftCreationTime;
    }
    const std::string path = search->path + '/' + data.cFileName;
    return CreationTime(path.c_str(), data.ftCreationTime, data.ftLastWriteTime);
}

int ForEachFile(const char* path, std::string_view suffix, const NameFunction& function)
{
    return LookThrough(path, false, suffix, function);
}

int ListFolder(const char* path, std::vector<std::string>* names)
{
    return CollectNames(path, true, {}, names);
}

int ListFiles(const char* path, std::vector<std::string>* names, std::string_view suffix)
{
    return CollectNames(path, false, suffix, names);
}

int ReadAttributes(const char* path, std::span<const std::string> names,
                   std::vector<std::optional<WIN32_FILE_ATTRIBUTE_DATA>>* data)
{
    const CDescriptor folder = OpenFolder(path);
    if (!folder.IsOpen()) {
        return FailWithErrnoOfFolder();
    }
    std::vector<CAttributes> read(names.size());
    const std::size_t count = CountThreads(names.size());
    std::array<int, kMaxThreads> errors = {};
    const auto look = [&](std::size_t part) {
        const std::size_t begin = names.size() * part / count;
        const std::size_t size = names.size() * (part + 1) / count - begin;
        errors[part] = LookAtAll(folder.Get(), names.subspan(begin, size),
                                 std::span(read).subspan(begin, size));
    };
    std::vector<std::jthread> others;
    others.reserve(count - 1);
    for (std::size_t part = 1; part < count; ++part) {
        try {
            others.emplace_back(look, part);
        } catch (const std::system_error&) { // no thread is left
            look(part);
        }
    }
    look(0);
    others.clear(); // waits
    const auto* const error = std::ranges::find_if(errors, [](int each) { return each != 0; });
    if (error != errors.end()) {
        errno = *error;
        return FailWithErrno();
    }
    *data = std::move(read);
    return 1;
}

} // namespace contactmgr_internal
