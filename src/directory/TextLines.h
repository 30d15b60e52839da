#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

inline namespace contactmgr_internal
{

// The logical lines of a directory text (RFC 2425, 5.8.1), unfolded and without their line ends.
// Any run of CR and LF ends a line, so a bare CR or LF does too, and there are no empty lines. A
// line that begins with a blank or a tab continues the line before it; that one character is
// dropped.

// Unfolds a text in place, and calls the function for each line: a view of the text.
template <class Function>
void UnfoldLines(char* text, std::size_t size, Function keep)
{
    const auto isLineEnd = [](char c) { return c == '\r' || c == '\n'; };
    char* const textEnd = text + size;
    // The logical line that is being joined. Joining drops characters, so what is still to be read
    // lies behind it.
    char* line = text;
    char* lineEnd = text;
    const auto keepLine = [&] {
        if (line != lineEnd) {
            keep(std::string_view(line, static_cast<std::size_t>(lineEnd - line)));
        }
    };
    char* next = std::find_if_not(text, textEnd, isLineEnd);
    while (next != textEnd) {
        char* const end = std::find_if(next, textEnd, isLineEnd);
        if (*next == ' ' || *next == '\t') {
            ++next;
            std::memmove(lineEnd, next, static_cast<std::size_t>(end - next));
            lineEnd += end - next;
        } else {
            keepLine();
            line = next;
            lineEnd = end;
        }
        next = std::find_if_not(end, textEnd, isLineEnd);
    }
    keepLine();
}

// The lines of a text. May throw std::bad_alloc. A resource: the lines are views of the text.
class CTextLines
{
public:
    explicit CTextLines(std::string text) : m_text(std::move(text))
    {
        UnfoldLines(m_text.data(), m_text.size(),
                    [this](std::string_view line) { m_lines.push_back(line); });
    }
    CTextLines(const CTextLines&) = delete;
    CTextLines& operator=(const CTextLines&) = delete;

    const std::vector<std::string_view>& Lines() const { return m_lines; }

private:
    std::string m_text;
    std::vector<std::string_view> m_lines;
};

} // namespace contactmgr_internal
