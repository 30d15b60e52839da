#include "directory/TextLines.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace
{

bool IsLineEnd(char c)
{
    return c == '\r' || c == '\n';
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
    char* const textEnd = m_text.data() + m_text.size();
    // The logical line that is being joined. Joining only drops characters, so its end never passes
    // what is still to be read.
    char* line = m_text.data();
    char* lineEnd = line;
    const auto keepLine = [&] {
        if (line != lineEnd) {
            m_lines.emplace_back(line, static_cast<std::size_t>(lineEnd - line));
        }
    };
    char* next = std::find_if_not(line, textEnd, IsLineEnd);
    while (next != textEnd) {
        char* const end = std::find_if(next, textEnd, IsLineEnd);
        if (*next == ' ' || *next == '\t') {
            ++next;
        } else {
            keepLine();
            line = lineEnd;
        }
        const auto size = static_cast<std::size_t>(end - next);
        std::memmove(lineEnd, next, size);
        lineEnd += size;
        next = std::find_if_not(end, textEnd, IsLineEnd);
    }
    keepLine();
}
