#include "server/MailFolderImpl.h"

#include "platform/Failure.h"
#include "platform/FileAttributes.h"
#include "platform/FileNames.h"
#include "platform/FileSearch.h"
#include "platform/FileTime.h"
#include "server/FileSystem.h"
#include "server/MailFolder.h"
#include "text/MimeLibrary.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include <glib.h>

inline namespace contactmgr_internal
{

namespace
{

// Renames of one message that are followed before it counts as missing.
constexpr int kMaxRenamesFollowed = 4;

// How near the clock a folder's time is not trusted. The kernel's clock for file times ticks every
// 10 ms or less. The second allows for the clocks of other machines, and for cached times.
constexpr std::uint64_t kUntrustedUnits = kFileTimeUnitsPerSecond / 100;
constexpr std::uint64_t kUntrustedNetworkUnits = kFileTimeUnitsPerSecond;

// What most names have behind the id. A message is looked for under them before its folder is
// listed.
constexpr std::string_view kUsualFlags[] = {":2,S", ":2,"};

constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

bool IsIdByte(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte > ' ' && byte != 0x7F && c != '/';
}

bool CanBeId(std::string_view text)
{
    return !text.empty() && text.size() <= kMaxMessageIdLength && text.front() != '.' &&
           std::ranges::all_of(text, IsIdByte);
}

// Of the part in front of the first ',' or ':'.
std::size_t UniqueLength(std::string_view file)
{
    const auto end = std::ranges::find_if(file, [](char c) { return c == ',' || c == ':'; });
    return static_cast<std::size_t>(end - file.begin());
}

std::string DigestOf(std::string_view text)
{
    const std::unique_ptr<char, CGlibFree> digest(g_compute_checksum_for_data(
        G_CHECKSUM_SHA256, reinterpret_cast<const unsigned char*>(text.data()), text.size()));
    return std::string("~") + digest.get();
}

bool ReadFolderTime(const std::string& path, FILETIME* time)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data)) {
        return false;
    }
    *time = data.ftLastWriteTime;
    return true;
}

} // namespace

bool IsMessageId(const char* id)
{
    return id != nullptr && CanBeId(id);
}

std::string_view CMailFolderImpl::IdOf(const Message& message)
{
    return message.digest.empty() ? std::string_view(message.file).substr(0, message.uniqueLength)
                                  : message.digest;
}

CMailFolderImpl::Message CMailFolderImpl::MessageOf(std::string file, bool isNew)
{
    const std::size_t uniqueLength = UniqueLength(file);
    Message message{std::move(file), {}, uniqueLength, isNew};
    const std::string_view unique = std::string_view(message.file).substr(0, uniqueLength);
    if (!CanBeId(unique)) {
        message.digest = DigestOf(unique.empty() ? message.file : unique);
    }
    return message;
}

// The clock is read first, so every change behind this reading is later than it.
bool CMailFolderImpl::ReadTimes(FolderTimes* times) const
{
    FolderTimes read;
    GetSystemTimeAsFileTime(&read.clock);
    if (!ReadFolderTime(m_path + "/cur", &read.cur)) {
        return false;
    }
    const std::uint32_t before = GetLastError();
    if (!ReadFolderTime(m_path + "/new", &read.fresh)) {
        if (!IsMissingFile(GetLastError())) {
            return false;
        }
        SetLastError(before);
    }
    *times = read;
    return true;
}

// A time further ahead of the clock was set by hand. It is trusted, or every poll until then would
// tell a change.
bool CMailFolderImpl::IsSettled(const FILETIME& time, const FILETIME& clock) const
{
    const std::uint64_t left = FileTimeToCount(time);
    const std::uint64_t right = FileTimeToCount(clock);
    const std::uint64_t distance = left < right ? right - left : left - right;
    return distance >= kUntrustedNetworkUnits ||
           (distance >= kUntrustedUnits && HasTimesOfThisMachine(m_path.c_str()));
}

bool CMailFolderImpl::ReadVersion(Version* version) const
{
    FolderTimes times;
    if (!ReadTimes(&times)) {
        return false;
    }
    const FILETIME time = std::max(times.cur, times.fresh);
    const std::uint64_t less = IsSettled(time, times.clock) ? 0 : 1;
    *version = {times, time, FileTimeFromCount(FileTimeToCount(time) - less)};
    return true;
}

// Calls the function for the file name of each message in `new` or in `cur`. There may be no `new`.
bool CMailFolderImpl::ForEachName(bool isNew,
                                  const std::function<void(std::string_view name)>& function) const
{
    const std::uint32_t before = GetLastError();
    const auto take = [&function](std::string_view name) {
        if (name.front() != '.') {
            function(name);
        }
    };
    if (ForEachFile((m_path + (isNew ? "/new" : "/cur")).c_str(), {}, take) != 0) {
        return true;
    }
    if (!isNew || !IsMissingFile(GetLastError())) {
        return false;
    }
    SetLastError(before);
    return true;
}

// `new` comes first, so a message that moves to `cur` meanwhile is listed twice and not missed.
bool CMailFolderImpl::List(const FolderTimes& times)
{
    std::vector<Message> messages;
    for (const bool isNew : {true, false}) {
        const auto append = [&](std::string_view name) {
            messages.push_back(MessageOf(std::string(name), isNew));
        };
        if (!ForEachName(isNew, append)) {
            return false;
        }
    }
    std::ranges::sort(messages, [](const Message& left, const Message& right) {
        const int order = IdOf(left).compare(IdOf(right));
        return order != 0 ? order < 0 : left.isNew < right.isNew;
    });
    const auto isSame = [](const Message& left, const Message& right) {
        return IdOf(left) == IdOf(right);
    };
    messages.erase(std::unique(messages.begin(), messages.end(), isSame), messages.end());

    // An open walk goes on behind the message that it gave last.
    const std::string last(m_next == 0 ? std::string_view() : IdOf(m_messages[m_next - 1]));
    const auto next = std::ranges::upper_bound(messages, std::string_view(last), {}, IdOf);
    m_next = static_cast<std::size_t>(next - messages.begin());
    m_messages = std::move(messages);
    m_listedTimes = times;
    m_isListed = true;
    return true;
}

