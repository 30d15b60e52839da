#pragma once

#include "core/ReadOnlyContact.h"
#include "text/Utf8String.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

class CBodyPart;
class CMessage;

// One entry of the older web client's address book, which kept each as a mail message. Load reads
// it once; from then on it needs neither message nor folder, and does not follow their changes.
// Read-only: only the whole message can be removed, through the store.
class CTrellisV7Contact : public CReadOnlyContact
{
public:
    static constexpr char kPluginType[] = "TRELLISV7";
    static constexpr char kFolder[] = "Contacts";

    // The message is only used by Load and stays the caller's; the time is when the store received
    // it; the names are those of the mailbox that owns the folder. The lists and names are empty
    // until Load. Throws std::bad_alloc.
    CTrellisV7Contact(CMessage& message, std::string messageId, const FILETIME& modifiedTime,
                      std::string mailboxName, std::string domainName);

    // Reads the message; once in a contact's life. After a failure the contact is of no use. Last
    // error ERROR_NOT_SUPPORTED (50): a line of the body is not of this format; ERROR_INVALID_DATA
    // (13): no e-mail list in its place, bytes that are no UTF-8, or a message without a text;
    // others: as the message leaves them.
    bool Load();

    // False for a group entry, whose members are not modelled.
    bool IsIndividual() const { return m_isIndividual; }

    std::string GetPluginType() override { return kPluginType; }

    // "GivenName", "Surname", "Nickname", "FullName", "Title", "Jobtitle", "Organization",
    // "OrgUnit", "URL" and "Comment"; no others.
    bool SupportsProperty(const CContactProperty& property) override;

private:
    // The message id, a blank, the mailbox name, a blank, the domain name. So an identifier names
    // its mailbox itself: whoever takes identifiers from outside must check whose it is.
    std::optional<std::string> LocalPart() const override;

    // Empty where the entry has no value. Last error ERROR_INVALID_DATA (13): the value is no
    // UTF-8; as it was: another property.
    bool ReadProperty(const CContactProperty& property, std::u16string* value) override;

    // The values that a body can hold.
    enum class EField
    {
        BusinessCity,
        Notes,
        BusinessCountry,
        Email,
        Fax,
        Name,
        HomeAddress,
        HomeCity,
        HomeCountry,
        HomePhone,
        HomeZip,
        HomeState,
        JobTitle,
        Cell,
        Nick,
        BusinessName,
        Department,
        Pager,
        BusinessAddress,
        BusinessZip,
        BusinessState,
        WorkPhone,
        Title,
        Url,
        Count
    };

    CUtf8String& Field(EField field) { return m_fields[static_cast<std::size_t>(field)]; }
    static std::optional<EField> FieldOf(const CContactProperty& property);
    bool ReadMarker(const CBodyPart& root);
    bool ReadLines(std::string_view body);
    bool SetField(std::string_view key, std::string_view value);
    bool BuildAddresses();
    bool BuildTelephones();
    bool BuildEmails();
    bool SplitName();

    CMessage& m_message;
    const std::string m_messageId;
    const std::string m_mailboxName;
    const std::string m_domainName;
    bool m_isIndividual = true;
    std::array<CUtf8String, static_cast<std::size_t>(EField::Count)> m_fields;
};

} // namespace contactmgr_internal
