#include "server/PropertyFile.h"

#include "platform/Failure.h"
#include "platform/FileContent.h"
#include "platform/FileHandle.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <limits>
#include <new>

#include <nlohmann/json.hpp>

inline namespace contactmgr_internal
{

namespace
{

// Hands the text to the parser and counts the lines that it has read. Copies count together.
class CLineCounter
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CLineCounter(const char* at, std::uint32_t* line) : m_at(at), m_line(line) {}

    reference operator*() const { return *m_at; }
    CLineCounter& operator++()
    {
        *m_line += *m_at == '\n' ? 1 : 0;
        ++m_at;
        return *this;
    }
    bool operator==(const CLineCounter& other) const { return m_at == other.m_at; }

private:
    const char* m_at;
    std::uint32_t* m_line;
};

// Takes the members of the outermost object as the parser finds them. Deeper levels are counted and
// not stored, so no depth can exhaust the stack.
class CPropertyReader : public nlohmann::json_sax<nlohmann::json>
{
public:
    CPropertyReader(CPropertyFile::CMembers* members, const std::uint32_t* line)
        : m_members(*members), m_line(*line)
    {}

    bool null() override
    {
        if (m_level == 1) {
            m_members.erase(PropertyKey(m_name));
        }
        return m_level > 0;
    }
    bool boolean(bool value) override { return Store(value); }
    bool number_integer(number_integer_t) override { return Store({}); }
    bool number_unsigned(number_unsigned_t value) override
    {
        return value > std::numeric_limits<std::uint32_t>::max()
                   ? Store({})
                   : Store(static_cast<std::uint32_t>(value));
    }
    bool number_float(number_float_t, const string_t&) override { return Store({}); }
    bool string(string_t& value) override { return Store(std::move(value)); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return (m_level == 0 || Store({})) && Enter(); }
    bool start_array(std::size_t) override { return Store({}) && Enter(); }
    bool end_object() override { return Leave(); }
    bool end_array() override { return Leave(); }
    bool key(string_t& name) override
    {
        if (m_level == 1) {
            m_name = name;
            m_nameLine = m_line;
        }
        return true;
    }
    bool parse_error(std::size_t position, const std::string&,
                     const nlohmann::detail::exception&) override
    {
        m_errorPosition = position;
        return false;
    }

    std::size_t Depth() const { return m_depth; }
    std::size_t ErrorPosition() const { return m_errorPosition; }

private:
    // A value that stands outside any object is refused.
    bool Store(PropertyValue value)
    {
        if (m_level == 1) {
            std::string key = PropertyKey(m_name);
            m_members.insert_or_assign(
                std::move(key), CPropertyMember{std::move(m_name), m_nameLine, std::move(value)});
        }
        return m_level > 0;
    }
    bool Enter()
    {
        m_depth = std::max(m_depth, ++m_level);
        return true;
    }
    bool Leave()
    {
        --m_level;
        return true;
    }

    CPropertyFile::CMembers& m_members;
    const std::uint32_t& m_line; // that the parser is in
    std::string m_name;          // of the member that is being read
    std::uint32_t m_nameLine = 0;
    std::size_t m_level = 0;
    std::size_t m_depth = 0;
    std::size_t m_errorPosition = 0;
};

bool IsSameStatus(const WIN32_FILE_ATTRIBUTE_DATA& left, const WIN32_FILE_ATTRIBUTE_DATA& right)
{
    return left.ftLastWriteTime == right.ftLastWriteTime &&
           left.ftCreationTime == right.ftCreationTime && left.nFileSizeLow == right.nFileSizeLow &&
           left.nFileSizeHigh == right.nFileSizeHigh;
}

} // namespace

std::string PropertyKey(std::string_view name)
{
    std::string key(name);
    std::ranges::transform(key, key.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return key;
}

bool ReadPropertyText(const std::string& path, std::string* text)
{
    const CFileHandle file(CreateFileA(path.c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE));
    if (!file.IsOpen()) {
        return false;
    }
    std::string content(4096, '\0');
    std::uint32_t used = 0;
    for (;;) {
        const auto room = static_cast<std::uint32_t>(content.size()) - used;
        std::uint32_t count = 0;
        if (!ReadFile(file.Get(), content.data() + used, room, &count, nullptr)) {
            return false;
        }
        used += count;
        if (used > kMaxPropertyFileSize) {
            return Fail(ERROR_FILE_TOO_LARGE);
        }
        if (count < room) {
            content.resize(used);
            *text = std::move(content);
            return true;
        }
        content.resize(content.size() * 4);
    }
}

CPropertyFile::CPropertyFile(std::string_view text)
{
    std::uint32_t line = 1;
    CPropertyReader reader(&m_members, &line);
    const CLineCounter begin(text.data(), &line);
    const CLineCounter end(text.data() + text.size(), &line);
    if (!nlohmann::json::sax_parse(begin, end, &reader)) {
        // The parser stopped behind the faulty byte. If the syntax is right, the first value is no
        // object.
        const std::size_t stop = reader.ErrorPosition() > 0 ? reader.ErrorPosition() - 1
                                                            : text.find_first_not_of(" \t\r\n");
        const std::string_view before = text.substr(0, std::min(stop, text.size()));
        m_members.clear();
        m_error = ERROR_INVALID_DATA;
        m_errorLine = static_cast<std::uint32_t>(1 + std::ranges::count(before, '\n'));
    }
    m_depth = reader.Depth();
}

std::shared_ptr<const CPropertyFile> CPropertyFile::Read(const std::string& path)
{
    const CKeepLastError keep;
    std::string text;
    if (ReadPropertyText(path, &text)) {
        return std::make_shared<CPropertyFile>(text);
    }
    auto file = std::make_shared<CPropertyFile>();
    const std::uint32_t error = GetLastError();
    if (error == ERROR_NOT_ENOUGH_MEMORY) {
        throw std::bad_alloc(); // no fault of the file: the next use reads it again
    }
    if (!IsMissingFile(error)) {
        file->m_error = error;
    }
    return file;
}

const PropertyValue* CPropertyFile::Find(const std::string& key) const
{
    const auto found = m_members.find(key);
    return found == m_members.end() ? nullptr : &found->second.value;
}

std::shared_ptr<const CPropertyFile> CPropertyFileCache::Get(const std::string& path)
{
    const CKeepLastError keep;
    WIN32_FILE_ATTRIBUTE_DATA status;
    if (!GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &status)) {
        return IsMissingFile(GetLastError()) ? std::make_shared<const CPropertyFile>()
                                             : CPropertyFile::Read(path);
    }
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_entries.find(path);
        if (found != m_entries.end() && IsSameStatus(found->second.status, status)) {
            return found->second.file;
        }
    }
    std::shared_ptr<const CPropertyFile> file = CPropertyFile::Read(path);
    // A file that could not be read is tried again. A text that is no JSON stays so until it
    // changes.
    if (file->Error() == ERROR_SUCCESS || file->Error() == ERROR_INVALID_DATA) {
        const std::lock_guard lock(m_mutex);
        m_entries.insert_or_assign(path, Entry{status, file});
    }
    return file;
}

} // namespace contactmgr_internal
