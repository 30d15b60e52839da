#pragma once

#include <string>
#include <string_view>
#include <utility>

// Conversions between UTF-8 and UTF-16. Each writes its output only on success. UTF-8 is read as
// RFC 3629 defines it: a cut, overlong or surrogate sequence and anything above U+10FFFF fail with
// last error 13, and so does an unpaired surrogate in UTF-16. Zero characters convert like any
// other. Last error 8: no memory.
bool Utf8ToWide(std::string_view text, std::u16string* out);
bool WideToUtf8(std::u16string_view text, std::string* out);

// Puts the UTF-8 form behind what the output holds already.
bool AppendUtf8(std::u16string_view text, std::string* out);

// For text that strangers wrote: bytes that do not decode become U+FFFD. Fails for memory only.
bool Utf8ToWideLossy(std::string_view text, std::u16string* out);

// Whether Utf8ToWide would take the text.
bool IsUtf8(std::string_view text);

// A narrow string whose bytes are UTF-8. A value. Lengths, positions and comparisons are the narrow
// string's own and count bytes. The constructors take the bytes as they are; the conversions check.
class CUtf8String : public std::string
{
public:
    CUtf8String() = default;
    CUtf8String(const char* text) : std::string(text == nullptr ? "" : text) {}
    CUtf8String(std::string text) noexcept : std::string(std::move(text)) {}

    // The object itself, seen as a narrow string.
    std::string& GetCString() noexcept { return *this; }
    const std::string& GetCString() const noexcept { return *this; }

    // 1 on success, 0 on failure, as Utf8ToWide. Last error 87: an output is null.
    int ToUnicode(std::u16string* out) const;

    // The same into a new buffer that ends with a zero; the caller frees it with free. The length
    // counts 16-bit units without that zero.
    int ToUnicode(char16_t** text, int* length) const;

    // Replaces the content by the UTF-8 form of a zero-ended text. 1 on success, 0 on failure,
    // which leaves the content as it was, with the last error as WideToUtf8, or 87: text is null.
    int FromUnicode(const char16_t* text);
};
