#pragma once

#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

// The encodings that carry bytes through text, for what stands outside of mail: cards, directory
// entries, URIs. May throw std::bad_alloc.

// RFC 2045, 6.8. What is no base64 character is passed over.
std::string DecodeBase64(std::string_view text);
// Without line breaks.
std::string EncodeBase64(std::string_view bytes);

// RFC 2045, 6.7. A "=" that begins no encoded byte stays.
std::string DecodeQuotedPrintable(std::string_view text);

// RFC 3986, 2.1. A text with a "%" that begins no encoded byte, or that encodes a zero, stays.
std::string DecodePercent(std::string_view text);

} // namespace contactmgr_internal
