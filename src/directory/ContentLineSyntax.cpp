#include "directory/ContentLineSyntax.h"

#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "text/Utf8.h"

#include <algorithm>
#include <utility>

namespace DirectoryUtils
{
namespace
{

std::string ToUpperAscii(std::string_view text)
{
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(), UpperAscii<char>);
    return upper;
}

// A line that cannot be read is skipped, which is no failure: the last error stays as it was.
bool DecodeUtf8(std::string_view text, std::u16string* out)
{
    const std::uint32_t lastError = GetLastError();
    return Utf8ToWide(text, out) || Fail(lastError);
}

// The place of the first of the characters, or npos. find_first_of would make a call for each byte.
template <char... kCharacters>
std::size_t FindAny(std::string_view text, std::size_t from)
{
    while (from < text.size() && ((text[from] != kCharacters) && ...)) {
        ++from;
    }
    return from < text.size() ? from : text.npos;
}

// Skips separators, and takes the text up to the next one. The position moves behind that one.
// False if the line has none.
template <char... kSeparators>
bool TakeToken(std::string_view line, std::size_t* position, std::string_view* token)
{
    std::size_t begin = *position;
    while (begin < line.size() && ((line[begin] == kSeparators) || ...)) {
        ++begin;
    }
    const std::size_t end = FindAny<kSeparators...>(line, begin);
    if (end == line.npos) {
        return false;
    }
    *token = line.substr(begin, end - begin);
    *position = end + 1;
    return true;
}

// A caret in front of any other character stands for itself (RFC 6868, 3): old clients wrote carets
// that encode nothing.
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

bool IsBlank(char16_t c)
{
    return c == u' ' || c == u'\t';
}

bool IsSeparator(char16_t c)
{
    return c == u':' || c == u';' || c == u',';
}

// In a parameter value (RFC 6868).
bool IsEncoded(char16_t c)
{
    return c == u'^' || c == u'"' || c == u'\r' || c == u'\n';
}

bool IsContinuationByte(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// For a line that is longer than the room: how many of its bytes fit without cutting a character,
// but at least one character. Bytes that are no UTF-8 are cut anywhere.
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
    if (text.find('\r') != text.npos || text.find('\n') != text.npos) {
        std::replace_if(
            out->begin() + static_cast<std::ptrdiff_t>(begin), out->end(),
            [](char c) { return c == '\r' || c == '\n'; }, ' ');
    }
}

} // namespace

bool CParameterReader::Fail()
{
    m_separator = '\0';
    return false;
}

bool CParameterReader::Next()
{
    const bool isAtValue = m_separator == ',';
    const bool isAtName = m_separator == ';';
    return isAtValue ? TakeRaw() : isAtName && TakeName() && TakeRaw();
}

bool CParameterReader::TakeName()
{
    // A separator before any "=" ends a word without a value, as in vCard 2.1 ("TEL;HOME:").
    const std::size_t equals = FindAny<'=', ':', ';', ',', '"'>(m_line, m_position);
    if (equals == m_line.npos || equals == m_position || m_line[equals] != '=') {
        return Fail();
    }
    m_name = m_line.substr(m_position, equals - m_position);
    m_position = equals + 1;
    return true;
}

bool CParameterReader::TakeRaw()
{
    const bool isQuoted = m_position < m_line.size() && m_line[m_position] == '"';
    const std::size_t begin = isQuoted ? m_position + 1 : m_position;
    const std::size_t end =
        isQuoted ? m_line.find('"', begin) : FindAny<',', ';', ':'>(m_line, begin);
    if (end == m_line.npos) {
        return Fail();
    }
    m_raw = m_line.substr(begin, end - begin);
    m_position = isQuoted ? end + 1 : end;
    m_separator = m_position < m_line.size() ? m_line[m_position++] : '\0';
    return m_separator == ',' || m_separator == ';' || m_separator == ':' || Fail();
}

std::string CParameterReader::Value() const
{
    return m_raw.find('^') == m_raw.npos ? std::string(m_raw) : DecodeCarets(m_raw);
}

bool TakeName(std::string_view line, std::size_t* position, std::string_view* group,
              std::string_view* name)
{
    *group = {};
    if (!TakeToken<'.', ';', ':'>(line, position, name)) {
        return false;
    }
    // Behind the group a dot is a character of the name.
    if (line[*position - 1] == '.') {
        *group = *name;
        return TakeToken<';', ':'>(line, position, name);
    }
    return true;
}

bool TakeRest(std::string_view line, std::size_t position, CLineRest* rest)
{
    const bool hasParameters = line[position - 1] == ';';
    CParameterReader reader(line, position);
    // A caret and what it encodes are ASCII, so the raw text tells whether a value is UTF-8.
    while (hasParameters && reader.Next()) {
        if (!IsUtf8(reader.Raw())) {
            return false;
        }
    }
    if (reader.IsMalformed()) {
        return false;
    }
    rest->parameters = line.substr(position, reader.Position() - position);
    rest->value = line.substr(reader.Position());
    return IsUtf8(rest->value);
}

