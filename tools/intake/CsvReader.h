#pragma once

#include "intake/FieldCard.h"
#include "intake/ImportCard.h"

#include <string>
#include <string_view>
#include <vector>

// Reads a table of contacts (RFC 4180) with the English headings of Google, Outlook or Thunderbird
// in its first line. Fields are divided by commas, semicolons or tabs. A column without a place in
// the card becomes a line X-CSV-HEADING. A resource.
class CCsvReader : public CCardSource
{
public:
    // Whether the first line has at least two headings that are known.
    static bool IsBeginning(std::string_view head);

    explicit CCsvReader(CInputText& input);

    bool Next(CImportCard* card) override;
    std::string_view Contents() const override { return "line of contacts"; }

private:
    // False at the end of the file. *isWhole is false for a record that is too large to keep.
    bool ReadRecord(std::vector<std::string>* fields, bool* isWhole);

    CInputText& m_input;
    char m_separator = ',';
    std::vector<std::string> m_headings; // in small letters
    std::size_t m_count = 0;
};
