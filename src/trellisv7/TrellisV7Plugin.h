#pragma once

#include "core/ContactPlg.h"
#include "server/MailServer.h"

#include <string>

class CMailbox;

inline namespace contactmgr_internal
{

// The store of type "TRELLISV7": the address book entries that the older web client left as
// messages in the mailbox's folder "Contacts". Reads and removes them. It creates and changes no
// contacts and has no change report. The mailbox must be open, stays the caller's and outlives the
// store; enumerators end before the store. Nothing stays open between calls.
//
// An identifier names its mailbox and domain itself. Through it a message of any mailbox of the
// mail store can be opened or deleted: whoever takes identifiers from outside must check whose they
// are.
class CTrellisV7Plugin final : public CContactPlg
{
public:
    // Makes the store, which Release destroys. Without memory all operations throw std::bad_alloc.
    static CContactPlg* Create(CMailbox& mailbox);
    static void Release(CContactPlg* plugin);

    explicit CTrellisV7Plugin(CMailbox& mailbox);

    std::string GetPluginType() override;
    // The namespace begins with the type, with case.
    bool OwnsContact(ContactMgr::CContactId id) override;

    // Both: no code if the identifier lacks its two blanks; ERROR_INVALID_PARAMETER (87): a zero
    // byte in it, or a name that is no plain path component; ERROR_PATH_NOT_FOUND (3): no such
    // mailbox or folder; ERROR_FILE_NOT_FOUND (2): no such message; others as the mail store leaves
    // them. OpenContact opens group entries too; if the message cannot be read, the last error is
    // as CTrellisV7Contact::Load leaves it. DeleteContact removes a message of any format.
    bool OpenContact(ContactMgr::CContactId id, CContact** contact) override;
    bool DeleteContact(ContactMgr::CContactId id) override;

    CContactEnumerator* GetEnumerator() override;

private:
    CMailbox& m_mailbox;
    CMailServer m_server;
};

} // namespace contactmgr_internal
