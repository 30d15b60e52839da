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

namespace
{

// Renames of one message that are followed before it counts as missing.
constexpr int kMaxRenamesFollowed = 4;

// How near the clock a folder's time is not trusted. The kernel's clock for file times ticks every
// 10 ms or less. The second allows for the clocks of other machines, and for cached times.
constexpr std::uint64_t kUntrustedUnits = kFileTimeUnitsPerSecond / 100;
constexpr std::uint64_t kUntrustedNetworkUnits = kFileTimeUnitsPerSecond;

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

std::string_view UniquePart(std::string_view file)
{
    return file.substr(0, file.find_first_of(",:"));
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
    return message.digest.empty() ? UniquePart(message.file) : message.digest;
}

CMailFolderImpl::Message CMailFolderImpl::MessageOf(std::string file, bool isNew)
{
    Message message{std::move(file), {}, isNew};
    const std::string_view unique = UniquePart(message.file);
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
    *version = {time, FileTimeFromCount(FileTimeToCount(time) - less)};
    return true;
}

bool CMailFolderImpl::AppendNames(const char* subfolder, bool isNew,
                                  std::vector<Message>* messages) const
{
    std::vector<std::string> names;
    if (!ListFiles((m_path + subfolder).c_str(), &names)) {
        return false;
    }
    for (std::string& name : names) {
        if (name.front() != '.') {
            messages->push_back(MessageOf(std::move(name), isNew));
        }
    }
    return true;
}

// `new` comes first, so a message that moves to `cur` meanwhile is listed twice and not missed.
bool CMailFolderImpl::List()
{
    FolderTimes times;
    std::vector<Message> messages;
    if (!ReadTimes(&times) ||
        (times.fresh != FILETIME{} && !AppendNames("/new", true, &messages)) ||
        !AppendNames("/cur", false, &messages)) {
        return false;
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
    return !isSame && List();
}

bool CMailFolderImpl::StartWalk()
{
    m_next = 0;
    m_isWalking = List();
    return m_isWalking;
}

std::string_view CMailFolderImpl::NextId()
{
    return m_next < m_messages.size() ? IdOf(m_messages[m_next++]) : std::string_view();
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

// Looks through the names without keeping them. `new` comes first, as in List.
bool CMailFolderImpl::FindUnlisted(std::string_view id, std::string* path) const
{
    bool isFound = false;
    for (const bool isNew : {true, false}) {
        std::vector<std::string> names;
        if (!ListFiles((m_path + (isNew ? "/new" : "/cur")).c_str(), &names) &&
            !(isNew && IsMissingFile(GetLastError()))) {
            return false;
        }
        for (std::string& name : names) {
            // Only an id with a '~' in front may be a digest.
            if (name.front() != '.' && (UniquePart(name) == id || id.front() == '~')) {
                const Message message = MessageOf(std::move(name), isNew);
                if (IdOf(message) == id) {
                    *path = PathOf(message);
                    isFound = true;
                }
            }
        }
    }
    return isFound || Fail(ERROR_FILE_NOT_FOUND);
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
