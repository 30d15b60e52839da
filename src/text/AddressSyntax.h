#pragma once

#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

// The words of mail addresses, RFC 5322 section 3.2 with the UTF-8 of RFC 6532: each byte from 0x80
// on counts as a letter. May throw std::bad_alloc.

bool IsAtomCharacter(char c);
bool IsBlank(char c);
bool IsControl(char c);    // a tab is one
bool IsUnquotable(char c); // a control character other than the tab
bool IsLiteralCharacter(char c);

// Whether the text is atoms divided by single dots.
bool IsDotAtom(std::string_view text);

// Whether the text is a domain literal in brackets, without blanks.
bool IsDomainLiteral(std::string_view text);

// The text of a quoted string or comment, without quoting backslashes and line ends.
std::string Unquote(std::string_view source);

// A local part or display name of one line, in quotes if it needs them.
std::string EncodeLocalPart(std::string_view localPart);
std::string EncodePhrase(std::string_view name);

} // namespace contactmgr_internal
