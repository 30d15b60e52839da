#include "intake/LooseLine.h"

#include "base/Text.h"
#include "platform/Ascii.h"
#include "text/Charset.h"
#include "text/TransferEncoding.h"
#include "text/Utf8.h"

#include <algorithm>
#include <array>
#include <span>

namespace
{

bool IsOneOf(std::string_view name, std::span<const std::string_view> names)
{
    return std::ranges::any_of(
        names, [name](std::string_view each) { return EqualIgnoringCase(name, each); });
}

// The parameter that a value without a name belongs to (vCard 2.1, 2.1.2).
std::string_view NameOfBareValue(std::string_view value)
{
    static constexpr std::array<std::string_view, 5> kEncodings = {"QUOTED-PRINTABLE", "BASE64",
                                                                   "8BIT", "7BIT", "B"};
    static constexpr std::array<std::string_view, 5> kValues = {"INLINE", "URL", "URI",
                                                                "CONTENT-ID", "CID"};
    static constexpr std::array<std::string_view, 2> kCharsets = {"UTF-8", "US-ASCII"};
    return IsOneOf(value, kEncodings)  ? "ENCODING"
           : IsOneOf(value, kValues)   ? "VALUE"
           : IsOneOf(value, kCharsets) ? "CHARSET"
                                       : "TYPE";
}

// The first of the characters that stands outside of quotes.
std::size_t FindUnquoted(std::string_view text, std::string_view characters)
{
    bool isQuoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            isQuoted = !isQuoted;
        } else if (!isQuoted && characters.find(text[i]) != characters.npos) {
            return i;
        }
    }
    return text.npos;
}

std::string_view Unquoted(std::string_view text)
{
    const bool isQuoted = text.size() > 1 && text.front() == '"' && text.back() == '"';
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

void AddParameter(std::string_view parameter, CVCardLine* line)
{
    const std::size_t equals = parameter.find('=');
    const bool isBare = equals == parameter.npos;
    std::string_view values = isBare ? parameter : parameter.substr(equals + 1);
    const std::string name =
        UpperText(isBare ? NameOfBareValue(parameter) : parameter.substr(0, equals));
    constexpr std::string_view kNotInNames = "\",:";
    if (name.empty() || name.find_first_of(kNotInNames) != std::string::npos) {
        return;
    }
    while (true) {
        const std::size_t comma = FindUnquoted(values, ",");
        line->parameters.emplace_back(name, Unquoted(values.substr(0, comma)));
        if (comma == values.npos) {
            return;
        }
        values.remove_prefix(comma + 1);
    }
}

void AddParameters(std::string_view text, CVCardLine* line)
{
    while (!text.empty()) {
        const std::size_t end = std::min(FindUnquoted(text, ";"), text.size());
        const std::string_view parameter = text.substr(0, end);
        if (!parameter.empty()) {
            AddParameter(parameter, line);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

void ReadName(std::string_view text, CVCardLine* line)
{
    const std::size_t dot = text.find('.');
    line->group = dot == text.npos ? "" : text.substr(0, dot);
    line->name = UpperText(dot == text.npos ? text : text.substr(dot + 1));
}

const std::string& NameOf(const std::pair<std::string, std::string>& parameter)
{
    return parameter.first;
}

std::string TakeParameter(std::string_view name, CVCardLine* line)
{
    std::string value(line->Parameter(name));
    std::erase_if(line->parameters,
                  [name](const auto& parameter) { return parameter.first == name; });
    return value;
}

// Names of charsets are wrong more often than UTF-8 is valid by chance.
std::string Decode(const std::string& text, const std::string& charset, CImportCard* card)
{
    const bool isNamed = !charset.empty() && !EqualIgnoringCase(charset, "utf-8");
    if (isNamed) {
        return DecodeCharset(text, charset.c_str());
    }
    return DecodeUnknown(text, card);
}

std::string EscapeLineBreaks(std::string_view text)
{
    std::string escaped;
    for (const char c : UnifyLineBreaks(text)) {
        escaped.append(c == '\n' ? "\\n" : std::string(1, c));
    }
    return escaped;
}

} // namespace

bool ReadLooseLine(std::string_view text, CVCardLine* line)
{
    if (ReadVCardLine(text, line)) {
        return true;
    }
    std::size_t colon = FindUnquoted(text, ":");
    if (colon == text.npos) {
        colon = text.find(':');
    }
    if (colon == text.npos) {
        return false;
    }
    *line = CVCardLine();
    const std::string_view head = text.substr(0, colon);
    const std::size_t nameEnd = std::min(head.find(';'), head.size());
    ReadName(head.substr(0, nameEnd), line);
    AddParameters(head.substr(std::min(nameEnd + 1, head.size())), line);
    line->value = text.substr(colon + 1);
    return !line->name.empty() && line->name.find(':') == std::string::npos;
}

void DecodeLine(CVCardLine* line, CImportCard* card)
{
    const std::string encoding(line->Parameter("ENCODING"));
    const std::string charset = TakeParameter("CHARSET", line);
    if (EqualIgnoringCase(encoding, "base64") || EqualIgnoringCase(encoding, "b")) {
        std::erase_if(line->value, [](char c) { return c == ' ' || c == '\t'; });
        std::ranges::find(line->parameters, "ENCODING", NameOf)->second = "b";
    } else {
        TakeParameter("ENCODING", line);
    }
    if (EqualIgnoringCase(encoding, "quoted-printable") || EqualIgnoringCase(encoding, "q")) {
        line->value = DecodeQuotedPrintable(line->value);
    }
    line->value = Decode(line->value, charset, card);
    if (line->value.find_first_of("\r\n") != std::string::npos) {
        line->value = EscapeLineBreaks(line->value);
    }
    line->name = Utf8FromUnknown(line->name);
    line->group = Utf8FromUnknown(line->group);
    for (auto& [name, value] : line->parameters) {
        name = Utf8FromUnknown(name);
        value = Utf8FromUnknown(value);
    }
}
