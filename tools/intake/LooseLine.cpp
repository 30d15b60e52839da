#include "intake/LooseLine.h"

#include "base/Text.h"
#include "cards/LineParts.h"
#include "cards/VCardBinary.h"
#include "platform/Ascii.h"
#include "text/Charset.h"
#include "text/TransferEncoding.h"
#include "text/Utf8.h"

#include <algorithm>

namespace
{

// Lines of text, which is in base64 in some cards of vCard 2.1.
constexpr std::string_view kTextNames[] = {"N",   "FN",  "NICKNAME", "NOTE", "TITLE", "ROLE",
                                           "ORG", "ADR", "LABEL",    "TEL",  "EMAIL", "URL"};

// The parameter that a value without a name belongs to (vCard 2.1, 2.1.2).
std::string_view NameOfBareValue(std::string_view value)
{
    return IsOneOf(value, {"QUOTED-PRINTABLE", "BASE64", "8BIT", "7BIT", "B"}) ? "ENCODING"
           : IsOneOf(value, {"INLINE", "URL", "URI", "CONTENT-ID", "CID"})     ? "VALUE"
           : IsOneOf(value, {"UTF-8", "US-ASCII"})                             ? "CHARSET"
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

bool IsBlankOrControl(unsigned char c)
{
    return c <= ' ';
}

// What is no base64 stays, although the line says that it is.
void DecodeText(CVCardLine* line)
{
    constexpr std::size_t kBase64Group = 4;
    if (IsQuotedPrintable(*line)) {
        line->value = DecodeQuotedPrintable(line->value);
    } else if (IsInBase64(*line)) {
        std::string base64 = line->value;
        std::erase_if(base64, IsBlankOrControl);
        const bool isWhole = base64.size() % kBase64Group == 0 && IsBase64(base64);
        line->value = isWhole ? DecodeBase64(base64) : line->value;
    }
    TakeParameter("ENCODING", line);
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

bool IsQuotedPrintable(const CVCardLine& line)
{
    return IsOneOf(line.Parameter("ENCODING"), {"QUOTED-PRINTABLE", "Q"});
}

bool IsInBase64(const CVCardLine& line)
{
    return IsOneOf(line.Parameter("ENCODING"), {"BASE64", "B"});
}

void DecodeLine(CVCardLine* line, CImportCard* card)
{
    const std::string charset = TakeParameter("CHARSET", line);
    if (IsInBase64(*line) && !IsIn(kTextNames, line->name)) {
        std::erase_if(line->value, IsBlankOrControl);
        std::ranges::find(line->parameters, "ENCODING", NameOf)->second = "b";
    } else {
        DecodeText(line);
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
