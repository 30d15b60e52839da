#pragma once

#include <cstddef>
#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

// Encoded words of mail headers, RFC 2047. May throw std::bad_alloc.

// Text with the encoded words in it decoded to UTF-8, and the blanks between two of them dropped.
// Other text stays as it is. An encoded word has blanks or the text's ends around it, and no blank
// inside (RFC 2047 section 5). The MIME library's own decoder of whole texts is not used: of
// several words in base64 it drops all behind the first that ends in padding, and it needs
// quadratic time where many words are never closed.
std::string DecodeEncodedWords(std::string_view text);

// The same for text of mailers that break those rules: a word counts wherever it stands, without
// blanks around it too, and its payload may hold any character but a question mark.
std::string DecodeEncodedWordsAnywhere(std::string_view text);

// The length of the encoded word that such text begins with; 0 for none.
std::size_t EncodedWordLength(std::string_view text);

// UTF-8 as encoded words, each of whole characters, that decode to just this text.
std::string EncodeWords(std::string_view text);

} // namespace contactmgr_internal
