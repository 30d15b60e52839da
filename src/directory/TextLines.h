#pragma once

#include <string>
#include <string_view>
#include <vector>

// The logical lines of a directory text (RFC 2425, 5.8.1), unfolded and without their line ends.
// Any run of CR and LF ends a line, so a bare CR or LF does too, and there are no empty lines. A
// line that begins with a blank or a tab continues the line before it; that one character is
// dropped. May throw std::bad_alloc. A resource: the lines are views of the text, which is unfolded
// in place.
class CTextLines
{
public:
    CTextLines() = default;
    explicit CTextLines(std::string text);
    CTextLines(const CTextLines&) = delete;
    CTextLines& operator=(const CTextLines&) = delete;

    // Replaces the text.
    void Assign(std::string text);

    const std::vector<std::string_view>& Lines() const { return m_lines; }

private:
    void Unfold();

    std::string m_text;
    std::vector<std::string_view> m_lines;
};
