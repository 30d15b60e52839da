#pragma once

#include "cards/VCard.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

// Cards as one table of comma-separated values (RFC 4180) in UTF-8, with the headings of Google
// Contacts, which other programs read too. There are as many columns for addresses, numbers and so
// on as the card with the most of them has; so the table is written when all cards are there. A
// resource.
class CCsvTable
{
public:
    CCsvTable() = default;
    CCsvTable(const CCsvTable&) = delete;
    CCsvTable& operator=(const CCsvTable&) = delete;

    // Adds to `notes` the lines that the table has no column for.
    void Add(const CVCard& card, std::vector<std::string>* notes);

    // The headings, then a row for each card, each ended by CR LF.
    std::string Write() const;

private:
    using CRow = std::map<std::string, std::string>; // values by their headings

    void AddLine(const CVCardLine& line, CRow* row, std::vector<std::string>* notes);
    void AddName(const CVCard& card, CRow* row) const;
    std::string Numbered(const std::string& kind);

    std::vector<CRow> m_rows;
    std::map<std::string, std::size_t> m_counts;    // of the numbered columns
    std::map<std::string, std::size_t> m_rowCounts; // the same of the row at hand
};
