#pragma once

#include "core/ReadOnlyContact.h"

#include <optional>
#include <string>

inline namespace contactmgr_internal
{

// A person who has written to the mailbox, as a read-only contact: nothing but one mail address,
// whose comment is the person's name. Refers to no store, folder or message.
class CMailHeaderContact : public CReadOnlyContact
{
public:
    static constexpr char kPluginType[] = "INBOX";

    // The one e-mail entry is the address, internet and preferred. The last word of its comment
    // becomes the last name, the words in front of it the first name; a single word is the first
    // name. Throws std::bad_alloc.
    explicit CMailHeaderContact(CRfc822Address address);

    std::string GetPluginType() override { return kPluginType; }

    // ERROR_NOT_SUPPORTED (50).
    bool SetFirstName(const std::u16string& name) override;
    bool SetLastName(const std::u16string& name) override;

    // "FullName", "GivenName" and "Surname"; no others.
    bool SupportsProperty(const CContactProperty& property) override;

private:
    // The address of the first e-mail entry with its comment; none without an entry.
    std::optional<std::string> LocalPart() const override;

    // "FullName" is the whole comment of the first e-mail entry, empty without an entry. Last error
    // ERROR_NOT_SUPPORTED (50): another property.
    bool ReadProperty(const CContactProperty& property, std::u16string* value) override;

    void SplitName(const CRfc822Address& address);
};

} // namespace contactmgr_internal
