#pragma once

#include "core/ReadOnlyContact.h"
#include "server/Mailbox.h"

#include <cstdint>
#include <optional>
#include <string>

class CMailServer;

inline namespace contactmgr_internal
{

// A mailbox of the mail store, as a read-only contact. Its identity is its mail address, which
// names a mailbox and a domain. All else is read from the mailbox's properties on demand. A mailbox
// that cannot be opened still gives a contact, which has an address and nothing more.
//
// Text of the mail store is taken as UTF-8; bytes that do not decode become U+FFFD. Where a
// property cannot be read, the last error is what CMailbox::Open or CMailbox::GetProperty left.
class CUserStoreContact : public CReadOnlyContact
{
public:
    static constexpr char kPluginType[] = "UserStore";

    // The name of the mailbox that an address names: its local part, without the quotes that it has
    // in a mail header if it is no dot-atom (RFC 5322, 3.2.4).
    static std::string MailboxNameOf(const CRfc822Address& address);

    // The server stays the caller's and outlives the contact. Opens the mailbox at once, unless the
    // caller gives it open; a failure shows at the operations that need it, and each of them tries
    // again. The e-mail list gets the address, internet and preferred, and behind it the mailbox's
    // "OtherMailbox" where that holds one address. Throws std::bad_alloc.
    CUserStoreContact(CMailServer& server, CRfc822Address address, const CMailbox& mailbox = {});

    std::string GetPluginType() override { return kPluginType; }

    // At most a work and a home entry, in this order; the first one is also preferred. A list is
    // read when it is asked for and empty, and kept from then on. It stays empty if one of its
    // properties cannot be read.
    CContactAddrList& GetAddresses() override;
    // Work, cell, pager, home and fax, in this order; the first one is also preferred.
    CContactTelList& GetTelephones() override;

    // The properties "GivenName" and "Surname".
    bool GetFirstName(std::u16string* name) override;
    bool GetLastName(std::u16string* name) override;

    // All names but "Nickname", "Title", "WssVersion" and "WssReplicationId", known or not.
    bool SupportsProperty(const CContactProperty& property) override;

    // The mailbox property of that name. Last error ERROR_INVALID_DATA (13): the e-mail list is
    // empty, so that no mailbox is named, or the value is of another type.
    using CReadOnlyContact::GetProperty;
    bool GetProperty(const CContactProperty& property, std::uint32_t* value) override;
    bool GetProperty(const CContactProperty& property, bool* value) override;

private:
    // The plain address of the first e-mail entry; none without an entry.
    std::optional<std::string> LocalPart() const override;

    // Likewise the mailbox property of that name; "Jobtitle" is kept there as "Title".
    bool ReadProperty(const CContactProperty& property, std::u16string* value) override;

    bool OpenMailbox();
    bool LoadOtherMailbox();
    bool LoadAddresses();
    bool LoadTelephones();

    CMailServer* const m_server;
    CMailbox m_mailbox;
};

} // namespace contactmgr_internal
