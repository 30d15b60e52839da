#pragma once

inline namespace contactmgr_internal
{

// The properties of a mailbox that its contact reads, and with them the vocabulary of contact
// properties (core/ContactProperties.h): one table for the mail store, the stores of contacts and
// the tool.

enum class EPropertyKind
{
    kContactText,     // a property of a contact, and of a mailbox under the same name
    kContactNamePart, // the same, and a component of the person's name (RFC 2426, 3.1.2)
    kMailboxText      // a property of a mailbox alone
};

struct CPropertyName
{
    const char* name;
    EPropertyKind kind;

    constexpr bool IsOfContact() const { return kind != EPropertyKind::kMailboxText; }
};

// Those of a contact come first, in the order in which a template's properties are copied.
inline constexpr CPropertyName kPropertyNames[] = {
    {"Comment", EPropertyKind::kContactText},
    {"FileAs", EPropertyKind::kContactText},
    {"FullName", EPropertyKind::kContactText},
    {"GivenName", EPropertyKind::kContactNamePart},
    {"HTMLComment", EPropertyKind::kContactText},
    {"Jobtitle", EPropertyKind::kContactText},
    {"Manager", EPropertyKind::kContactText},
    {"MiddleInitial", EPropertyKind::kContactNamePart},
    {"Nickname", EPropertyKind::kContactText},
    {"Organization", EPropertyKind::kContactText},
    {"OrgUnit", EPropertyKind::kContactText},
    {"Suffix", EPropertyKind::kContactNamePart},
    {"Surname", EPropertyKind::kContactNamePart},
    {"Title", EPropertyKind::kContactNamePart},
    {"URL", EPropertyKind::kContactText},
    {"WssVersion", EPropertyKind::kContactText},
    {"WssReplicationId", EPropertyKind::kContactText},
    {"City", EPropertyKind::kMailboxText},
    {"Country", EPropertyKind::kMailboxText},
    {"Facsimile", EPropertyKind::kMailboxText},
    {"HomeAddress", EPropertyKind::kMailboxText},
    {"HomeCity", EPropertyKind::kMailboxText},
    {"HomeCountry", EPropertyKind::kMailboxText},
    {"HomePhone", EPropertyKind::kMailboxText},
    {"HomePostCode", EPropertyKind::kMailboxText},
    {"HomeState", EPropertyKind::kMailboxText},
    {"HomeStreet", EPropertyKind::kMailboxText},
    {"Mobile", EPropertyKind::kMailboxText},
    {"OtherMailbox", EPropertyKind::kMailboxText},
    {"Pager", EPropertyKind::kMailboxText},
    {"PostalAddress", EPropertyKind::kMailboxText},
    {"PostCode", EPropertyKind::kMailboxText},
    {"State", EPropertyKind::kMailboxText},
    {"Street", EPropertyKind::kMailboxText},
    {"Telephone", EPropertyKind::kMailboxText},
};

} // namespace contactmgr_internal
