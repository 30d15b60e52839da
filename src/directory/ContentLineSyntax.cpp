#include "directory/ContentLine.h"

#include "directory/Refusal.h"
#include "platform/Failure.h"
#include "platform/FileApi.h"
#include "text/Utf8.h"

#include <algorithm>
#include <limits>
#include <new>

namespace DirectoryUtils
{
namespace
{

// Positions in a line are an int.
constexpr std::size_t kMaxLine = std::numeric_limits<int>::max() - 1;

std::string ToUpperAscii(std::string_view text)
{
    std::string upper(text);
    for (char& c : upper) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return upper;
}

bool DecodeUtf8(std::string_view text, std::u16string* out)
{
    const std::uint32_t lastError = GetLastError();
    return Utf8ToWide(text, out) || Fail(lastError);
}

// The token at the position: separators in front of it are skipped, and the position moves behind
// the one that ends it. False if none ends it.
bool TakeToken(std::string_view line, const char* separators, std::size_t* position,
               std::string_view* token)
{
    const std::size_t begin = line.find_first_not_of(separators, *position);
    const std::size_t end = line.find_first_of(separators, begin);
    if (begin == line.npos || end == line.npos) {
        return false;
    }
    *token = line.substr(begin, end - begin);
    *position = end + 1;
    return true;
}

// The text of the parameter value at the position, without its quotes; the position moves to the
// separator behind it.
bool TakeParameterValue(std::string_view line, std::size_t* position, std::string_view* raw)
{
    const bool quoted = *position < line.size() && line[*position] == '"';
    const std::size_t begin = quoted ? *position + 1 : *position;
    const std::size_t end = quoted ? line.find('"', begin) : line.find_first_of(",;:", begin);
    if (end == line.npos) {
        return false;
    }
    *raw = line.substr(begin, end - begin);
    *position = quoted ? end + 1 : end;
    const char separator = *position < line.size() ? line[*position] : '\0';
    return separator == ',' || separator == ';' || separator == ':';
}

// A caret in front of any other character stands for itself, as old clients wrote it (RFC 6868, 3).
std::string DecodeCarets(std::string_view raw)
{
    std::string text;
    text.reserve(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        const char next = raw[i] == '^' && i + 1 < raw.size() ? raw[i + 1] : '\0';
        const char decoded = next == 'n' ? '\n' : next == '\'' ? '"' : next == '^' ? '^' : '\0';
        text += decoded == '\0' ? raw[i] : decoded;
        i += decoded == '\0' ? 0 : 1;
    }
    return text;
}

bool DecodeParameterValue(std::string_view raw, std::u16string* value)
{
    return raw.find('^') == raw.npos ? DecodeUtf8(raw, value)
                                     : DecodeUtf8(DecodeCarets(raw), value);
}

// Reads the values behind the "=" up to the separator that ends the parameter.
bool TakeParameterValues(std::string_view line, std::size_t* position, CParameterValues* values)
{
    for (;; ++*position) {
        std::string_view raw;
        std::u16string value;
        if (!TakeParameterValue(line, position, &raw) || !DecodeParameterValue(raw, &value)) {
            return false;
        }
        values->AddTail(std::move(value));
        if (line[*position] != ',') {
            return true;
        }
    }
}

// Reads one parameter into *parameters, and leaves the position on the separator that ends it.
bool ExtractOne(std::string_view line, std::size_t* position, CParameters* parameters)
{
    const std::size_t equals = line.find_first_of("=:;,\"", *position);
    if (equals == line.npos || equals == *position || line[equals] != '=') {
        return false;
    }
    const std::string name = ToUpperAscii(line.substr(*position, equals - *position));
    *position = equals + 1;

    auto values = Make<CParameterValues>();
    if (!TakeParameterValues(line, position, values.get())) {
        return false;
    }
    CParameterValues* earlier = nullptr;
    if (parameters->Lookup(name, earlier)) {
        earlier->AddTail(*values);
        return true;
    }
    if (!parameters->SetAt(name, values.get())) {
        return false;
    }
    (void)values.release();
    return true;
}

bool IsBlank(char16_t c)
{
    return c == u' ' || c == u'\t';
}

// A value with a blank at an end is quoted too, since other readers trim.
bool AppendParameterValue(const std::u16string& value, std::string* out)
{
    const bool blankAtEnd = !value.empty() && (IsBlank(value.front()) || IsBlank(value.back()));
    const bool quoted = blankAtEnd || value.find_first_of(u":;,") != value.npos;
    if (!quoted && value.find_first_of(u"^\"\r\n") == value.npos) {
        return AppendUtf8(value, out);
    }
    std::string text;
    if (!AppendUtf8(value, &text)) {
        return false;
    }
    out->append(quoted, '"');
    for (std::size_t i = 0; i < text.size(); ++i) {
        switch (text[i]) {
        case '^':
            *out += "^^";
            break;
        case '"':
            *out += "^'";
            break;
        case '\r':
            i += text.compare(i, 2, "\r\n") == 0 ? 1 : 0;
            [[fallthrough]];
        case '\n':
            *out += "^n";
            break;
        default:
            *out += text[i];
        }
    }
    out->append(quoted, '"');
    return true;
}

bool IsContinuationByte(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// The bytes of the characters that fit into the room, of a line that does not; at least one
// character. Bytes that are no UTF-8 are cut anywhere.
std::size_t LengthThatFits(std::string_view line, std::size_t room)
{
    constexpr std::size_t kMaxCharacter = 4;
    for (std::size_t back = 0; back < kMaxCharacter && back < room; ++back) {
        if (!IsContinuationByte(line[room - back])) {
            return room - back;
        }
    }
    std::size_t length = std::max<std::size_t>(room, 1);
    while (length < kMaxCharacter && length < line.size() && IsContinuationByte(line[length])) {
        ++length;
    }
    return length;
}

void AppendWithoutBreaks(std::string_view text, std::string* out)
{
    const std::size_t begin = out->size();
    out->append(text);
    std::replace_if(
        out->begin() + static_cast<std::ptrdiff_t>(begin), out->end(),
        [](char c) { return c == '\r' || c == '\n'; }, ' ');
}

} // namespace

bool CParameters::Extract(std::string_view line, int* position)
try {
    if (position == nullptr) {
        return false;
    }
    std::size_t at = static_cast<std::size_t>(*position);
    const bool inside = *position >= 0 && at <= line.size() && line.size() <= kMaxLine;
    *position = -1;
    if (!inside || !ExtractOne(line, &at, this)) {
        return false;
    }
    *position = static_cast<int>(at + 1);
    return line[at] == ';';
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CParameters::ToString(CUtf8String* out) const
try {
    if (out == nullptr) {
        return false;
    }
    std::string& text = out->GetCString();
    for (const CEntry& entry : *this) {
        char separator = '=';
        if (!entry.values->IsEmpty()) {
            text.append(1, ';').append(entry.name);
        }
        for (const std::u16string& value : *entry.values) {
            text += separator;
            if (!AppendParameterValue(value, &text)) {
                return false;
            }
            separator = ',';
        }
    }
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CContentLine::Parse(std::string_view line, std::string* group, std::string* name,
                         CParameters* parameters, std::u16string* value)
try {
    if (group == nullptr || name == nullptr || parameters == nullptr || value == nullptr) {
        return false;
    }
    group->clear();
    name->clear();
    parameters->RemoveAll();
    value->clear();

    std::size_t at = 0;
    std::string_view token;
    if (!TakeToken(line, ".;:", &at, &token)) {
        return false;
    }
    if (line[at - 1] == '.') {
        group->assign(token);
        if (!TakeToken(line, ";:", &at, &token)) {
            return false;
        }
    }
    *name = ToUpperAscii(token);
    while (line[at - 1] == ';') {
        if (!ExtractOne(line, &at, parameters)) {
            return false;
        }
        ++at;
    }
    return DecodeUtf8(line.substr(at), value);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CContentLine::ToString(CUtf8String* out) const
try {
    if (out == nullptr) {
        return false;
    }
    std::string& text = out->GetCString();
    text.clear();
    if (!m_group.empty()) {
        text.append(m_group).append(1, '.');
    }
    text += m_name;
    const std::size_t head = text.size();
    if (!m_parameters.ToString(out)) {
        text.resize(head);
        return false;
    }
    text += ':';
    return AppendUtf8(m_mainValue, &text);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CContentLine::AppendFolded(std::string* text, std::uint32_t maxLineLength) const
{
    if (text == nullptr) {
        return false;
    }
    const std::size_t before = text->size();
    try {
        CUtf8String line;
        if (!ToString(&line)) {
            return false;
        }
        AppendFoldedLine(line, maxLineLength, std::max(maxLineLength, 1U) - 1, text);
        return true;
    } catch (const std::bad_alloc&) {
        text->resize(before);
        return FailForMemory();
    }
}

bool CContentLine::Write(HANDLE file, std::uint32_t maxLineLength) const
{
    std::string text;
    if (!AppendFolded(&text, maxLineLength)) {
        return false;
    }
    if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
        return Fail(ERROR_FILE_TOO_LARGE);
    }
    const auto size = static_cast<std::uint32_t>(text.size());
    std::uint32_t written = 0;
    return WriteFile(file, text.data(), size, &written, nullptr) != 0 && written == size;
}

std::u16string CContentLine::GetTextComponent(std::u16string_view text, char16_t separator,
                                              int* position)
{
    if (position == nullptr || *position < 0) {
        return {};
    }
    const std::size_t begin = std::min(static_cast<std::size_t>(*position), text.size());
    const std::size_t end = text.find(separator, begin);
    *position = end < kMaxLine ? static_cast<int>(end + 1) : -1;
    return std::u16string(text.substr(begin, end - begin));
}

std::u16string EscapeTextValue(std::u16string_view text)
{
    std::u16string escaped;
    escaped.reserve(text.size());
    for (const char16_t c : text) {
        if (c == u'\\' || c == u',' || c == u'\n') {
            escaped += u'\\';
        }
        escaped += c == u'\n' ? u'n' : c;
    }
    return escaped;
}

std::u16string UnescapeTextValue(std::u16string_view text)
{
    std::u16string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t next = text[i] == u'\\' && i + 1 < text.size() ? text[i + 1] : u'\0';
        const bool pair = next == u'\\' || next == u',' || next == u'n';
        plain += !pair ? text[i] : next == u'n' ? u'\n' : next;
        i += pair ? 1 : 0;
    }
    return plain;
}

void AppendFoldedLine(std::string_view line, std::size_t firstLength,
                      std::size_t continuationLength, std::string* out)
{
    constexpr std::string_view kBlanksAndBreaks = " \t\r\n";
    std::size_t room = firstLength;
    if (!line.empty() && kBlanksAndBreaks.find(line[0]) != line.npos) {
        *out += '.';
        room -= room > 0 ? 1 : 0;
    }
    while (line.size() > room) {
        const std::size_t length = LengthThatFits(line, room);
        if (length >= line.size()) {
            break;
        }
        AppendWithoutBreaks(line.substr(0, length), out);
        out->append("\r\n\t");
        line.remove_prefix(length);
        room = continuationLength;
    }
    AppendWithoutBreaks(line, out);
    out->append("\r\n");
}

} // namespace DirectoryUtils
