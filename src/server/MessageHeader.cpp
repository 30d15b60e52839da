#include "server/MessageHeader.h"

#include "platform/Ascii.h"
#include "text/AddressSyntax.h"
#include "text/Charset.h"
#include "text/Utf8.h"

#include <algorithm>
#include <new>

inline namespace contactmgr_internal
{

namespace
{

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool IsWhite(char c)
{
    return IsBlank(c) || c == '\r' || c == '\n';
}

bool IsFieldNameByte(char c)
{
    return c > ' ' && c < '\x7F' && c != ':';
}

std::string_view Trimmed(std::string_view text)
{
    while (!text.empty() && IsWhite(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsWhite(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// The end of the line that begins at the position, its line feed included; npos without one.
std::size_t LineEnd(std::string_view text, std::size_t position)
{
    const std::size_t feed = text.find('\n', position);
    return feed == std::string_view::npos ? feed : feed + 1;
}

bool IsEmptyLine(std::string_view line)
{
    return line == "\n" || line == "\r\n";
}

std::size_t SkipByteOrderMark(std::string_view text)
{
    return text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
}

// The end of the field that begins at the position; npos if it may go on behind the text.
std::size_t FieldEnd(std::string_view text, bool isWhole, std::size_t position)
{
    std::size_t end = LineEnd(text, position);
    while (end < text.size() && IsBlank(text[end])) {
        end = LineEnd(text, end);
    }
    if (end >= text.size()) {
        return isWhole ? text.size() : std::string_view::npos;
    }
    return end;
}

} // namespace

bool SplitHeaderField(std::string_view text, CHeaderField* field)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        return false;
    }
    std::string_view name = text.substr(0, colon);
    while (!name.empty() && IsBlank(name.back())) {
        name.remove_suffix(1);
    }
    if (name.empty() || !std::ranges::all_of(name, IsFieldNameByte)) {
        return false;
    }
    *field = {name, text.substr(colon + 1)};
    return true;
}

EHeaderSearch FindHeaderField(std::string_view text, bool isWhole, std::string_view name,
                              CHeaderField* field)
{
    std::size_t position = SkipByteOrderMark(text);
    while (position < text.size()) {
        const std::size_t next = LineEnd(text, position);
        if (next == std::string_view::npos && !isWhole) {
            return EHeaderSearch::TextTooShort;
        }
        const std::string_view line = text.substr(position, next - position);
        if (IsEmptyLine(line)) {
            return EHeaderSearch::Absent;
        }
        CHeaderField found;
        if (EqualIgnoringCase(line.substr(0, name.size()), name) &&
            SplitHeaderField(line, &found) && found.name.size() == name.size()) {
            const std::size_t end = FieldEnd(text, isWhole, position);
            if (end == std::string_view::npos) {
                return EHeaderSearch::TextTooShort;
            }
            SplitHeaderField(text.substr(position, end - position), field);
            return EHeaderSearch::Found;
        }
        position = next;
    }
    return isWhole ? EHeaderSearch::Absent : EHeaderSearch::TextTooShort;
}

std::size_t HeaderSectionLength(std::string_view text)
{
    std::size_t position = SkipByteOrderMark(text);
    while (position < text.size()) {
        const std::size_t next = std::min(LineEnd(text, position), text.size());
        if (IsEmptyLine(text.substr(position, next - position))) {
            return next;
        }
        position = next;
    }
    return text.size();
}

std::string HeaderValueToUtf8(std::string_view value)
{
    std::string unfolded;
    for (const char c : Utf8FromUnknown(Trimmed(value))) {
        if (c == '\0') {
            unfolded += kReplacementCharacter;
        } else if (c != '\r' && c != '\n') {
            unfolded += c;
        }
    }
    return unfolded;
}

} // namespace contactmgr_internal
