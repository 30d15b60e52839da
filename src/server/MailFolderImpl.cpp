#include "server/MailFolderImpl.h"

#include "platform/Failure.h"
#include "platform/FileNames.h"
#include "platform/FileSearch.h"
#include "server/FileSystem.h"
#include "server/MailFolder.h"
#include "server/StoreLayout.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include <glib.h>

namespace
{

// A client that renames a message each time it is looked for is not waited for longer.
constexpr int kMaxRenamesFollowed = 4;

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
    const std::unique_ptr<char, decltype(&g_free)> digest(
        g_compute_checksum_for_data(
            G_CHECKSUM_SHA256, reinterpret_cast<const unsigned char*>(text.data()), text.size()),
        g_free);
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

bool CMailFolderImpl::ReadTimes(FolderTimes* times) const
{
    FolderTimes read;
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

bool CMailFolderImpl::ReadVersion(FILETIME* version) const
{
    FolderTimes times;
    if (!ReadTimes(&times)) {
        return false;
    }
    *version = std::max(times.cur, times.fresh);
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

// `new` comes first: a message that moves to `cur` meanwhile is then listed twice, not missed.
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

    // A walk goes on behind the message that it gave last.
    const std::string last(m_next == 0 ? std::string_view() : IdOf(m_messages[m_next - 1]));
    const auto next = std::ranges::upper_bound(messages, std::string_view(last), {}, IdOf);
    m_next = static_cast<std::size_t>(next - messages.begin());
    m_messages = std::move(messages);
    m_listedTimes = times;
    m_isListed = true;
    return true;
}

// False also if nothing has changed since the names were listed.
bool CMailFolderImpl::ListAgainIfChanged()
{
    FolderTimes times;
    return !m_isListed || (ReadTimes(&times) && !(times == m_listedTimes)) ? List() : false;
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

bool CMailFolderImpl::WithFile(std::string_view id, const FileOperation& operation)
{
    const std::uint32_t before = GetLastError();
    std::string tried;
    for (int attempt = 0; attempt < kMaxRenamesFollowed; ++attempt) {
        std::size_t index = Find(id);
        if (index == kNotFound) {
            SetLastError(ERROR_FILE_NOT_FOUND);
            if (!ListAgainIfChanged() || (index = Find(id)) == kNotFound) {
                return false;
            }
        }
        std::string path = PathOf(m_messages[index]);
        if (path == tried) {
            break; // a link that leads nowhere, not a rename
        }
        if (operation(path)) {
            SetLastError(before);
            return true;
        }
        tried = std::move(path);
        if (!IsMissingFile(GetLastError()) || !List()) {
            return false;
        }
    }
    return Fail(ERROR_FILE_NOT_FOUND);
}

bool CMailFolderImpl::Remove(std::string_view id)
{
    FILETIME before;
    if (!ReadVersion(&before) ||
        !WithFile(id, [](const std::string& path) { return DeleteFileA(path.c_str()) != 0; })) {
        return false;
    }
    const std::size_t index = Find(id);
    m_messages.erase(m_messages.begin() + static_cast<std::ptrdiff_t>(index));
    m_next -= index < m_next ? 1 : 0;
    MoveVersionPast(before);
    return true;
}

// A coarse clock, or one that stands behind the folder's time, would hide the removal. The message
// has gone already, so this may only be tried.
void CMailFolderImpl::MoveVersionPast(const FILETIME& version) const
try {
    const CKeepLastError keep;
    FILETIME now;
    if (!ReadVersion(&now) || now > version) {
        return;
    }
    const FILETIME later = FileTimeFromCount(FileTimeToCount(version) + 1);
    MoveFolderTimeForward((m_path + "/cur").c_str(), later);
} catch (const std::bad_alloc&) {
}
