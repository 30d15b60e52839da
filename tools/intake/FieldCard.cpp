#include "intake/FieldCard.h"

#include "base/Text.h"
#include "platform/Ascii.h"

#include <algorithm>

namespace
{

std::string_view TakeUpTo(char separator, std::string_view* text)
{
    const std::size_t end = std::min(text->find(separator), text->size());
    const std::string_view taken = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return taken;
}

// The line of a place without the number of the part.
CVCardLine LineOf(std::string_view place)
{
    CVCardLine line;
    line.name = TakeUpTo(';', &place);
    while (!place.empty()) {
        line.parameters.emplace_back("TYPE", TakeUpTo(',', &place));
    }
    return line;
}

// A date of the parts year, month and day, as far as they are there.
std::string DateOf(const std::vector<std::string>& parts)
{
    const auto padded = [&parts](std::size_t part, std::size_t width) {
        const std::string text = part < parts.size() ? parts[part] : std::string();
        return text.empty() ? std::string()
                            : std::string(width - std::min(width, text.size()), '0') + text;
    };
    std::string year = padded(0, 4);
    const std::string month = padded(1, 2);
    const std::string day = padded(2, 2);
    if (month.empty() || day.empty()) {
        return year;
    }
    return year.empty() ? "--" + month + '-' + day : year + '-' + month + '-' + day;
}

std::string ValueOf(std::string_view line, const std::vector<std::string>& parts)
{
    if (line == "BDAY") {
        return DateOf(parts);
    }
    const std::size_t count = line == "N" ? 5 : line.starts_with("ADR") ? 7 : parts.size();
    std::string value;
    for (std::size_t i = 0; i < count; ++i) {
        value.append(i == 0 ? "" : ";").append(i < parts.size() ? EscapeValue(parts[i]) : "");
    }
    return value;
}

} // namespace

void CFieldCard::AddPart(std::string_view line, std::size_t part, std::string_view text)
{
    auto found = std::ranges::find(m_parts, line, &CParts::line);
    if (found == m_parts.end()) {
        found =
            m_parts.insert(line == "N" ? m_parts.begin() : m_parts.end(), {std::string(line), {}});
    }
    found->parts.resize(std::max(found->parts.size(), part + 1));
    std::string& there = found->parts[part];
    const std::string_view between = there.empty()             ? ""
                                     : line.starts_with("ADR") ? "\n"
                                     : line == "N"             ? " "
                                                               : ", ";
    there.append(between).append(text);
}

void CFieldCard::Add(std::string_view place, std::string_view text)
{
    const std::string unified = UnifyLineBreaks(Trimmed(text));
    if (unified.empty()) {
        return;
    }
    const std::size_t dot = place.rfind('.');
    if (dot != place.npos) {
        AddPart(place.substr(0, dot), static_cast<std::size_t>(place[dot + 1] - '0'), unified);
        return;
    }
    CVCardLine line = LineOf(place);
    line.value = EscapeValue(unified);
    m_lines.push_back(std::move(line));
}

CVCard CFieldCard::Card() const
{
    CVCard card;
    for (const CParts& parts : m_parts) {
        CVCardLine line = LineOf(parts.line);
        line.value = ValueOf(parts.line, parts.parts);
        card.push_back(std::move(line));
    }
    card.insert(card.end(), m_lines.begin(), m_lines.end());
    return card;
}

std::string ExtensionName(std::string_view prefix, std::string_view field)
{
    std::string name = "X-";
    name.append(prefix).append(1, '-');
    for (const char c : field) {
        const char capital = UpperAscii(c);
        const bool isKept = (capital >= 'A' && capital <= 'Z') || (c >= '0' && c <= '9');
        if (isKept) {
            name += capital;
        } else if (name.back() != '-') {
            name += '-';
        }
    }
    return name.back() == '-' ? name.substr(0, name.size() - 1) : name;
}
