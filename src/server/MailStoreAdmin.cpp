#include "server/MailStoreAdmin.h"

#include "platform/Failure.h"
#include "platform/FileContent.h"
#include "platform/FileHandle.h"
#include "platform/FileNames.h"
#include "platform/Flushing.h"
#include "platform/FolderLock.h"
#include "server/FileSystem.h"
#include "server/MailStoreHandles.h"
#include "text/Utf8.h"

#include <charconv>
#include <new>
#include <string_view>

#include <nlohmann/json.hpp>

namespace
{

using Json = nlohmann::ordered_json;

// Writing JSON goes down by recursion, so what is nested deeper is not rewritten.
constexpr std::size_t kMaxDepth = 64;

// ERROR_ALREADY_EXISTS (183) would say that the mailbox exists, so a file in its way gives
// ERROR_PATH_NOT_FOUND (3).
bool EnsureFolders(const std::string& root, const std::string& path)
{
    if (EnsureDirectories(root, path) != 0) {
        return true;
    }
    const std::uint32_t code = GetLastError();
    return Fail(code == ERROR_ALREADY_EXISTS ? ERROR_PATH_NOT_FOUND : code);
}

// The present properties; none where there is no file.
bool ReadProperties(const std::string& path, Json* properties)
{
    const std::uint32_t before = GetLastError();
    std::string text;
    if (!ReadPropertyText(path, &text)) {
        if (!IsMissingFile(GetLastError())) {
            return false;
        }
        SetLastError(before);
        *properties = Json::object();
        return true;
    }
    const CPropertyFile file(text);
    if (file.Error() != ERROR_SUCCESS || file.Depth() > kMaxDepth) {
        return Fail(ERROR_INVALID_DATA);
    }
    *properties = Json::parse(text);
    return true;
}

Json::iterator FindProperty(Json& properties, const std::string& key)
{
    auto member = properties.begin();
    while (member != properties.end() && PropertyKey(member.key()) != key) {
        ++member;
    }
    return member;
}

bool ParseNumber(std::string_view text, Json* value)
{
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    *value = number;
    return error == std::errc() && stop == end;
}

bool ParseTruthValue(std::string_view text, Json* value)
{
    *value = text == "true";
    return text == "true" || text == "false";
}

// The value in the type that the property has.
bool MakeValue(const std::string& key, const Json* present, const std::string& text, Json* value)
{
    if (RegisteredDefault(key) || (present != nullptr && present->is_number())) {
        return ParseNumber(text, value);
    }
    if (present != nullptr && present->is_boolean()) {
        return ParseTruthValue(text, value);
    }
    *value = text;
    return true;
}

bool ApplySetting(const CMailboxPropertySetting& setting, Json* properties)
{
    if (setting.name.empty() || !IsUtf8(setting.name) || !IsUtf8(setting.value)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const std::string key = PropertyKey(setting.name);
    const auto present = FindProperty(*properties, key);
    const bool isPresent = present != properties->end();
    if (setting.value.empty()) {
        if (isPresent) {
            properties->erase(present);
        }
        return true;
    }
    Json value;
    if (!MakeValue(key, isPresent ? &*present : nullptr, setting.value, &value)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (isPresent) {
        *present = std::move(value);
    } else {
        (*properties)[setting.name] = std::move(value);
    }
    return true;
}

bool WriteNewFile(const std::string& path, const std::string& text)
{
    CFileHandle file(CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                                 FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE));
    std::uint32_t written = 0;
    return file.IsOpen() &&
           WriteFile(file.Get(), text.data(), static_cast<std::uint32_t>(text.size()), &written,
                     nullptr) &&
           file.Close();
}

// The caller holds the lock on `tmp`, so a file that is there was left by a dead process.
bool ReplaceProperties(const std::string& mailbox, const Json& properties)
{
    const std::string text = properties.dump(4) + '\n';
    if (text.size() > kMaxPropertyFileSize) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    const std::string path = mailbox + std::string(kPropertyFileName);
    const std::string temporary = mailbox + "/tmp" + std::string(kPropertyFileName);
    const std::uint32_t before = GetLastError();
    if (!DeleteFileA(temporary.c_str())) {
        if (!IsMissingFile(GetLastError())) {
            return false;
        }
        SetLastError(before);
    }
    if (WriteNewFile(temporary, text) && FlushFileSystem(temporary.c_str()) &&
        ReplaceFileA(temporary.c_str(), path.c_str())) {
        return true;
    }
    const CKeepLastError keep;
    DeleteFileA(temporary.c_str());
    return false;
}

} // namespace

bool CreateMailbox(_tMailServer* server, const char* name, const char* domain)
try {
    CMailboxPlace place;
    if (!CheckMailboxNames(server, name, domain) || !server->layout.Locate(name, domain, &place) ||
        !EnsureFolders(place.foldersRoot, place.folders) ||
        (place.inbox != place.folders && !EnsureFolders(place.inboxRoot, place.inbox)) ||
        !EnsureFolders(place.inbox, place.inbox + "/tmp") ||
        !EnsureFolders(place.inbox, place.inbox + "/new")) {
        return false;
    }
    return CreateDirectoryA((place.inbox + "/cur").c_str(), nullptr) != 0;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool SetMailboxProperties(_tMailServer* server, const char* name, const char* domain,
                          const std::vector<CMailboxPropertySetting>& settings)
try {
    CMailboxPlace place;
    if (!FindMailbox(server, name, domain, &place)) {
        return false;
    }
    CFolderLock lock;
    const std::string folder = place.folders + "/tmp";
    if (!EnsureFolders(place.folders, folder) || !lock.AcquireExclusive(folder.c_str())) {
        return false;
    }
    Json properties;
    if (!ReadProperties(place.folders + std::string(kPropertyFileName), &properties)) {
        return false;
    }
    for (const CMailboxPropertySetting& setting : settings) {
        if (!ApplySetting(setting, &properties)) {
            return false;
        }
    }
    return ReplaceProperties(place.folders, properties);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CheckPropertyFiles(_tMailServer* server, const char* name, const char* domain,
                        CPropertyFileFault* fault)
try {
    CMailboxPlace place;
    if (!FindMailbox(server, name, domain, &place)) {
        return false;
    }
    for (const std::string& path : PropertyFilePaths(*server, place)) {
        const auto file = path.empty() ? nullptr : CPropertyFile::Read(path);
        if (file != nullptr && file->Error() != ERROR_SUCCESS) {
            *fault = {path, file->ErrorLine()};
            return Fail(file->Error());
        }
    }
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}
