#include "text/Utf8.h"

#include "platform/Failure.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

#include <utf8.h>

inline namespace contactmgr_internal
{

namespace
{

// How many ASCII characters the text begins with. Nearly all text of an address book is ASCII, so
// eight bytes are looked at at once.
std::size_t AsciiLength(std::string_view text)
{
    std::size_t length = 0;
    for (std::uint64_t block = 0; length + sizeof block <= text.size(); length += sizeof block) {
        std::memcpy(&block, text.data() + length, sizeof block);
        if ((block & 0x8080808080808080u) != 0) {
            break;
        }
    }
    while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80) {
        ++length;
    }
    return length;
}

std::size_t AsciiLength(std::u16string_view text)
{
    constexpr std::size_t kUnits = sizeof(std::uint64_t) / sizeof(char16_t);
    std::size_t length = 0;
    for (std::uint64_t block = 0; length + kUnits <= text.size(); length += kUnits) {
        std::memcpy(&block, text.data() + length, sizeof block);
        if ((block & 0xFF80FF80FF80FF80u) != 0) {
            break;
        }
    }
    while (length < text.size() && text[length] < 0x80) {
        ++length;
    }
    return length;
}

// The length of the valid character that the text begins with, which is not ASCII; 0 if it is none
// (RFC 3629 section 4).
std::size_t CharacterLength(std::string_view text)
{
    static constexpr char32_t kLeastOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto lead = static_cast<unsigned char>(text.front());
    const bool canLead = lead >= 0xC2 && lead <= 0xF4;
    const std::size_t length = !canLead ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length == 0 || text.size() < length) {
        return 0;
    }
    char32_t value = lead & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) {
            return 0;
        }
        value = value << 6 | (byte & 0x3F);
    }
    const bool isValid =
        value >= kLeastOfLength[length] && value <= 0x10FFFF && (value & 0xFFFFF800) != 0xD800;
    return isValid ? length : 0;
}

// Writes valid UTF-8 as UTF-16 into a buffer of as many units as the text has bytes. Gives the
// number of units written.
std::size_t WidenValid(std::string_view text, char16_t* const units)
{
    constexpr std::size_t kBlock = 8; // a loop of fixed length becomes one vector instruction
    const char* next = text.data();
    const char* const end = next + text.size();
    char16_t* out = units;
    while (next != end) {
        const std::size_t ascii = AsciiLength({next, static_cast<std::size_t>(end - next)});
        const char* const asciiEnd = next + ascii;
        for (; asciiEnd - next >= static_cast<std::ptrdiff_t>(kBlock); next += kBlock) {
            for (std::size_t i = 0; i < kBlock; ++i) {
                *out++ = static_cast<unsigned char>(next[i]);
            }
        }
        while (next != asciiEnd) {
            *out++ = static_cast<unsigned char>(*next++);
        }
        if (next != end) {
            const char* const character = next;
            utf8::unchecked::next(next);
            out = utf8::unchecked::utf8to16(character, next, out);
        }
    }
    return static_cast<std::size_t>(out - units);
}

// The length of UTF-16 in UTF-8; false at an unpaired surrogate.
bool CountBytes(std::u16string_view text, std::size_t* bytes)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (unit < 0xD800 || unit > 0xDFFF) {
            *bytes += unit < 0x80 ? 1u : unit < 0x800 ? 2u : 3u;
            continue;
        }
        const bool paired =
            unit < 0xDC00 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00;
        if (!paired) {
            return false;
        }
        *bytes += 4;
        ++i;
    }
    return true;
}

} // namespace

bool IsAscii(std::string_view text)
{
    return AsciiLength(text) == text.size();
}

bool IsUtf8(std::string_view text)
{
    for (;;) {
        text.remove_prefix(AsciiLength(text));
        const std::size_t length = text.empty() ? 0 : CharacterLength(text);
        if (length == 0) {
            return text.empty();
        }
        text.remove_prefix(length);
    }
}

bool Utf8ToWide(std::string_view text, std::u16string* out)
{
    if (!IsUtf8(text)) {
        return Fail(ERROR_INVALID_DATA);
    }
    out->resize(text.size());
    out->resize(WidenValid(text, out->data()));
    return true;
}

bool AppendUtf8(std::u16string_view text, std::string* out)
{
    const std::size_t ascii = AsciiLength(text);
    const std::u16string_view rest = text.substr(ascii);
    std::size_t bytes = ascii;
    if (!CountBytes(rest, &bytes)) {
        return Fail(ERROR_INVALID_DATA);
    }
    const std::size_t before = out->size();
    out->resize(before + bytes);
    char* const begin = out->data() + before;
    for (std::size_t i = 0; i < ascii; ++i) {
        begin[i] = static_cast<char>(text[i]);
    }
    utf8::unchecked::utf16to8(rest.begin(), rest.end(), begin + ascii);
    return true;
}

bool WideToUtf8(std::u16string_view text, std::string* out)
{
    std::string converted;
    if (!AppendUtf8(text, &converted)) {
        return false;
    }
    *out = std::move(converted);
    return true;
}

std::u16string Utf8ToWideLossy(std::string_view text)
{
    std::u16string wide;
    if (!IsUtf8(text)) {
        std::string repaired;
        AppendUtf8Lossy(text, &repaired);
        Utf8ToWide(repaired, &wide);
        return wide;
    }
    Utf8ToWide(text, &wide);
    return wide;
}

void AppendUtf8Lossy(std::string_view text, std::string* out)
{
    if (IsUtf8(text)) {
        out->append(text);
    } else {
        utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(*out), 0xFFFD);
    }
}

std::string Latin1ToUtf8(std::string_view text)
{
    std::string converted;
    for (const char c : text) {
        utf8::unchecked::append(static_cast<unsigned char>(c), std::back_inserter(converted));
    }
    return converted;
}

} // namespace contactmgr_internal
