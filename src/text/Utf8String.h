#pragma once

#include "platform/Export.h"
#include <string>
#include <utility>

// A narrow string whose bytes are UTF-8. A value. Lengths, positions and comparisons are the narrow
// string's own and count bytes. The constructors take the bytes as they are; the conversions check.
class CONTACTMGR_API CUtf8String : public std::string
{
public:
    CUtf8String() = default;
    CUtf8String(const char* text) : std::string(text == nullptr ? "" : text) {}
    CUtf8String(std::string text) noexcept : std::string(std::move(text)) {}

    // The object itself, seen as a narrow string.
    std::string& GetCString() noexcept { return *this; }
    const std::string& GetCString() const noexcept { return *this; }

    // 1 on success; 0 on failure, which leaves the output as it was. UTF-8 is what RFC 3629 section
    // 4 defines: ERROR_INVALID_DATA (13) for a cut, overlong or surrogate sequence and anything
    // above U+10FFFF. ERROR_INVALID_PARAMETER (87): an output is null. Zero characters convert like
    // any other.
    int ToUnicode(std::u16string* out) const;

    // The same into a new buffer that ends with a zero; the caller frees it with free. The length
    // counts 16-bit units without that zero.
    int ToUnicode(char16_t** text, int* length) const;

    // Replaces the content by the UTF-8 form of a zero-ended text. 1 on success, 0 on failure,
    // which leaves the content as it was: ERROR_INVALID_DATA (13) for an unpaired surrogate,
    // ERROR_INVALID_PARAMETER (87) for a null text.
    int FromUnicode(const char16_t* text);
};
