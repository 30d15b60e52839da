#pragma once

#include "core/Contact.h"

#include <string>
#include <vector>

class CSession;

// All seventeen, in the order of CContactProperties::GetList.
const std::vector<CContactProperty>& AllProperties();

// Reads one contact for output. What cannot be read counts as empty; the first such fault is
// reported. Refers to the contact and the session.
class CRecordReader
{
public:
    CRecordReader(CContact& contact, CSession& session) : m_contact(contact), m_session(session) {}

    std::u16string Property(const CContactProperty& property);
    std::u16string FirstName();
    std::u16string LastName();

    // The raw form of the first e-mail address, empty without one.
    std::string FirstAddress();

    // One line of JSON without a line end.
    std::string AsJson();

    // A line for each item that has a value.
    std::string AsText();

private:
    template <class Call>
    void Read(const char* item, Call call);

    CContact& m_contact;
    CSession& m_session;
    bool m_isFaultReported = false;
};
