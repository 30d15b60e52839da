#pragma once

#include "platform/Export.h"
#include "platform/List.h"

// The name of a contact property. Names compare without regard to ASCII case. Does not own its
// text, which is a literal or outlives it; null counts as empty. A value.
class CONTACTMGR_API CContactProperty
{
public:
    constexpr CContactProperty(const char* name) : m_name(name == nullptr ? "" : name) {}

    constexpr const char* GetName() const { return m_name; }
    bool operator==(const CContactProperty& other) const
    {
        // Most names differ in their first letter. The bit is the case of an ASCII letter.
        return (*m_name | 0x20) == (*other.m_name | 0x20) && HasNameOf(other);
    }

private:
    bool HasNameOf(const CContactProperty& other) const;

    const char* m_name;
};

// A list of property names. A value.
class CONTACTMGR_API CContactPropertyList : private CList<const char*>
{
public:
    using CList<const char*>::GetHeadPosition;
    CContactProperty GetNext(POSITION& position) const
    {
        return CList<const char*>::GetNext(position);
    }

private:
    friend class CContactProperties;
};

// The properties of a contact, known by these names in every store. A value.
class CONTACTMGR_API CContactProperties
{
public:
    static constexpr CContactProperties Instance() { return {}; }

    // Appends the names at the tail of the list, in the order in which a template's properties are
    // copied. False when memory is exhausted, with last error ERROR_NOT_ENOUGH_MEMORY (8); the list
    // is then as it was.
    bool GetList(CContactPropertyList& list) const;

    CContactProperty Comment{"Comment"};             // a free text note
    CContactProperty FullName{"FullName"};           // the formatted full name
    CContactProperty GivenName{"GivenName"};         // the given name
    CContactProperty HTMLComment{"HTMLComment"};     // the note in HTML form
    CContactProperty Jobtitle{"Jobtitle"};           // the job title
    CContactProperty Manager{"Manager"};             // the person's manager
    CContactProperty MiddleInitial{"MiddleInitial"}; // additional names
    CContactProperty Nickname{"Nickname"};
    CContactProperty Organization{"Organization"};
    CContactProperty OrgUnit{"OrgUnit"}; // the unit within the organisation
    CContactProperty FileAs{"FileAs"};   // the name to file the contact under
    CContactProperty Suffix{"Suffix"};   // the honorific suffix
    CContactProperty Surname{"Surname"}; // the family name
    CContactProperty Title{"Title"};     // the honorific prefix, not the job
    CContactProperty URL{"URL"};
    CContactProperty WssVersion{"WssVersion"}; // raised by the personal address book at each write
    CContactProperty WssReplicationId{"WssReplicationId"}; // a replication identifier, as text

private:
    constexpr CContactProperties() = default;
};

// Tells the mail store that the mailbox property "EnabledContactPlugins" exists, a number in the
// family "ContactMgr", with the default 11. A mail server calls it once at its start. 1 on success;
// 0 on failure, with the last error of RegisterMailServerPropertyFamily.
extern "C" CONTACTMGR_API int RegisterMailServerPropertyFamilies();
