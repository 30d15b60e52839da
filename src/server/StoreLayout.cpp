#include "server/StoreLayout.h"

#include "platform/Failure.h"
#include "platform/FileAttributes.h"
#include "text/Utf8.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace
{

constexpr std::size_t kMaxComponentLength = 255;

bool IsBlankOrControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte <= ' ' || byte == 0x7F;
}

std::vector<std::string> SplitPath(std::string_view path)
{
    std::vector<std::string> components;
    while (!path.empty()) {
        const std::size_t length = std::min(path.find('/'), path.size());
        if (length > 0 && path.substr(0, length) != ".") {
            components.emplace_back(path.substr(0, length));
        }
        path.remove_prefix(std::min(length + 1, path.size()));
    }
    return components;
}

bool IsTemplate(const std::string& component)
{
    return component.find('%') != std::string::npos;
}

// Puts the names in the place of %n and %d.
std::string Expand(std::string_view component, std::string_view name, std::string_view domain)
{
    std::string expanded;
    for (std::size_t i = 0; i < component.size(); ++i) {
        if (component[i] != '%') {
            expanded += component[i];
            continue;
        }
        ++i;
        expanded += component[i] == 'n' ? name : component[i] == 'd' ? domain : "%";
    }
    return expanded;
}

bool HasOnlyKnownLetters(std::string_view component)
{
    for (std::size_t i = 0; i < component.size(); ++i) {
        if (component[i] == '%' &&
            (++i == component.size() ||
             std::string_view("dn%").find(component[i]) == std::string_view::npos)) {
            return false;
        }
    }
    return true;
}

// Where %LETTER stands in the component; npos if nowhere. A percent sign of its own is skipped.
std::size_t FindLetter(std::string_view component, char letter)
{
    for (std::size_t i = 0; i + 1 < component.size(); ++i) {
        if (component[i] == '%' && component[++i] == letter) {
            return i - 1;
        }
    }
    return std::string_view::npos;
}

std::size_t IndexOfLetter(const std::vector<std::string>& components, char letter)
{
    const auto found = std::ranges::find_if(components, [letter](const std::string& component) {
        return FindLetter(component, letter) != std::string_view::npos;
    });
    return static_cast<std::size_t>(found - components.begin());
}

// The path from the root on, so that the store stays where it is when the process changes its
// folder. One that no longer has a folder keeps the path.
std::string Absolute(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path here = std::filesystem::current_path(error);
    return path.empty() ? here.string() : (here / path).string();
}

} // namespace

bool IsPlainName(const char* name)
{
    if (name == nullptr) {
        return false;
    }
    const std::string_view text(name);
    return !text.empty() && text.size() <= kMaxComponentLength && text.front() != '.' &&
           text.find('/') == std::string_view::npos &&
           std::ranges::none_of(text, IsBlankOrControl) && IsUtf8(text);
}

bool IsFolder(const std::string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data)) {
        if (GetLastError() == ERROR_FILE_NOT_FOUND) {
            SetLastError(ERROR_PATH_NOT_FOUND);
        }
        return false;
    }
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return Fail(ERROR_PATH_NOT_FOUND);
    }
    return true;
}

bool CStoreLayout::Parse(const char* location)
{
    if (location == nullptr || *location == '\0') {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    std::vector<std::string> components = SplitPath(location);
    if (std::ranges::none_of(components, IsTemplate)) {
        components.insert(components.end(), {"%d", "%n"});
    }
    const auto first = std::ranges::find_if(components, IsTemplate);
    std::string root = *location == '/' ? "/" : "";
    for (auto component = components.begin(); component != first; ++component) {
        root += (root.empty() || root == "/" ? "" : "/") + *component;
    }
    m_root = Absolute(root);
    m_components.assign(first, components.end());
    m_nameIndex = IndexOfLetter(m_components, 'n');
    m_domainIndex = IndexOfLetter(m_components, 'd');
    if (m_nameIndex == m_components.size() || m_domainIndex == m_components.size() ||
        !std::ranges::all_of(m_components, HasOnlyKnownLetters)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return true;
}

std::string CStoreLayout::PathUpTo(std::size_t count, std::string_view name,
                                   std::string_view domain) const
{
    std::string path = m_root == "/" ? "" : m_root;
    for (std::size_t i = 0; i < count; ++i) {
        path += '/' + Expand(m_components[i], name, domain);
    }
    return path.empty() ? "/" : path;
}

std::string CStoreLayout::MailboxPath(std::string_view name, std::string_view domain) const
{
    return PathUpTo(m_components.size(), name, domain);
}

std::string CStoreLayout::DomainPath(std::string_view domain) const
{
    return m_domainIndex < m_nameIndex ? PathUpTo(m_domainIndex + 1, {}, domain) : std::string();
}

std::vector<std::string> CStoreLayout::PathsDown(std::string_view name,
                                                 std::string_view domain) const
{
    std::vector<std::string> paths;
    for (std::size_t count = 1; count <= m_components.size(); ++count) {
        paths.push_back(PathUpTo(count, name, domain));
    }
    return paths;
}

std::string CStoreLayout::EntriesPath(std::string_view domain) const
{
    return PathUpTo(m_nameIndex, {}, domain);
}

std::string CStoreLayout::NameOfEntry(const std::string& entry, std::string_view domain) const
{
    const std::string& component = m_components[m_nameIndex];
    const std::size_t withoutName = Expand(component, {}, domain).size();
    const std::size_t uses = Expand(component, "n", domain).size() - withoutName;
    const std::string front = component.substr(0, FindLetter(component, 'n'));
    const std::size_t at = Expand(front, {}, domain).size();
    if (entry.size() <= withoutName) {
        return {};
    }
    std::string name = entry.substr(at, (entry.size() - withoutName) / uses);
    const bool isEntry = IsPlainName(name.c_str()) && Expand(component, name, domain) == entry;
    return isEntry ? name : std::string();
}
