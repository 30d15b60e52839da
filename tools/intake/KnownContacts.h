#pragma once

#include "cards/VCard.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

// Which contact of the address book a card is about.

// Finds contacts by what identifies a person: the UID, else the name together with the first mail
// address. A contact without an address has its first number in place of it. Memory is a few dozen
// bytes a contact. A value.
class CKnownContacts
{
public:
    // Adds a contact with its lines. The first one of several that are alike is found. A contact
    // without a UID is also found by the derived one, under which it was exported (cards/Uid.h).
    void Add(const CVCard& card, const std::string& id, const std::string& derivedUid);

    // The identifier of the contact that the card is about; empty without one. A contact whose UID
    // differs from the card's is another person, whatever its name.
    std::string Find(const CVCard& card) const;

private:
    struct CFound
    {
        std::string id;
        bool hasUid;
    };
    std::unordered_map<std::string, std::string> m_byUid;
    std::unordered_map<std::string, CFound> m_byName;
};

// The lines of a contact after a card was laid over it. All lines of a name that the card has take
// the place of the contact's lines of that name. A line with an empty value changes nothing, nor do
// those that the store renews itself. With keepsName the contact's FN stays, if it has one.
CVCard LayOver(const CVCard& contact, const CVCard& card, bool keepsName);
