#include "pab/TextLines.h"

#include <cstring>
#include <utility>

namespace
{

constexpr std::string_view kLineEnds = "\r\n";

bool IsContinuation(std::string_view physicalLine)
{
    return physicalLine.front() == ' ' || physicalLine.front() == '\t';
}

} // namespace

CTextLines::CTextLines(std::string text)
{
    Assign(std::move(text));
}

void CTextLines::Assign(std::string text)
{
    m_text = std::move(text);
    m_lines.clear();
    Unfold();
}

void CTextLines::Unfold()
{
    const std::string_view text = m_text;
    char* const begin = m_text.data();
    char* current = begin; // where the line being joined begins
    char* end = begin;     // and ends; never behind what has been read
    const auto keepCurrent = [&] {
        if (current != end) {
            m_lines.emplace_back(current, static_cast<std::size_t>(end - current));
        }
    };
    std::size_t from = text.find_first_not_of(kLineEnds);
    while (from != std::string_view::npos) {
        const std::size_t to = std::min(text.find_first_of(kLineEnds, from), text.size());
        std::string_view physicalLine = text.substr(from, to - from);
        if (IsContinuation(physicalLine)) {
            physicalLine.remove_prefix(1);
        } else {
            keepCurrent();
            current = end;
        }
        std::memmove(end, physicalLine.data(), physicalLine.size());
        end += physicalLine.size();
        from = text.find_first_not_of(kLineEnds, to);
    }
    keepCurrent();
}
