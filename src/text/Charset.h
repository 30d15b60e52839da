#pragma once

#include <string>
#include <string_view>

// Text of a charset that nobody tells: as it is where it is UTF-8, else from Latin-1. May throw
// std::bad_alloc, as what follows.
std::string Utf8FromUnknown(std::string_view text);

// Text of a charset in UTF-8, with U+FFFD for what the charset does not have. A charset that is
// null, empty or unknown: see Utf8FromUnknown.
std::string DecodeCharset(const std::string& text, const char* charset);
