#include "core/ContactMgr.h"

#include "core/ContactMgrImpl.h"
#include "platform/Failure.h"
#include "platform/Flushing.h"
#include "trace/FunctionDebugging.h"

#include <new>
#include <utility>

namespace
{

// Null when memory is exhausted; every operation of the manager then says so.
CContactMgrImpl* MakeImpl(CMailbox& mailbox)
try {
    return new CContactMgrImpl(mailbox, StoreFactories());
} catch (const std::bad_alloc&) {
    return nullptr;
}

} // namespace

CContactMgr::CContactMgr(CMailbox& mailbox) : m_impl(MakeImpl(mailbox)) {}

CContactMgr::~CContactMgr()
{
    delete m_impl;
}

// Here exhausted memory becomes a last error: below, code throws std::bad_alloc.
bool CContactMgr::OpenContact(ContactMgr::CContactId id, CContact** contact)
try {
    const CFunctionDebugging scope("CContactMgr::OpenContact");
    return m_impl == nullptr ? FailForMemory() : m_impl->OpenContact(id, contact);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

CContact* CContactMgr::CreateContact(CContact* contact)
try {
    const CFunctionDebugging scope("CContactMgr::CreateContact");
    if (m_impl == nullptr) {
        return FailForMemory();
    }
    return m_impl->CreateContact(contact);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CContactMgr::DeleteContact(ContactMgr::CContactId id)
try {
    const CFunctionDebugging scope("CContactMgr::DeleteContact");
    return m_impl == nullptr ? FailForMemory() : m_impl->DeleteContact(id);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CContactMgr::ChangesSince(std::string pluginType, FILETIME since, FILETIME* version,
                               ContactMgr::CContactIdList* deleted,
                               ContactMgr::CContactIdList* changed,
                               ContactMgr::CContactIdList* created)
try {
    const CFunctionDebugging scope("CContactMgr::ChangesSince");
    return m_impl == nullptr
               ? FailForMemory()
               : m_impl->ChangesSince(pluginType, since, version, deleted, changed, created);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

std::string CContactMgr::GetPermanentPluginType() const
try {
    if (m_impl == nullptr) {
        FailForMemory();
        return {};
    }
    return m_impl->GetPermanentPluginType();
} catch (const std::bad_alloc&) {
    FailForMemory();
    return {};
}

CContactPlg::CContactEnumerator* CContactMgr::GetEnumerator() const
try {
    const CFunctionDebugging scope("CContactMgr::GetEnumerator");
    if (m_impl == nullptr) {
        return FailForMemory();
    }
    return m_impl->GetEnumerator();
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

void CContactMgr::FlushEachChange() noexcept
{
    SetFlushing(true);
}
