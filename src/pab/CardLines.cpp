#include "pab/CardLines.h"

#include "directory/TextLines.h"

inline namespace contactmgr_internal
{

namespace
{

// Most cards have fewer lines; one with more makes the table grow.
constexpr std::size_t kLinesOfACard = 24;

bool IsLower(char c)
{
    return c >= 'a' && c <= 'z';
}

} // namespace

bool CCardLines::Assign(std::vector<char> text)
{
    std::size_t count = 0;
    std::vector<CLine> lines;
    lines.reserve(kLinesOfACard);
    UnfoldLines(text.data(), text.size(), [&](std::string_view line) {
        if (++count <= kMaxLines) {
            lines.emplace_back().text = line;
        }
    });
    if (count > kMaxLines) {
        return false;
    }
    m_text = std::move(text);
    m_lines = std::move(lines);
    m_entryCounts = {};
    return true;
}

bool CCardLines::RemoveEnvelope()
{
    if (m_lines.size() < 2 || !EqualIgnoringCase(m_lines.front().text, "BEGIN:VCARD") ||
        !EqualIgnoringCase(m_lines.back().text, "END:VCARD")) {
        return false;
    }
    m_lines.pop_back();
    m_lines.erase(m_lines.begin());
    return true;
}

void CCardLines::FindNames()
{
    std::erase_if(m_lines, [this](CLine& line) {
        if (!TakeName(&line)) {
            return true;
        }
        if (line.entry != kNoEntry) {
            ++m_entryCounts[line.entry];
        }
        return false;
    });
}

bool CCardLines::TakeName(CLine* line)
{
    std::size_t position = 0;
    std::string_view group;
    std::string_view name;
    if (!DirectoryUtils::TakeName(line->text, &position, &group, &name)) {
        return false;
    }
    line->nameBegin = static_cast<std::uint32_t>(name.data() - line->text.data());
    line->restBegin = static_cast<std::uint32_t>(position);
    line->entry = EntryOf(name);
    return true;
}

bool CCardLines::IsGood(CLine& line)
{
    if (line.state == EState::kUnknown) {
        DirectoryUtils::CLineRest rest;
        const bool isGood = DirectoryUtils::TakeRest(line.text, line.restBegin, &rest);
        line.valueBegin = line.restBegin + static_cast<std::uint32_t>(rest.parameters.size());
        line.state = isGood ? EState::kGood : EState::kNoLine;
    }
    return line.state == EState::kGood;
}

CCardLines::CLine* CCardLines::Find(std::string_view name)
{
    const auto found = std::ranges::find_if(m_lines, [name](CLine& line) {
        return EqualIgnoringCase(line.Name(), name) && IsGood(line);
    });
    return found == m_lines.end() ? nullptr : &*found;
}

std::optional<std::string_view> CCardLines::GetValue(std::string_view name)
{
    const CLine* line = Find(name);
    return line == nullptr ? std::nullopt : std::optional(line->Value());
}

CCardLines::CLine CCardLines::MakeLine(std::string text)
{
    CLine line;
    line.changed = std::make_unique<std::string>(std::move(text));
    line.text = *line.changed;
    TakeName(&line);
    return line;
}

void CCardLines::SetValue(std::string_view name, std::string_view value)
{
    std::string text;
    if (CLine* line = Find(name)) {
        text.append(line->text.substr(0, line->valueBegin)).append(value);
        *line = MakeLine(std::move(text));
    } else {
        text.append(name).append(1, ':').append(value);
        m_lines.push_back(MakeLine(std::move(text)));
    }
}

void CCardLines::Remove(std::string_view name)
{
    if (CLine* line = Find(name)) {
        m_lines.erase(m_lines.begin() + (line - m_lines.data()));
    }
}

bool CCardLines::HaveValue(std::string_view name, std::string_view value)
{
    return std::ranges::all_of(m_lines, [&](CLine& line) {
        return !EqualIgnoringCase(line.Name(), name) || !IsGood(line) ||
               EqualIgnoringCase(line.Value(), value);
    });
}

// Most lines have a name in capital letters, neither group nor parameters, and are written as they
// were read.
std::string_view CCardLines::TextOf(const CLine& line, std::string* rewritten)
{
    if (line.nameBegin == 0 && line.valueBegin == line.restBegin &&
        std::ranges::none_of(line.Name(), IsLower)) {
        return line.text;
    }
    rewritten->clear();
    DirectoryUtils::AppendRewritten(line.text, rewritten);
    return *rewritten;
}

} // namespace contactmgr_internal
