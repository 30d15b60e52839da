#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// How rows are written.
struct CTableStyle
{
    bool isAligned = false;  // in columns under their heads; else a tab between fields, no heads
    bool isColoured = false; // heads bold, identifiers in colour
};

// For standard output: columns on a terminal, and colour unless NO_COLOR is set to a text or TERM
// is dumb or missing.
CTableStyle StyleOfOutput();

// How many columns of a terminal a text takes: two for a wide character of East Asia or a picture,
// none for a mark that stands on another character.
std::size_t ColumnsOf(std::string_view utf8);

// Rows of fields, one of which is the identifier of the contact. A value.
class CTable
{
public:
    // What stands above each column, and which one has the identifier.
    CTable(std::vector<std::string_view> heads, std::size_t idColumn)
        : m_heads(std::move(heads)), m_idColumn(idColumn)
    {}

    // As many fields as heads. Control characters become blanks.
    void Add(const std::vector<std::string>& fields);

    // Lines. A column is as wide as its longest field, but no wider than 40; what is longer moves
    // the rest of its line.
    std::string ToText(const CTableStyle& style) const;

private:
    std::vector<std::size_t> WidthsOfColumns() const;
    void AppendAligned(const CTableStyle& style, std::string* text) const;

    std::vector<std::string_view> m_heads;
    std::size_t m_idColumn;
    std::vector<std::vector<std::string>> m_rows;
};
