#pragma once

#include "cards/VCard.h"

#include <string>
#include <string_view>

class CContact;
namespace ContactMgr
{
class CContactId;
} // namespace ContactMgr

// The UID that a contact is known by outside (RFC 2426, 3.6.7): that of its card, or one that
// follows from the mailbox and the identifier. A contact that never had a UID is exported with the
// derived one, and nothing is stored. So whoever looks for a contact by a UID that came back from
// outside compares it with UidOf, and finds such a contact too. An import that takes the card into
// this contact stores the UID, which is still the same.

// The UID of a card. Empty without one, and for an empty one.
std::string StoredUid(const CVCard& card);

// A UUID. The mailbox is NAME@DOMAIN; its case does not matter.
std::string DerivedUid(std::string_view mailbox, const ContactMgr::CContactId& id);

// The stored one, else the derived one.
std::string UidOf(const CVCard& card, std::string_view mailbox, const ContactMgr::CContactId& id);

// The same for an open contact of the address book. False with the last error of
// CContact::ToString.
bool UidOf(CContact& contact, std::string_view mailbox, std::string* uid);

// Puts a UID into a card, in front of its entries or in place of those that it has.
void SetUid(std::string_view uid, CVCard* card);

// Gives the address book's text of a card a UID line, unless it has one that is not empty: in front
// of the entries, where the line stands once the card has come in again.
void AddUid(std::string_view uid, std::string* text);
