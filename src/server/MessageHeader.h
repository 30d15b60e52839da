#pragma once

#include <cstddef>
#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

// The header section of a stored message (RFC 5322 section 2.2): fields up to the first empty line,
// each with the lines behind it that begin with a blank. A line that is no field, such as the
// "From " line of an mbox, is skipped.

struct CHeaderField
{
    std::string_view name;
    std::string_view value; // as stored, line ends included
};

enum class EHeaderSearch
{
    Found,
    Absent,
    TextTooShort, // the answer lies behind the end of the text
};

// The first field of that name, compared without regard to ASCII case, in a text that is the
// whole header section or, with isWhole false, a beginning of it.
EHeaderSearch FindHeaderField(std::string_view text, bool isWhole, std::string_view name,
                              CHeaderField* field);

// Splits "Name: value" at its colon; false if that is no field.
bool SplitHeaderField(std::string_view text, CHeaderField* field);

// The length of the header section, the empty line behind it included.
std::size_t HeaderSectionLength(std::string_view text);

// The value unfolded, trimmed and in UTF-8. One that is no valid UTF-8 is taken as Latin-1, and a
// NUL becomes U+FFFD.
std::string HeaderValueToUtf8(std::string_view value);

} // namespace contactmgr_internal
