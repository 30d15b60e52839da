#include "core/ContactMgrImpl.h"

#include "core/CollatedContactEnumerator.h"
#include "platform/Failure.h"
#include "server/Mailbox.h"

#include <utility>

inline namespace contactmgr_internal
{

CContactMgrImpl::CContactMgrImpl(CMailbox& mailbox, std::span<const StoreFactory> factories)
    : m_mailbox(mailbox)
{
    const CKeepLastError keep;
    const std::uint32_t mask = ReadMask();
    for (const StoreFactory& factory : factories) {
        if ((mask & factory.mask) == 0) {
            continue;
        }
        CContactPlgOwner plugin(factory.create(m_mailbox), factory.release);
        if (plugin == nullptr) {
            continue; // the other stores are of use without it
        }
        if (factory.isPermanent) {
            m_permanent = plugin.get();
        }
        m_plugins.AddTail(std::move(plugin));
    }
}

// The stores go one by one, each by the way that its factory wants.
CContactMgrImpl::~CContactMgrImpl()
{
    const CKeepLastError keep;
    m_plugins.RemoveAll();
}

std::uint32_t CContactMgrImpl::ReadMask() const
{
    std::uint32_t mask = 0;
    return m_mailbox.GetProperty("EnabledContactPluginsEffective", &mask) ? mask
                                                                          : kDefaultStoreMask;
}

// The first owner takes the call; another one behind it is not asked, even if the first fails.
CContactPlg* CContactMgrImpl::FindOwner(const ContactMgr::CContactId& id) const
{
    for (const CContactPlgOwner& plugin : m_plugins) {
        if (plugin->OwnsContact(id)) {
            return plugin.get();
        }
    }
    return Fail(ERROR_NOT_FOUND);
}

bool CContactMgrImpl::OpenContact(const ContactMgr::CContactId& id, CContact** contact)
{
    CContactPlg* owner = FindOwner(id);
    return owner != nullptr && owner->OpenContact(id, contact);
}

CContact* CContactMgrImpl::CreateContact(CContact* contact)
{
    if (m_permanent == nullptr) {
        return Fail(ERROR_NOT_SUPPORTED);
    }
    return m_permanent->CreateContact(contact);
}

bool CContactMgrImpl::DeleteContact(const ContactMgr::CContactId& id)
{
    CContactPlg* owner = FindOwner(id);
    return owner != nullptr && owner->DeleteContact(id);
}

bool CContactMgrImpl::ChangesSince(const std::string& pluginType, FILETIME since, FILETIME* version,
                                   ContactMgr::CContactIdList* deleted,
                                   ContactMgr::CContactIdList* changed,
                                   ContactMgr::CContactIdList* created)
{
    for (const CContactPlgOwner& plugin : m_plugins) {
        if (plugin->GetPluginType() == pluginType) {
            return plugin->ChangesSince(since, version, deleted, changed, created);
        }
    }
    return Fail(ERROR_NOT_FOUND);
}

std::string CContactMgrImpl::GetPermanentPluginType() const
{
    return m_permanent == nullptr ? std::string() : m_permanent->GetPluginType();
}

CContactPlg::CContactEnumerator* CContactMgrImpl::GetEnumerator() const
{
    return Make<CCollatedContactEnumerator>(m_plugins).release();
}

} // namespace contactmgr_internal
