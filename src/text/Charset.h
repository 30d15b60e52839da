#pragma once

#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

// Text whose charset nobody tells: taken as UTF-8 where it is valid UTF-8, else as Latin-1. Throws
// std::bad_alloc, as the next does.
std::string Utf8FromUnknown(std::string_view text);

// Text of a charset in UTF-8, with U+FFFD for each byte that the charset does not have. Names are
// read as mailers mean them, so the charset is often a larger one with vendor characters: see the
// table in the source. A charset that is null, empty, ASCII or unknown: see Utf8FromUnknown.
std::string DecodeCharset(const std::string& text, const char* charset);

} // namespace contactmgr_internal
