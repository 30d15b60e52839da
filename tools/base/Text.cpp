#include "base/Text.h"

#include "base/Report.h"
#include "platform/Ascii.h"
#include "text/Utf8.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace
{

constexpr char16_t kReplacement = u'\uFFFD';

bool IsHighSurrogate(char16_t c)
{
    return c >= 0xD800 && c <= 0xDBFF;
}

bool IsLowSurrogate(char16_t c)
{
    return c >= 0xDC00 && c <= 0xDFFF;
}

std::u16string ReplaceUnpaired(std::u16string_view text)
{
    std::u16string paired(text);
    for (std::size_t i = 0; i < paired.size(); ++i) {
        if (IsHighSurrogate(paired[i]) && i + 1 < paired.size() && IsLowSurrogate(paired[i + 1])) {
            ++i;
        } else if (IsHighSurrogate(paired[i]) || IsLowSurrogate(paired[i])) {
            paired[i] = kReplacement;
        }
    }
    return paired;
}

// Whether a character would end the line, move the cursor of a terminal, or turn round what stands
// behind it, so that one name looks like another.
bool BreaksField(char16_t c)
{
    constexpr char16_t kLineSeparator = 0x2028;
    constexpr char16_t kParagraphSeparator = 0x2029;
    constexpr char16_t kFirstEmbedding = 0x202A;
    constexpr char16_t kLastOverride = 0x202E;
    constexpr char16_t kFirstIsolate = 0x2066;
    constexpr char16_t kLastIsolate = 0x2069;
    return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == kLineSeparator ||
           c == kParagraphSeparator || (c >= kFirstEmbedding && c <= kLastOverride) ||
           (c >= kFirstIsolate && c <= kLastIsolate);
}

} // namespace

std::string ToUtf8(std::u16string_view text)
{
    std::string utf8;
    if (!WideToUtf8(text, &utf8)) {
        WideToUtf8(ReplaceUnpaired(text), &utf8);
    }
    return utf8;
}

std::string ToUtf8(std::string_view bytes)
{
    return ToUtf8(Utf8ToWideLossy(bytes));
}

std::u16string ToWide(std::string_view text, std::string_view what)
{
    std::u16string wide;
    if (!Utf8ToWide(text, &wide)) {
        throw CUsageError(std::string(what) + " is no UTF-8");
    }
    return wide;
}

std::string ToField(std::u16string_view text)
{
    std::u16string field(text);
    std::replace_if(field.begin(), field.end(), BreaksField, u' ');
    return ToUtf8(field);
}

std::string ToField(std::string_view bytes)
{
    return ToField(Utf8ToWideLossy(bytes));
}

std::string ToLines(std::u16string_view text)
{
    std::u16string lines(text);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const bool isKept = text[i] == u'\n' || text[i] == u'\t' || text.substr(i, 2) == u"\r\n";
        lines[i] = !isKept && BreaksField(text[i]) ? u' ' : text[i];
    }
    return ToUtf8(lines);
}

std::string ListNames(std::string label, std::span<const std::string_view> names)
{
    constexpr std::size_t kLineBytes = 76;
    std::size_t lineBegin = 0;
    for (const std::string_view name : names) {
        const bool fits = label.size() - lineBegin + 1 + name.size() <= kLineBytes;
        lineBegin = fits ? lineBegin : label.size() + 1;
        label.append(fits ? " " : "\n").append(name);
    }
    return label;
}

std::string LowerText(std::string_view text)
{
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), LowerAscii<char>);
    return lower;
}

std::string UpperText(std::string_view text)
{
    std::string upper(text);
    std::ranges::transform(upper, upper.begin(), UpperAscii<char>);
    return upper;
}

std::string_view Trimmed(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::string UnifyLineBreaks(std::string_view text)
{
    std::string unified;
    unified.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool pair = text.substr(i, 2) == "\r\n";
        unified += text[i] == '\r' ? '\n' : text[i];
        i += pair ? 1 : 0;
    }
    return unified;
}

bool ParseVersion(std::string_view text, FILETIME* version)
{
    std::uint64_t count = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count);
    *version = FileTimeFromCount(count);
    return error == std::errc() && stop == end;
}

std::string VersionText(const FILETIME& version)
{
    return std::to_string(FileTimeToCount(version));
}

bool ParseSeconds(std::string_view text, std::chrono::duration<double>* seconds)
{
    double count = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count, std::chars_format::fixed);
    *seconds = std::chrono::duration<double>(count);
    return error == std::errc() && stop == end && std::isfinite(count) && count >= 0;
}

CAssignment ParseAssignment(std::string_view text)
{
    const std::size_t equals = text.find('=');
    if (equals == text.npos || equals == 0) {
        throw CUsageError("no PROPERTY=VALUE: " + std::string(text));
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

CMailboxName ParseMailboxName(std::string_view text)
{
    const std::size_t at = text.rfind('@');
    if (at == text.npos || at == 0 || at + 1 == text.size()) {
        throw CUsageError("no NAME@DOMAIN: " + std::string(text));
    }
    return {std::string(text.substr(0, at)), std::string(text.substr(at + 1))};
}
