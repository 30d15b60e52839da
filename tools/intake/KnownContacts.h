#pragma once

#include "cards/VCard.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// Which contact of the address book a card is about.

// Finds contacts by what identifies a person: the UID, else the name together with the first mail
// address. A contact without an address has its first number in place of it, and one with none of
// these is found by its content. Two cards of one file are about two contacts, unless they have
// the same UID or say the same: each takes the first contact of its name that is left. Memory is
// some hundred bytes a contact. A value.
class CKnownContacts
{
public:
    // Adds a contact with its lines. A contact without a UID is also found by the derived one,
    // under which it was exported (cards/Uid.h).
    void Add(const CVCard& card, const std::string& id, const std::string& derivedUid);

    // The same for the contact that the card of the file at hand has become or has changed.
    void AddTaken(const CVCard& card, const std::string& id, const std::string& derivedUid);

    // The cards that follow are of another file.
    void BeginFile();

    // The identifier of the contact that the card is about; empty without one. A contact whose UID
    // differs from the card's is another person, whatever its name.
    std::string Find(const CVCard& card);

private:
    // Contacts of one name in their order.
    struct CAlike
    {
        std::vector<std::string> ids;
        std::size_t next = 0; // those in front of it are taken
        std::size_t file = 0; // for which `next` holds
    };
    struct CNamed
    {
        CAlike withoutUid;
        CAlike withUid;
    };

    std::string TakeNext(CAlike* alike, const std::unordered_set<std::string>& passedOver);

    std::unordered_map<std::string, std::string> m_byUid;
    std::unordered_map<std::string, CNamed> m_byName;
    std::unordered_set<std::string> m_gotUid; // those that had none at first
    std::size_t m_file = 1;
    // Of the file at hand.
    std::unordered_set<std::string> m_taken;
    std::unordered_map<std::string, std::string> m_byText; // by the digest of the card
};

// The lines of a contact after a card was laid over it. All lines of a name that the card has take
// the place of the contact's lines of that name. Lines of a name that all have empty values change
// nothing, nor do those that the store renews itself. With keepsName the contact's FN stays, if it
// has one.
CVCard LayOver(const CVCard& contact, const CVCard& card, bool keepsName);
