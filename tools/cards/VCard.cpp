#include "cards/VCard.h"

#include "base/Text.h"
#include "directory/ContentLine.h"
#include "directory/ContentLineSyntax.h"
#include "directory/TextLines.h"
#include "platform/Ascii.h"

#include <algorithm>

namespace
{

constexpr std::size_t kLineBytes = 75;

// A value of a parameter in quotes if it has a separator in it, with its quotes and line feeds
// encoded (RFC 6868).
void AppendParameterText(std::string_view value, std::string* text)
{
    const bool isQuoted = value.find_first_of(",;:") != value.npos;
    text->append(isQuoted ? "\"" : "");
    for (const char c : value) {
        if (c == '"' || c == '\n' || c == '^') {
            text->append(1, '^').append(1, c == '"' ? '\'' : c == '\n' ? 'n' : '^');
        } else {
            text->append(1, c);
        }
    }
    text->append(isQuoted ? "\"" : "");
}

} // namespace

bool CVCardLine::HasType(std::string_view type) const
{
    return std::ranges::any_of(parameters, [type](const auto& parameter) {
        return parameter.first == "TYPE" && EqualIgnoringCase(parameter.second, type);
    });
}

std::string_view CVCardLine::Parameter(std::string_view parameterName) const
{
    const auto found =
        std::ranges::find(parameters, parameterName, &std::pair<std::string, std::string>::first);
    return found == parameters.end() ? std::string_view() : found->second;
}

const CVCardLine* FindLine(const CVCard& card, std::string_view name)
{
    const auto found = std::ranges::find(card, name, &CVCardLine::name);
    return found == card.end() ? nullptr : &*found;
}

bool ReadVCardLine(std::string_view text, CVCardLine* line)
{
    std::size_t position = 0;
    std::string_view group;
    std::string_view name;
    DirectoryUtils::CLineRest rest;
    if (!DirectoryUtils::TakeName(text, &position, &group, &name) ||
        !DirectoryUtils::TakeRest(text, position, &rest)) {
        return false;
    }
    *line = {std::string(group), UpperText(name), {}, std::string(rest.value)};
    if (!rest.parameters.empty()) {
        DirectoryUtils::CParameterReader reader(rest.parameters, 0);
        while (reader.Next()) {
            line->parameters.emplace_back(UpperText(reader.Name()), reader.Value());
        }
    }
    return true;
}

std::string WriteVCardLine(const CVCardLine& line)
{
    std::string text = line.group.empty() ? line.name : line.group + '.' + line.name;
    std::string_view before;
    for (const auto& [name, value] : line.parameters) {
        if (name == before) {
            text += ',';
        } else {
            text.append(1, ';').append(name).append(1, '=');
        }
        before = name;
        AppendParameterText(value, &text);
    }
    return text.append(1, ':').append(line.value);
}

CVCard ReadVCard(std::string_view text)
{
    CVCard card;
    const CTextLines lines{std::string(text)};
    for (const std::string_view line : lines.Lines()) {
        CVCardLine read;
        if (ReadVCardLine(line, &read) && read.name != "BEGIN" && read.name != "END" &&
            read.name != "VERSION") {
            card.push_back(std::move(read));
        }
    }
    return card;
}

std::string WriteVCard(const CVCard& card, std::string_view version)
{
    std::string text = "BEGIN:VCARD\r\nVERSION:";
    text.append(version).append("\r\n");
    for (const CVCardLine& line : card) {
        DirectoryUtils::AppendFoldedLine(WriteVCardLine(line), kLineBytes, kLineBytes - 1, &text);
    }
    return text + "END:VCARD\r\n";
}

std::string EscapeValue(std::string_view text)
{
    std::string value;
    for (const char c : text) {
        if (c == '\\' || c == ',' || c == ';' || c == '\n') {
            value += '\\';
        }
        value += c == '\n' ? 'n' : c;
    }
    return value;
}

std::string UnescapeValue(std::string_view value)
{
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\\' && i + 1 < value.size()) {
            ++i;
            text += value[i] == 'n' || value[i] == 'N' ? '\n' : value[i];
        } else {
            text += value[i];
        }
    }
    return text;
}

std::vector<std::string> SplitValue(std::string_view value, char separator)
{
    std::vector<std::string> parts(1);
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\\' && i + 1 < value.size()) {
            parts.back().append(value, i, 2);
            ++i;
        } else if (value[i] == separator) {
            parts.emplace_back();
        } else {
            parts.back() += value[i];
        }
    }
    return parts;
}
