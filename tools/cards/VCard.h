#pragma once

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Cards as the exchange of contacts takes them apart and puts them together: lines of vCard 3.0
// (RFC 2426), into which all other forms are read, and from which all are written. Text is UTF-8.

// One content line. A value.
struct CVCardLine
{
    std::string group; // empty for none
    std::string name;  // in capitals
    // Each value of a parameter with its name in capitals: two for TYPE=home,work.
    std::vector<std::pair<std::string, std::string>> parameters;
    std::string value; // as it stands in the text, with its escapes

    bool operator==(const CVCardLine&) const = default;

    // Whether a TYPE parameter has that value, compared without regard to case.
    bool HasType(std::string_view type) const;
    // The first value of a parameter; empty without one.
    std::string_view Parameter(std::string_view parameterName) const;
};

// The lines between BEGIN:VCARD and END:VCARD, without VERSION. A value.
using CVCard = std::vector<CVCardLine>;

// The first line of that name; null without one.
const CVCardLine* FindLine(const CVCard& card, std::string_view name);

// Takes one unfolded line apart. False for a text that is no content line (RFC 2425, 5.8).
bool ReadVCardLine(std::string_view text, CVCardLine* line);

// The inverse, unfolded and without a line end.
std::string WriteVCardLine(const CVCardLine& line);

// The lines of one vCard 3.0 or 4.0. What is no content line is left out.
CVCard ReadVCard(std::string_view text);

// The card with CR LF behind each line, folded at 75 bytes, with BEGIN, VERSION and END.
std::string WriteVCard(const CVCard& card, std::string_view version = "3.0");

// A text as a value: backslash, comma, semicolon and line feed get a backslash in front.
std::string EscapeValue(std::string_view text);

// The inverse. \n and \N are a line feed; any other character behind a backslash is itself.
std::string UnescapeValue(std::string_view value);

// Whether a name, such as that of a line, is one of some.
template <class Names>
bool IsIn(const Names& names, std::string_view name)
{
    return std::ranges::find(names, name) != std::end(names);
}

// The parts of a structured value or a list, escapes and all, divided where the separator has no
// backslash in front. An empty value is one empty part.
std::vector<std::string> SplitValue(std::string_view value, char separator);
