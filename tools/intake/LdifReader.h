#pragma once

#include "intake/FieldCard.h"
#include "intake/ImportCard.h"

#include <string>
#include <string_view>

// Reads an LDIF file (RFC 2849) of address book entries: the attributes of inetOrgPerson (RFC 2798)
// and those that Mozilla's address book adds. An attribute without a place in the card becomes a
// line X-LDAP-NAME. Passwords and the directory's own attributes are not taken. A resource.
class CLdifReader : public CCardSource
{
public:
    static bool IsBeginning(std::string_view head);

    explicit CLdifReader(CInputText& input) : m_input(input) {}

    bool Next(CImportCard* card) override;
    std::string_view Contents() const override { return "directory entry"; }

private:
    bool TakeLogicalLine(std::string* line);
    bool ReadRecord(CImportCard* card);
    void AddLine(const std::string& line, CFieldCard* fields, CImportCard* card);

    CInputText& m_input;
    std::string m_next; // the physical line behind the one that was taken
    bool m_hasNext = false;
    std::size_t m_count = 0;
    std::size_t m_bytes = 0; // of the record that is being read
};
