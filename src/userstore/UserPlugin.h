#pragma once

#include "core/ContactPlg.h"
#include "server/MailServer.h"

#include <string>

class CMailbox;

inline namespace contactmgr_internal
{

// The store of type "UserStore": every mailbox of the domain of the manager's mailbox as a
// read-only contact. Creates, removes and reports nothing. The mailbox must be open, stays the
// caller's and outlives the store; contacts and enumerators end before the store.
//
// An identifier names its mailbox and its domain itself, and any domain of the mail store opens:
// whoever takes identifiers from outside must check the domain.
class CUserPlugin final : public CContactPlg
{
public:
    // Makes the store, which ends with Release. Where memory ends all operations throw
    // std::bad_alloc.
    static CContactPlg* Create(CMailbox& mailbox);
    static void Release(CContactPlg* plugin);

    explicit CUserPlugin(CMailbox& mailbox);

    std::string GetPluginType() override;
    // A namespace that begins with the type, with case.
    bool OwnsContact(ContactMgr::CContactId id) override;
    // Opens any identifier that holds an address, also of a mailbox that does not exist: reading
    // its properties then fails. With a null `contact` no mailbox is opened. Last error
    // ERROR_INVALID_PARAMETER (87): a zero byte in the identifier; others as CRfc822Address::Parse
    // leaves them.
    bool OpenContact(ContactMgr::CContactId id, CContact** contact) override;
    CContactEnumerator* GetEnumerator() override;

private:
    CMailbox& m_mailbox;
    CMailServer m_server;
};

} // namespace contactmgr_internal
