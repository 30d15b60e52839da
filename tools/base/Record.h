#pragma once

#include "core/Contact.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

class CSession;

// All of a contact, in the order of CContactProperties::GetList.
const std::vector<CContactProperty>& AllProperties();

// An entry of one of the four lists: its values by their names in JSON, and its types.
struct CRecordEntry
{
    std::vector<std::pair<std::string_view, std::string>> values;
    std::vector<std::string_view> types;
};

// All that is written about one contact. A value. Texts are in UTF-8, apart from bytes of the
// contact that are none.
struct CRecord
{
    std::string id;
    std::string type;
    bool isReadOnly = true;
    std::string modified;
    std::string firstName;
    std::string lastName;
    std::vector<std::pair<std::string_view, std::string>> properties; // those with a value
    std::vector<CRecordEntry> emails;
    std::vector<CRecordEntry> telephones;
    std::vector<CRecordEntry> addresses;
    std::vector<CRecordEntry> ims;
};

// One line of JSON without a line end.
std::string ToJson(const CRecord& record);

// A line for each item that has a value.
std::string ToText(const CRecord& record);

// Reads one contact for output. What cannot be read counts as empty, and the first such fault is
// reported. Refers to the contact and the session.
class CRecordReader
{
public:
    CRecordReader(CContact& contact, CSession& session) : m_contact(contact), m_session(session) {}

    std::u16string Property(const CContactProperty& property);
    std::u16string FirstName();
    std::u16string LastName();

    // A second address that a mailbox should have, but cannot, is reported.
    const CContactEmailList& Emails();

    // The raw form of the first e-mail address, empty without one.
    std::string FirstAddress();

    CRecord ReadAll();

private:
    template <class Call>
    void Read(const char* item, Call call);

    CContact& m_contact;
    CSession& m_session;
    bool m_isFaultReported = false;
};
