#include "userstore/UserPlugin.h"

#include "platform/Failure.h"
#include "server/Mailbox.h"
#include "userstore/UserStoreContact.h"
#include "userstore/UserStoreContactEnumerator.h"

#include <string_view>
#include <utility>

inline namespace contactmgr_internal
{

CContactPlg* CUserPlugin::Create(CMailbox& mailbox)
{
    return Make<CUserPlugin>(mailbox).release();
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
{
    return id.Namespace().starts_with(CUserStoreContact::kPluginType);
}

bool CUserPlugin::OpenContact(ContactMgr::CContactId id, CContact** contact)
{
    if (!OwnsContact(id)) {
        return false;
    }
    const std::string& text = id.ToString();
    if (text.find('\0') != text.npos) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    // The address begins one character behind the type, also where the namespace is longer.
    const std::size_t begin = std::string_view(CUserStoreContact::kPluginType).size() + 1;
    CRfc822Address address;
    if (!address.Parse(text.c_str() + begin)) {
        return false;
    }
    if (contact == nullptr) {
        return true;
    }
    auto opened = Make<CUserStoreContact>(m_server, std::move(address));
    delete std::exchange(*contact, opened.release());
    return true;
}

CContactPlg::CContactEnumerator* CUserPlugin::GetEnumerator()
{
    return Make<CUserStoreContactEnumerator>(m_mailbox).release();
}

} // namespace contactmgr_internal
