#pragma once

#include "core/Contact.h"
#include "server/Mailbox.h"

#include <cstdint>
#include <string>

class CMailServer;

// A mailbox of the mail store, seen as a read-only contact. Its identity is its mail address, which
// names a mailbox and a domain; all else is read from the mailbox's properties when it is asked
// for. A mailbox that cannot be opened still gives a contact, which knows its address and nothing
// more.
//
// Text of the mail store is taken as UTF-8; bytes that do not decode become U+FFFD. Where a
// property cannot be read, the last error is what CMailbox::Open or CMailbox::GetProperty left.
class CUserStoreContact : public CContact
{
public:
    static constexpr char kPluginType[] = "UserStore";

    // The server stays the caller's and outlives the contact. Opens the mailbox at once; a failure
    // shows at the operations that need it, and each of them tries again. The e-mail list gets the
    // address, internet and preferred, and behind it the mailbox's "OtherMailbox" where that holds
    // one address. Throws std::bad_alloc.
    CUserStoreContact(CMailServer& server, CRfc822Address address);

    // "UserStore-" and the plain address of the first e-mail entry; empty without an entry.
    ContactMgr::CContactId GetId() override;
    std::string GetPluginType() override { return kPluginType; }
    // The zero time: a mailbox has none. Last error 87: null.
    bool GetModifiedTime(FILETIME* time) override;

    // At most a work and a home entry, in this order; the first one is also preferred. A list is
    // read when it is asked for and empty, and kept from then on. It stays empty if one of its
    // properties cannot be read.
    CContactAddrList& GetAddresses() override;
    // Work, cell, pager, home and fax, in this order; the first one is also preferred.
    CContactTelList& GetTelephones() override;

    // The properties "GivenName" and "Surname". The setters give false with no code.
    bool GetFirstName(std::u16string* name) override;
    bool SetFirstName(const std::u16string& name) override;
    bool GetLastName(std::u16string* name) override;
    bool SetLastName(const std::u16string& name) override;

    // All names but "Nickname", "Title", "WssVersion" and "WssReplicationId", known or not.
    bool SupportsProperty(const CContactProperty& property) override;

    // The mailbox property of that name; "Jobtitle" is kept there as "Title". Last error 13: the
    // e-mail list is empty, so that no mailbox is named; 87: null.
    bool GetProperty(const CContactProperty& property, std::u16string* value) override;
    bool GetProperty(const CContactProperty& property, std::uint32_t* value) override;
    bool GetProperty(const CContactProperty& property, bool* value) override;
    using CContact::SetProperty;

    // 50: the store has no text form of a contact.
    bool ToString(std::u16string* text) override;

private:
    bool OpenMailbox();
    bool LoadOtherMailbox();
    bool LoadAddresses();
    bool LoadTelephones();

    CMailServer* const m_server;
    CMailbox m_mailbox;
};
