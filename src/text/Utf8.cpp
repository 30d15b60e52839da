#include "text/Utf8.h"

#include "platform/Failure.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

#include <utf8.h>

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

// The length of UTF-8 in UTF-16: one unit for each character, and one more for a character of four
// bytes. For invalid UTF-8 it is enough for the valid beginning.
std::size_t CountUnits(std::string_view text)
{
    std::size_t units = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        units += static_cast<std::size_t>((byte & 0xC0) != 0x80) + (byte >= 0xF0);
    }
    return units;
}

// Takes the first character off the text, which begins with a byte that is not ASCII. False unless
// it is valid (RFC 3629 section 4).
bool TakeCharacter(std::string_view* text, char32_t* character)
{
    static constexpr char32_t kLeastOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto lead = static_cast<unsigned char>(text->front());
    const bool canLead = lead >= 0xC2 && lead <= 0xF4;
    const std::size_t length = !canLead ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length == 0 || text->size() < length) {
        return false;
    }
    char32_t value = lead & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>((*text)[i]);
        if ((byte & 0xC0) != 0x80) {
            return false;
        }
        value = value << 6 | (byte & 0x3F);
    }
    if (value < kLeastOfLength[length] || value > 0x10FFFF || (value & 0xFFFFF800) == 0xD800) {
        return false;
    }
    text->remove_prefix(length);
    *character = value;
    return true;
}

// Writes UTF-8 as UTF-16 into a buffer of CountUnits units; false if it is none.
bool Decode(std::string_view text, char16_t* out)
{
    for (;;) {
        const std::size_t ascii = AsciiLength(text);
        for (std::size_t i = 0; i < ascii; ++i) {
            out[i] = static_cast<unsigned char>(text[i]);
        }
        text.remove_prefix(ascii);
        out += ascii;
        if (text.empty()) {
            return true;
        }
        char32_t character = 0;
        if (!TakeCharacter(&text, &character)) {
            return false;
        }
        if (character >= 0x10000) {
            *out++ = static_cast<char16_t>(0xD7C0 + (character >> 10));
            character = 0xDC00 | (character & 0x3FF);
        }
        *out++ = static_cast<char16_t>(character);
    }
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
        char32_t ignored = 0;
        if (text.empty() || !TakeCharacter(&text, &ignored)) {
            return text.empty();
        }
    }
}

bool Utf8ToWide(std::string_view text, std::u16string* out)
{
    if (IsAscii(text)) {
        out->resize(text.size());
        return Decode(text, out->data());
    }
    std::u16string converted(CountUnits(text), u'\0');
    if (!Decode(text, converted.data())) {
        return Fail(ERROR_INVALID_DATA);
    }
    *out = std::move(converted);
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
    if (IsUtf8(text)) {
        Utf8ToWide(text, &wide);
        return wide;
    }
    std::string repaired;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(repaired), 0xFFFD);
    Utf8ToWide(repaired, &wide);
    return wide;
}

std::string Latin1ToUtf8(std::string_view text)
{
    std::string converted;
    for (const char c : text) {
        utf8::unchecked::append(static_cast<unsigned char>(c), std::back_inserter(converted));
    }
    return converted;
}
