#include "server/PathTemplate.h"

#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "platform/FileSearch.h"
#include "server/StorePaths.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <system_error>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

std::vector<std::string_view> SplitPath(std::string_view path)
{
    std::vector<std::string_view> components;
    while (!path.empty()) {
        const std::size_t length = std::min(path.find('/'), path.size());
        if (length > 0 && path.substr(0, length) != ".") {
            components.push_back(path.substr(0, length));
        }
        path.remove_prefix(std::min(length + 1, path.size()));
    }
    return components;
}

// The path from the root on, so that the store stays where it is when the process changes its
// folder. A process whose own folder is gone keeps the path.
std::string Absolute(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path here = std::filesystem::current_path(error);
    return path.empty() ? here.string() : (here / path).string();
}

template <class Number>
bool ParseNumber(std::string_view text, Number* number)
{
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *number);
    return error == std::errc() && stop == end;
}

std::string Fold(std::string text, char fold)
{
    std::ranges::transform(text, text.begin(), [fold](char c) {
        return fold == 'L' ? LowerAscii(c) : c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    });
    return text;
}

bool IsPathComponent(std::string_view component)
{
    return !component.empty() && component != "." && component != "..";
}

std::string Join(const std::string& folder, const std::string& component)
{
    return (folder == "/" ? "" : folder) + '/' + component;
}

} // namespace

// [OFFSET.][WIDTH]. A width that is padded with zeros or counts from the end is not supported.
bool CPathTemplate::ParseSubstring(std::string_view text, Part* part)
{
    const std::size_t point = text.find('.');
    if (point != text.npos) {
        if (point > 0 && !ParseNumber(text.substr(0, point), &part->offset)) {
            return false;
        }
        text.remove_prefix(point + 1);
    }
    const bool isPadded = text.size() > 1 && text.front() == '0';
    return text.empty() || (!isPadded && ParseNumber(text, &part->width));
}

// What stands behind a percent sign: [OFFSET.][WIDTH][L][U]LETTER. Takes it off the text.
bool CPathTemplate::ParseVariable(std::string_view* text, Part* part)
{
    const std::size_t numbers = std::min(text->find_first_not_of("-.0123456789"), text->size());
    if (!ParseSubstring(text->substr(0, numbers), part)) {
        return false;
    }
    const std::size_t letter = std::min(text->find_first_not_of("LU", numbers), text->size());
    if (letter == text->size() || std::string_view("dnuh").find((*text)[letter]) == text->npos) {
        return false;
    }
    part->fold = letter > numbers ? (*text)[letter - 1] : '\0';
    part->letter = (*text)[letter];
    text->remove_prefix(letter + 1);
    return true;
}

bool CPathTemplate::ParseComponent(std::string_view text, Component* component, std::string* fault)
{
    std::string literal;
    while (!text.empty()) {
        const char c = text.front();
        text.remove_prefix(1);
        if (c != '%' || text.starts_with('%')) {
            literal += c;
            text.remove_prefix(c == '%' ? 1 : 0);
            continue;
        }
        Part part;
        const std::string_view variable = text;
        if (!ParseVariable(&text, &part)) {
            *fault = "has %" + std::string(variable) + ", which is not supported";
            return false;
        }
        component->push_back({std::exchange(literal, {})});
        component->push_back(std::move(part));
    }
    component->push_back({std::move(literal)});
    std::erase_if(*component, [](const Part& p) { return p.literal.empty() && !IsVariable(p); });
    return true;
}

bool CPathTemplate::Parse(std::string_view text, std::string* fault)
{
    const std::vector<std::string_view> words = SplitPath(text);
    std::vector<Component> components;
    for (const std::string_view word : words) {
        if (!ParseComponent(word, &components.emplace_back(), fault)) {
            return false;
        }
    }
    const auto hasVariable = [](const Component& component) {
        return std::ranges::any_of(component, &IsVariable);
    };
    m_root.clear();
    if (!TakeHome(text, &components, fault)) {
        return false;
    }
    auto first = components.begin();
    if (!m_startsAtHome) {
        std::string root = text.starts_with('/') ? "/" : "";
        for (first = components.begin(); first != components.end() && !hasVariable(*first);
             ++first) {
            root += (root.empty() || root == "/" ? "" : "/") + FillComponent(*first, {});
        }
        m_root = Absolute(root);
    }
    m_components.assign(std::make_move_iterator(first), std::make_move_iterator(components.end()));
    m_nameIndex = IndexOf(&IsWholeName);
    m_domainIndex = IndexOf(&IsWholeDomain);
    return true;
}

// The home folder can only come first.
bool CPathTemplate::TakeHome(std::string_view text, std::vector<Component>* components,
                             std::string* fault)
{
    const auto isHome = [](const Part& part) { return part.letter == 'h'; };
    const bool isTilde = text.starts_with('~');
    if (isTilde && text.size() > 1 && text[1] != '/') {
        *fault = "begins with " + std::string(SplitPath(text).front()) +
                 ", but only ~/ stands for a home folder";
        return false;
    }
    const Component* const front = components->empty() ? nullptr : &components->front();
    m_startsAtHome = isTilde || (front != nullptr && text.starts_with("%h") && front->size() == 1);
    if (m_startsAtHome) {
        components->erase(components->begin());
    }
    if (std::ranges::any_of(*components, [&isHome](const Component& component) {
            return std::ranges::any_of(component, isHome);
        })) {
        *fault = "has %h behind its beginning";
        return false;
    }
    return true;
}

