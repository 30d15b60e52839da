#pragma once

#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

// Conversions between UTF-8 and UTF-16, for the library's own sources: they may throw
// std::bad_alloc. UTF-8 is read as RFC 3629 defines it: a cut, overlong or surrogate sequence and
// anything above U+10FFFF fail with ERROR_INVALID_DATA (13), and so does an unpaired surrogate in
// UTF-16. Zero characters convert like any other. Outputs are written on success only.
bool Utf8ToWide(std::string_view text, std::u16string* out);
bool WideToUtf8(std::u16string_view text, std::string* out);

// Appends the UTF-8 form.
bool AppendUtf8(std::u16string_view text, std::string* out);

// For text from outside: bytes that do not decode become U+FFFD.
std::u16string Utf8ToWideLossy(std::string_view text);
void AppendUtf8Lossy(std::string_view text, std::string* out);

// U+FFFD, which stands for what does not decode.
inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

bool IsAscii(std::string_view text);

// Whether Utf8ToWide takes the text.
bool IsUtf8(std::string_view text);

// Each byte is a character, U+0000 to U+00FF.
std::string Latin1ToUtf8(std::string_view text);

} // namespace contactmgr_internal
