#pragma once

#include "platform/FileAttributes.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>

inline namespace contactmgr_internal
{

inline constexpr std::string_view kPropertyFileName = "/properties.json";
inline constexpr std::uint32_t kMaxPropertyFileSize = 1 << 20;

// A value that has none of the three types that can be asked for is std::monostate.
using PropertyValue = std::variant<std::monostate, std::uint32_t, bool, std::string>;

// A property as its file holds it.
struct CPropertyMember
{
    std::string name;
    std::uint32_t line = 0; // of the name, from 1
    PropertyValue value;
};

// A property's name in lower case. Names of properties compare by it.
std::string PropertyKey(std::string_view name);

// Reads a whole property file. False with last error ERROR_FILE_NOT_FOUND (2) or
// ERROR_PATH_NOT_FOUND (3): there is none; ERROR_FILE_TOO_LARGE (223): over 1 MB.
bool ReadPropertyText(const std::string& path, std::string* text);

// The properties of one file (RFC 8259). Immutable once made, so any thread may read it. A file
// that is missing reads as one without properties.
class CPropertyFile
{
public:
    static std::shared_ptr<const CPropertyFile> Read(const std::string& path);

    explicit CPropertyFile(std::string_view text);
    CPropertyFile() = default;

    // ERROR_SUCCESS (0), ERROR_INVALID_DATA (13): no JSON object, or why it could not be read.
    std::uint32_t Error() const { return m_error; }
    // The line, from 1, at which the text stops being a JSON object.
    std::uint32_t ErrorLine() const { return m_errorLine; }
    // How deep objects and arrays are nested, the outermost included.
    std::size_t Depth() const { return m_depth; }

    // Null if the file doesn't hold the property, or holds it as a JSON null.
    const PropertyValue* Find(const std::string& key) const;

    // All that Find finds, by key.
    using CMembers = std::unordered_map<std::string, CPropertyMember>;
    const CMembers& Members() const { return m_members; }

private:
    CMembers m_members;
    std::uint32_t m_error = 0;
    std::uint32_t m_errorLine = 0;
    std::size_t m_depth = 0;
};

// The files that many mailboxes share. A file is read again only when its times or its size have
// changed. Any thread.
class CPropertyFileCache
{
public:
    std::shared_ptr<const CPropertyFile> Get(const std::string& path);

private:
    struct Entry
    {
        WIN32_FILE_ATTRIBUTE_DATA status;
        std::shared_ptr<const CPropertyFile> file;
    };

    std::mutex m_mutex;
    std::unordered_map<std::string, Entry> m_entries;
};

} // namespace contactmgr_internal
