#include "server/MailStoreAdmin.h"

#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "platform/FileAttributes.h"
#include "platform/FileContent.h"
#include "platform/FileHandle.h"
#include "platform/FileNames.h"
#include "platform/Flushing.h"
#include "platform/FolderLock.h"
#include "server/FileSystem.h"
#include "server/MailStoreHandles.h"
#include "server/StorePaths.h"
#include "text/Utf8.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <new>
#include <string_view>
#include <utility>

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

// The value in the type in which the property is read; if nothing reads it, in the one that it has.
bool MakeValue(const std::string& key, const Json* present, const std::string& text, Json* value)
{
    if (IsContactText(key)) {
        *value = text;
        return true;
    }
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

// Where a property file stands, and where the new one is written.
struct CPropertyFilePlace
{
    std::string folder;
    std::string lockFolder;
    std::string temporary;
    bool isForAll = false; // others than the folder's owner and group read it too
};

// The caller holds the lock, so a file that is there was left by a dead process.
bool ReplaceProperties(const CPropertyFilePlace& place, const Json& properties)
{
    const std::string text = properties.dump(4) + '\n';
    if (text.size() > kMaxPropertyFileSize) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    const std::string path = place.folder + std::string(kPropertyFileName);
    const char* const temporary = place.temporary.c_str();
    const std::uint32_t before = GetLastError();
    if (!DeleteFileA(temporary)) {
        if (!IsMissingFile(GetLastError())) {
            return false;
        }
        SetLastError(before);
    }
    // An existing file passes its owner and mode on.
    if (WriteNewFile(place.temporary, text) &&
        (!place.isForAll || ShareLikeFolder(temporary) != 0) && FlushFileSystem(temporary) &&
        ReplaceFileA(temporary, path.c_str())) {
        return true;
    }
    const CKeepLastError keep;
    DeleteFileA(temporary);
    return false;
}

bool SetProperties(const CPropertyFilePlace& place,
                   const std::vector<CMailboxPropertySetting>& settings)
{
    CFolderLock lock;
    Json properties;
    if (!lock.AcquireExclusive(place.lockFolder.c_str()) ||
        !ReadProperties(place.folder + std::string(kPropertyFileName), &properties)) {
        return false;
    }
    for (const CMailboxPropertySetting& setting : settings) {
        if (!ApplySetting(setting, &properties)) {
            return false;
        }
    }
    return ReplaceProperties(place, properties);
}

// The folder holds domains or mailboxes, none of which has a name that begins with a dot.
bool SetSharedProperties(const std::string& folder,
                         const std::vector<CMailboxPropertySetting>& settings)
{
    if (folder.empty()) {
        return Fail(ERROR_NOT_SUPPORTED);
    }
    return IsFolder(folder) &&
           SetProperties({folder, folder, folder + "/.properties.json~", true}, settings);
}

// The property files that hold for a mailbox; without a name for a domain, and without a domain for
// the server.
bool FindPropertyFiles(_tMailServer* server, const char* name, const char* domain,
                       std::array<std::string, 3>* paths)
{
    CMailboxPlace place;
    if (name != nullptr) {
        if (!FindMailbox(server, name, domain, &place)) {
            return false;
        }
    } else if (!CheckMailboxNames(server, "any", domain == nullptr ? "any" : domain)) {
        return false;
    } else {
        place.domain = domain == nullptr ? "" : domain;
    }
    *paths = PropertyFilePaths(*server, place);
    if (domain == nullptr) {
        (*paths)[1].clear();
    }
    return true;
}

// The text and the type of a value.
std::pair<std::string, EPropertyType> Describe(const PropertyValue& value)
{
    if (const auto* text = std::get_if<std::string>(&value)) {
        return {*text, EPropertyType::kText};
    }
    if (const auto* number = std::get_if<std::uint32_t>(&value)) {
        return {std::to_string(*number), EPropertyType::kNumber};
    }
    if (const auto* isTrue = std::get_if<bool>(&value)) {
        return {*isTrue ? "true" : "false", EPropertyType::kTruthValue};
    }
    return {"", EPropertyType::kOther};
}

void AppendProperties(const CPropertyFile& file, EPropertySource source, const std::string& path,
                      std::vector<CMailboxProperty>* properties)
{
    const auto first = static_cast<std::ptrdiff_t>(properties->size());
    for (const auto& [key, member] : file.Members()) {
        auto [value, type] = Describe(member.value);
        properties->push_back({member.name, std::move(value), type, source, path, member.line});
    }
    std::ranges::sort(properties->begin() + first, properties->end(), {},
                      [](const CMailboxProperty& property) {
                          return std::pair(property.line, std::string_view(property.name));
                      });
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
    const std::string folder = place.folders + "/tmp";
    return EnsureFolders(place.folders, folder) &&
           SetProperties({place.folders, folder, folder + std::string(kPropertyFileName), false},
                         settings);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool SetDomainProperties(_tMailServer* server, const char* domain,
                         const std::vector<CMailboxPropertySetting>& settings)
try {
    return CheckMailboxNames(server, "any", domain) &&
           SetSharedProperties(server->layout.DomainPath(domain), settings);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool SetServerProperties(_tMailServer* server, const std::vector<CMailboxPropertySetting>& settings)
try {
    if (server == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    return SetSharedProperties(server->layout.ServerPath(), settings);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

EPropertyType TypeOfProperty(const char* name)
try {
    if (name == nullptr) {
        return EPropertyType::kNone;
    }
    // A mailbox's contact reads "Title" as its job title.
    if (IsContactText(name) && !EqualIgnoringCase(std::string_view(name), "Jobtitle")) {
        return EPropertyType::kText;
    }
    return RegisteredDefault(PropertyKey(name)) ? EPropertyType::kNumber : EPropertyType::kNone;
} catch (const std::bad_alloc&) {
    FailForMemory();
    return EPropertyType::kNone;
}

bool ListProperties(_tMailServer* server, const char* name, const char* domain,
                    std::vector<CMailboxProperty>* properties)
try {
    static constexpr EPropertySource kSources[] = {
        EPropertySource::kMailbox, EPropertySource::kDomain, EPropertySource::kServer};
    std::array<std::string, 3> paths;
    if (!FindPropertyFiles(server, name, domain, &paths)) {
        return false;
    }
    std::vector<CMailboxProperty> found;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const auto file = paths[i].empty() ? std::make_shared<const CPropertyFile>()
                                           : CPropertyFile::Read(paths[i]);
        if (file->Error() != ERROR_SUCCESS) {
            return Fail(file->Error());
        }
        AppendProperties(*file, kSources[i], paths[i], &found);
    }
    for (const CPropertyDefault& property : RegisteredDefaults()) {
        found.push_back({property.name, std::to_string(property.value), EPropertyType::kNumber,
                         EPropertySource::kDefault, "", 0});
    }
    properties->insert(properties->end(), found.begin(), found.end());
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CheckPropertyFiles(_tMailServer* server, const char* name, const char* domain,
                        CPropertyFileFault* fault)
try {
    std::array<std::string, 3> paths;
    if (!FindPropertyFiles(server, name, domain, &paths)) {
        return false;
    }
    for (const std::string& path : paths) {
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
