#pragma once

#include "cards/VCard.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Puts a card together from the fields of a table or a directory entry. A value.
//
// The place of a field in the card is a line, its types and the number of the part from 0:
// "FN", "TEL;home,fax", "N.1", "ADR;work.2", "ORG.0", "BDAY.0" (year, month, day).
class CFieldCard
{
public:
    // Adds a text, unescaped, of any number of lines. A blank one adds nothing. A part that is
    // there already gets the text behind what it has.
    void Add(std::string_view place, std::string_view text);
    // The same for a line that is a value of vCard 3.0 already.
    void AddLine(CVCardLine line) { m_lines.push_back(std::move(line)); }

    bool IsEmpty() const { return m_lines.empty() && m_parts.empty(); }

    // The lines, with their values escaped. N comes first.
    CVCard Card() const;

private:
    struct CParts
    {
        std::string line; // the place without the number
        std::vector<std::string> parts;
    };
    void AddPart(std::string_view line, std::size_t part, std::string_view text);

    CVCard m_lines;
    std::vector<CParts> m_parts;
};

// The name X-PREFIX-FIELD for a field that has no place: letters and digits in capitals, hyphens
// for the rest.
std::string ExtensionName(std::string_view prefix, std::string_view field);