bool CPathTemplate::IsVariable(const Part& part)
{
    return part.letter != '\0';
}

bool CPathTemplate::HasName(const Part& part)
{
    return part.letter == 'n' || part.letter == 'u';
}

// A name that is cut is not the whole one; a folded one is.
bool CPathTemplate::IsWholeName(const Part& part)
{
    return HasName(part) && part.offset == 0 && part.width == 0;
}

bool CPathTemplate::IsWholeDomain(const Part& part)
{
    return (part.letter == 'd' || part.letter == 'u') && part.offset == 0 && part.width == 0;
}

std::size_t CPathTemplate::IndexOf(bool (*isWanted)(const Part&)) const
{
    const auto found = std::ranges::find_if(m_components, [isWanted](const Component& component) {
        return std::ranges::any_of(component, isWanted);
    });
    return static_cast<std::size_t>(found - m_components.begin());
}

std::string CPathTemplate::FillPart(const Part& part, const CTemplateNames& names)
{
    std::string value = part.literal;
    if (HasName(part)) {
        value += names.name;
    }
    value += part.letter == 'u' ? "@" : "";
    if (part.letter == 'd' || part.letter == 'u') {
        value += names.domain;
    }
    if (part.fold != '\0') {
        value = Fold(std::move(value), part.fold);
    }
    const auto size = static_cast<std::ptrdiff_t>(value.size());
    const std::ptrdiff_t offset = part.offset < 0 ? std::max<std::ptrdiff_t>(size + part.offset, 0)
                                                  : std::min<std::ptrdiff_t>(part.offset, size);
    return value.substr(static_cast<std::size_t>(offset),
                        part.width == 0 ? value.npos : part.width);
}

std::string CPathTemplate::FillComponent(const Component& component, const CTemplateNames& names)
{
    std::string filled;
    for (const Part& part : component) {
        filled += FillPart(part, names);
    }
    return filled;
}

std::string CPathTemplate::Fill(const CTemplateNames& names) const
{
    if (m_components.empty()) {
        return m_startsAtHome ? std::string(names.home) : m_root;
    }
    std::vector<std::string> paths = FillDown(names);
    return paths.empty() ? std::string() : std::move(paths.back());
}

std::vector<std::string> CPathTemplate::FillDown(const CTemplateNames& names) const
{
    std::vector<std::string> paths;
    std::string path = m_startsAtHome ? std::string(names.home) : m_root;
    for (const Component& component : m_components) {
        const std::string filled = FillComponent(component, names);
        if (std::ranges::any_of(component, &IsVariable) && !IsPathComponent(filled)) {
            return {};
        }
        path = Join(path, filled);
        paths.push_back(path);
    }
    return paths;
}

std::string CPathTemplate::DomainPath(std::string_view domain) const
{
    if (m_startsAtHome || m_domainIndex >= IndexOf(&HasName)) {
        return {};
    }
    std::string path = m_root;
    for (std::size_t i = 0; i <= m_domainIndex; ++i) {
        path = Join(path, FillComponent(m_components[i], {{}, domain, {}}));
    }
    return path;
}

// Goes down through all folders that stand for a part of the name, to the component that has the
// whole name.
bool CPathTemplate::ListBelow(const std::string& folder, std::size_t index, std::string_view domain,
                              std::vector<std::string>* names) const
{
    const Component& component = m_components[index];
    if (!std::ranges::any_of(component, &HasName)) {
        return ListBelow(Join(folder, FillComponent(component, {{}, domain, {}})), index + 1,
                         domain, names);
    }
    std::vector<std::string> entries;
    if (!ListFolder(folder.c_str(), &entries)) {
        return false;
    }
    const std::uint32_t before = GetLastError();
    for (const std::string& entry : entries) {
        const std::string path = Join(folder, entry);
        if (index == m_nameIndex) {
            std::string name = NameOfEntry(component, entry, domain);
            // Empty for a name that is too short for a part of the path.
            const std::vector<std::string> paths = FillDown({name, domain, {}});
            if (!name.empty() && index < paths.size() && paths[index] == path) {
                names->push_back(std::move(name));
            }
        } else if (!ListBelow(path, index + 1, domain, names) && !IsMissingFile(GetLastError())) {
            return false;
        }
    }
    SetLastError(before);
    return true;
}

bool CPathTemplate::ListNames(std::string_view domain, std::vector<std::string>* names) const
{
    return ListBelow(m_root, 0, domain, names);
}

// The name that an entry of a folder stands for; empty for none. Where the component also has a
// part of the name, the length of the name takes some guesses.
std::string CPathTemplate::NameOfEntry(const Component& component, const std::string& entry,
                                       std::string_view domain)
{
    const auto whole = std::ranges::find_if(component, &IsWholeName);
    const Component front(component.begin(), whole);
    for (std::size_t length = entry.size(); length > 0; --length) {
        const std::string any(length, 'n');
        if (FillComponent(component, {any, domain, {}}).size() != entry.size()) {
            continue;
        }
        const std::size_t at = FillComponent(front, {any, domain, {}}).size();
        std::string name = entry.substr(at, length);
        if (IsPlainName(name.c_str()) && FillComponent(component, {name, domain, {}}) == entry) {
            return name;
        }
    }
    return {};
}

} // namespace contactmgr_internal