bool ReadParameter(CParameterReader* reader, CParameters* parameters)
{
    // Read apart, so that a malformed parameter adds nothing.
    CParameterValues values;
    do {
        std::u16string value;
        if (!reader->Next() || !DecodeUtf8(reader->Value(), &value)) {
            return false;
        }
        values.AddTail(std::move(value));
    } while (reader->Separator() == ',');
    CParameterValues& all = FindOrAddValues(parameters, ToUpperAscii(reader->Name()));
    if (all.IsEmpty()) {
        all = std::move(values);
    } else {
        all.AddTail(values);
    }
    return true;
}

// A value with a blank at an end is quoted, since other readers trim it.
bool AppendParameterValue(const std::u16string& value, std::string* text)
{
    const bool blankAtEnd = !value.empty() && (IsBlank(value.front()) || IsBlank(value.back()));
    const bool quoted = blankAtEnd || std::ranges::any_of(value, IsSeparator);
    if (!quoted && std::ranges::none_of(value, IsEncoded)) {
        return AppendUtf8(value, text);
    }
    std::string plain;
    if (!AppendUtf8(value, &plain)) {
        return false;
    }
    text->append(quoted, '"');
    for (std::size_t i = 0; i < plain.size(); ++i) {
        switch (plain[i]) {
        case '^':
            *text += "^^";
            break;
        case '"':
            *text += "^'";
            break;
        case '\r': // with a line feed behind it, one line break
            i += plain.compare(i, 2, "\r\n") == 0 ? 1 : 0;
            [[fallthrough]];
        case '\n':
            *text += "^n";
            break;
        default:
            *text += plain[i];
        }
    }
    text->append(quoted, '"');
    return true;
}

bool AppendParameters(const CParameters& parameters, std::string* text)
{
    for (const CParameters::CEntry& entry : parameters) {
        char separator = '=';
        // An entry is without values where a type mask was set to 0.
        if (!entry.values->IsEmpty()) {
            text->append(1, ';').append(entry.name);
        }
        for (const std::u16string& value : *entry.values) {
            *text += separator;
            if (!AppendParameterValue(value, text)) {
                return false;
            }
            separator = ',';
        }
    }
    return true;
}

bool ParseLine(std::string_view line, std::string* group, std::string* name,
               CParameters* parameters, std::u16string* value)
{
    group->clear();
    name->clear();
    parameters->RemoveAll();
    value->clear();

    std::size_t position = 0;
    std::string_view asWritten;
    std::string_view groupText;
    const bool hasName = TakeName(line, &position, &groupText, &asWritten);
    *group = groupText;
    if (!hasName) {
        return false;
    }
    *name = ToUpperAscii(asWritten);
    if (line[position - 1] == ';') {
        CParameterReader reader(line, position);
        do {
            if (!ReadParameter(&reader, parameters)) {
                return false;
            }
        } while (reader.Separator() == ';');
        position = reader.Position();
    }
    return DecodeUtf8(line.substr(position), value);
}

void AppendRewritten(std::string_view line, std::string* text)
{
    std::size_t position = 0;
    std::string_view group;
    std::string_view name;
    TakeName(line, &position, &group, &name);
    if (!group.empty()) {
        text->append(group).append(1, '.');
    }
    text->append(ToUpperAscii(name));
    if (line[position - 1] == ';') {
        CParameters parameters;
        CParameterReader reader(line, position);
        while (ReadParameter(&reader, &parameters) && reader.Separator() == ';') {
        }
        AppendParameters(parameters, text);
        position = reader.Position();
    }
    text->append(1, ':').append(line.substr(position));
}

bool AppendLine(const CContentLine& line, std::string* text)
{
    if (!line.GetGroup().empty()) {
        text->append(line.GetGroup()).append(1, '.');
    }
    *text += line.GetName();
    const std::size_t head = text->size(); // what is left of a line that cannot be written
    if (!AppendParameters(line.GetParameters(), text)) {
        text->resize(head);
        return false;
    }
    *text += ':';
    return AppendUtf8(line.CContentLine::GetMainValue(), text);
}

bool AppendFolded(const CContentLine& line, std::uint32_t maxLineLength, std::string* text)
{
    std::string unfolded;
    if (!AppendLine(line, &unfolded)) {
        return false;
    }
    // The tab takes one byte of each continuation.
    AppendFoldedLine(unfolded, maxLineLength, std::max(maxLineLength, 1U) - 1, text);
    return true;
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
    if (text.find(u'\\') == text.npos) {
        return plain.assign(text);
    }
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
        // The rest is one character that is longer than the room.
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
