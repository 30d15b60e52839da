#include "userstore/UserPlugin.h"

#include "platform/LastError.h"
#include "server/Mailbox.h"
#include "userstore/UserStoreContact.h"
#include "userstore/UserStoreContactEnumerator.h"

#include <new>
#include <string_view>
#include <utility>

CContactPlg* CUserPlugin::Create(CMailbox& mailbox)
{
    return new CUserPlugin(mailbox);
}

void CUserPlugin::Release(CContactPlg* plugin)
{
    delete static_cast<CUserPlugin*>(plugin);
}

CUserPlugin::CUserPlugin(CMailbox& mailbox) : m_mailbox(mailbox)
{
    m_server.Wrap(GetMailboxServerHandle(mailbox));
}

std::string CUserPlugin::GetPluginType()
{
    return CUserStoreContact::kPluginType;
}

bool CUserPlugin::OwnsContact(ContactMgr::CContactId id)
try {
    return id.Namespace().starts_with(CUserStoreContact::kPluginType);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CUserPlugin::OpenContact(ContactMgr::CContactId id, CContact** contact)
try {
    if (!OwnsContact(id)) {
        return false;
    }
    // The address stands behind the type and one character, in a longer namespace too.
    const char* text =
        id.ToString().c_str() + std::string_view(CUserStoreContact::kPluginType).size() + 1;
    CRfc822Address address;
    if (!address.Parse(text)) {
        return false;
    }
    if (contact == nullptr) {
        return true;
    }
    CContact* opened = new CUserStoreContact(m_server, std::move(address));
    if (opened == nullptr) {
        return false;
    }
    delete std::exchange(*contact, opened);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

CContactPlg::CContactEnumerator* CUserPlugin::GetEnumerator()
{
    return new CUserStoreContactEnumerator(m_mailbox);
}
