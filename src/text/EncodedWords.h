#pragma once

#include <string>
#include <string_view>

// Encoded words of mail headers, RFC 2047. May throw std::bad_alloc.

// Text with the encoded words in it decoded to UTF-8, and the blanks between two of them dropped.
// What is no encoded word stays as it is. The MIME library's own decoder of whole texts is not
// used: of several words in base64 it drops all behind the first that ends in padding, and it needs
// quadratic time where many words are never closed.
std::string DecodeEncodedWords(const std::string& text);

// UTF-8 as encoded words, each of whole characters, that decode to just this text.
std::string EncodeWords(std::string_view text);
