#pragma once

#include "core/ContactPlg.h"

#include <string>

class CMailbox;

inline namespace contactmgr_internal
{

// The store of type "INBOX": the people who have written to the mailbox. Stores nothing itself. It
// creates and removes no contacts and has no change report. The mailbox stays the caller's and
// outlives the store; its enumerators end before the store.
class CMailHeaderPlugin final : public CContactPlg
{
public:
    // Makes the store, which Release destroys. Without memory all operations throw std::bad_alloc.
    static CContactPlg* Create(CMailbox& mailbox);
    static void Release(CContactPlg* plugin);

    explicit CMailHeaderPlugin(CMailbox& mailbox) : m_mailbox(mailbox) {}

    std::string GetPluginType() override;
    // The namespace equals the type, with case.
    bool OwnsContact(ContactMgr::CContactId id) override;
    // Opens any identifier that holds an address, whether or not a message came from it; looks at
    // no folder. Last error ERROR_INVALID_PARAMETER (87): a zero byte in the identifier; others as
    // CRfc822Address::Parse leaves them.
    bool OpenContact(ContactMgr::CContactId id, CContact** contact) override;
    CContactEnumerator* GetEnumerator() override;

private:
    CMailbox& m_mailbox;
};

} // namespace contactmgr_internal
