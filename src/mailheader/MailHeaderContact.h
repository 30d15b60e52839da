#pragma once

#include "core/Contact.h"

#include <cstdint>
#include <string>

// A person who has written to the mailbox, as a read-only contact: nothing but one mail address,
// whose comment is the person's name. Refers to no store, folder or message.
class CMailHeaderContact : public CContact
{
public:
    static constexpr char kPluginType[] = "INBOX";

    // The one e-mail entry is the address, internet and preferred. The last word of its comment
    // becomes the last name, the words in front of it the first name; a single word is the first
    // name. Throws std::bad_alloc.
    explicit CMailHeaderContact(CRfc822Address address);

    // "INBOX-" and the address of the first e-mail entry with its comment; empty without an entry.
    ContactMgr::CContactId GetId() override;
    std::string GetPluginType() override { return kPluginType; }
    // The zero time. Last error 87: null.
    bool GetModifiedTime(FILETIME* time) override;

    // 50, as all that would change the contact.
    bool SetFirstName(const std::u16string& name) override;
    bool SetLastName(const std::u16string& name) override;

    // "FullName", "GivenName" and "Surname"; no others.
    bool SupportsProperty(const CContactProperty& property) override;

    // "FullName" is the whole comment of the first e-mail entry, empty without an entry. Last error
    // 87: null; 50: another property, or another type than text.
    bool GetProperty(const CContactProperty& property, std::u16string* value) override;
    bool GetProperty(const CContactProperty& property, std::uint32_t* value) override;
    bool GetProperty(const CContactProperty& property, bool* value) override;
    using CContact::SetProperty;

    // 50: the store has no text form of a contact.
    bool ToString(std::u16string* text) override;

private:
    void SplitName(const CRfc822Address& address);
};