// False also if nothing has changed since the names were listed; the last error then stays.
bool CMailFolderImpl::ListAgainIfChanged()
{
    FolderTimes times;
    if (!ReadTimes(&times)) {
        return false;
    }
    const bool isSame = times.cur == m_listedTimes.cur && times.fresh == m_listedTimes.fresh &&
                        IsSettled(times.cur, m_listedTimes.clock) &&
                        IsSettled(times.fresh, m_listedTimes.clock);
    return !isSame && List(times);
}

void CMailFolderImpl::StartWalk(const FolderTimes& times)
{
    EndWalk();
    m_listedTimes = times;
    m_isWalking = true;
}

void CMailFolderImpl::EndWalk()
{
    std::vector<Message>().swap(m_messages);
    m_next = 0;
    m_isListed = false;
    m_isWalking = false;
}

bool CMailFolderImpl::NextId(std::string_view* id)
{
    if (!m_isListed && !List(m_listedTimes)) {
        return false;
    }
    if (m_next == m_messages.size()) {
        return Fail(ERROR_NO_MORE_FILES);
    }
    *id = IdOf(m_messages[m_next++]);
    return true;
}

std::string CMailFolderImpl::PathOf(const Message& message) const
{
    return m_path + (message.isNew ? "/new/" : "/cur/") + message.file;
}

std::size_t CMailFolderImpl::Find(std::string_view id) const
{
    if (m_next > 0 && IdOf(m_messages[m_next - 1]) == id) {
        return m_next - 1;
    }
    const auto found = std::ranges::lower_bound(m_messages, id, {}, IdOf);
    if (found == m_messages.end() || IdOf(*found) != id) {
        return kNotFound;
    }
    return static_cast<std::size_t>(found - m_messages.begin());
}

// Looks through the names without keeping them. A message that is in both counts as in `cur`.
bool CMailFolderImpl::FindUnlisted(std::string_view id, std::string* path) const
{
    std::string found;
    for (const bool isNew : {true, false}) {
        const auto compare = [&](std::string_view name) {
            // Only an id with a '~' in front may be a digest.
            if (name.substr(0, UniqueLength(name)) == id || id.front() == '~') {
                const Message message = MessageOf(std::string(name), isNew);
                if (IdOf(message) == id) {
                    found = PathOf(message);
                }
            }
        };
        if (!ForEachName(isNew, compare)) {
            return false;
        }
    }
    if (found.empty()) {
        return Fail(ERROR_FILE_NOT_FOUND);
    }
    *path = std::move(found);
    return true;
}

bool CMailFolderImpl::FindPath(std::string_view id, std::string* path)
{
    if (!m_isListed) {
        return FindUnlisted(id, path);
    }
    std::size_t index = Find(id);
    if (index == kNotFound) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        if (!ListAgainIfChanged() || (index = Find(id)) == kNotFound) {
            return false;
        }
    }
    *path = PathOf(m_messages[index]);
    return true;
}

bool CMailFolderImpl::WithFile(std::string_view id, const FileOperation& operation)
{
    const std::uint32_t before = GetLastError();
    if (!m_isListed && UniqueLength(id) == id.size()) {
        for (const std::string_view flags : kUsualFlags) {
            const std::string path = (m_path + "/cur/").append(id).append(flags);
            if (operation(path)) {
                SetLastError(before);
                return true;
            }
        }
    }
    std::string tried;
    for (int attempt = 0; attempt < kMaxRenamesFollowed; ++attempt) {
        std::string path;
        if (!FindPath(id, &path)) {
            return false;
        }
        if (path == tried) {
            break; // a link that leads nowhere, not a rename
        }
        if (operation(path)) {
            SetLastError(before);
            return true;
        }
        if (!IsMissingFile(GetLastError())) {
            return false;
        }
        tried = std::move(path);
        SetLastError(ERROR_FILE_NOT_FOUND);
        if (m_isListed && !ListAgainIfChanged()) {
            return false;
        }
    }
    return Fail(ERROR_FILE_NOT_FOUND);
}

bool CMailFolderImpl::Remove(std::string_view id)
{
    Version before;
    if (!ReadVersion(&before) ||
        !WithFile(id, [](const std::string& path) { return DeleteFileA(path.c_str()) != 0; })) {
        return false;
    }
    const std::size_t index = Find(id);
    if (index != kNotFound) {
        m_messages.erase(m_messages.begin() + static_cast<std::ptrdiff_t>(index));
        m_next -= index < m_next ? 1 : 0;
    }
    MoveVersionPast(before.time);
    return true;
}

// Otherwise a coarse clock, or one behind the folder's time, hides the removal. The message is gone
// already, so a failure here is ignored.
void CMailFolderImpl::MoveVersionPast(const FILETIME& version) const
try {
    const CKeepLastError keep;
    Version now;
    if (!ReadVersion(&now) || now.time > version) {
        return;
    }
    const FILETIME later = FileTimeFromCount(FileTimeToCount(version) + 1);
    MoveFolderTimeForward((m_path + "/cur").c_str(), later);
} catch (const std::bad_alloc&) {
}

} // namespace contactmgr_internal
