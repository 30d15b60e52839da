#pragma once

#include "core/ContactPlg.h"
#include "core/StoreFactories.h"
#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <span>
#include <string>

class CMailbox;

inline namespace contactmgr_internal
{

// What stands behind a CContactMgr, and what its operations say holds here too, except that these
// throw std::bad_alloc where memory ends. A resource.
class CContactMgrImpl : public CTracedAllocation
{
public:
    // Makes the stores that the mailbox enables from the table, which is not kept. One whose
    // factory gives null is left out. Leaves the last error alone.
    CContactMgrImpl(CMailbox& mailbox, std::span<const StoreFactory> factories);
    ~CContactMgrImpl();
    CContactMgrImpl(const CContactMgrImpl&) = delete;
    CContactMgrImpl& operator=(const CContactMgrImpl&) = delete;

    bool OpenContact(const ContactMgr::CContactId& id, CContact** contact);
    CContact* CreateContact(CContact* contact);
    bool DeleteContact(const ContactMgr::CContactId& id);
    bool ChangesSince(const std::string& pluginType, FILETIME since, FILETIME* version,
                      ContactMgr::CContactIdList* deleted, ContactMgr::CContactIdList* changed,
                      ContactMgr::CContactIdList* created);
    std::string GetPermanentPluginType() const;
    CContactPlg::CContactEnumerator* GetEnumerator() const;

private:
    std::uint32_t ReadMask() const;
    CContactPlg* FindOwner(const ContactMgr::CContactId& id) const;

    CMailbox& m_mailbox;
    CContactPlgList m_plugins;
    CContactPlg* m_permanent = nullptr; // one of the stores, or null
};

} // namespace contactmgr_internal
