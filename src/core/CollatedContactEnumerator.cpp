#include "core/CollatedContactEnumerator.h"

#include "core/StoreFactories.h"
#include "platform/Failure.h"

#include <cstdint>
#include <new>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

// The high half counts as signed, so that a version from far in the future never sticks.
bool IsLater(const FILETIME& left, const FILETIME& right)
{
    return static_cast<std::int64_t>(FileTimeToCount(left)) >
           static_cast<std::int64_t>(FileTimeToCount(right));
}

} // namespace

CCollatedContactEnumerator::CCollatedContactEnumerator(const CContactPlgList& plugins)
{
    for (const CContactPlgOwner& plugin : plugins) {
        std::unique_ptr<CContactPlg::CContactEnumerator> walk(plugin->GetEnumerator());
        if (walk != nullptr) {
            m_stores.AddTail(CStore{plugin->GetPluginType(), std::move(walk)});
        }
    }
}

CCollatedContactEnumerator::~CCollatedContactEnumerator()
{
    const CKeepLastError keep;
    m_stores.RemoveAll();
}

bool CCollatedContactEnumerator::Start(const FILETIME* version, bool* changed)
try {
    return KeepingLastError([&] { return Begin(version, changed); });
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CCollatedContactEnumerator::Begin(const FILETIME* version, bool* changed)
{
    const FILETIME since = version == nullptr ? FILETIME() : *version;
    Finish();
    m_faults.clear();
    bool isNew = false;
    if (!IsAnythingNew(since, &isNew)) {
        return false;
    }
    if (changed != nullptr) {
        *changed = isNew;
    }
    if (!isNew) {
        return true;
    }
    if (!OpenAll()) {
        return false;
    }
    m_position = m_stores.GetHeadPosition();
    return true;
}

bool CCollatedContactEnumerator::StartStore(const CStore& store, const FILETIME* version,
                                            bool* changed)
{
    if (store.walk->Start(version, changed)) {
        return true;
    }
    m_faults.push_back({store.type, {}, GetLastError(), true});
    return false;
}

// Stops at the first store that has something new: all will be opened anyway.
bool CCollatedContactEnumerator::IsAnythingNew(const FILETIME& version, bool* isNew)
{
    for (const CStore& store : m_stores) {
        bool isStoreNew = false;
        if (!StartStore(store, &version, &isStoreNew)) {
            return false;
        }
        if (isStoreNew) {
            *isNew = true;
            return true;
        }
    }
    return true;
}

// A store that answered with a change is started already.
bool CCollatedContactEnumerator::OpenAll()
{
    for (const CStore& store : m_stores) {
        if (!store.walk->IsStarted() && !StartStore(store, nullptr, nullptr)) {
            return false;
        }
        const FILETIME version = store.walk->GetVersion();
        if (IsLater(version, m_version)) {
            m_version = version;
        }
    }
    return true;
}

bool CCollatedContactEnumerator::MoveNext()
try {
    return KeepingLastError([this] { return MoveToNextShown(); });
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CCollatedContactEnumerator::MoveToNextShown()
{
    while (m_position != nullptr) {
        const CStore& store = m_stores.GetAt(m_position);
        // Remember may find no memory; the contact is then found already at the next call.
        m_isFound = m_isFound || FindShown(*store.walk);
        if (m_isFound) {
            Remember(*store.walk->GetCurrent());
            m_isFound = false;
            return true;
        }
        AddFaultsOf(store, GetLastError());
        m_stores.GetNext(m_position);
    }
    return false;
}

// A store may have no current contact where memory ended. The walk then goes on behind it.
bool CCollatedContactEnumerator::FindShown(CContactPlg::CContactEnumerator& store) const
{
    SetLastError(ERROR_SUCCESS);
    while (store.MoveNext()) {
        CContact* contact = store.GetCurrent();
        if (contact != nullptr && IsShown(*contact)) {
            return true;
        }
    }
    return false;
}

// A store that has started ends with ERROR_NO_MORE_FILES, or has failed. It may have told of that
// itself, with the contact.
void CCollatedContactEnumerator::AddFaultsOf(const CStore& store, std::uint32_t error)
{
    const CContactPlg::CWalkFaults& faults = store.walk->GetFaults();
    for (const CContactPlg::CWalkFault& fault : faults) {
        m_faults.push_back({store.type, fault.item, fault.error, fault.endsStore});
    }
    const bool isTold = !faults.empty() && faults.back().endsStore;
    if (store.walk->IsStarted() && error != ERROR_NO_MORE_FILES && !isTold) {
        m_faults.push_back({store.type, {}, error, true});
    }
}

// Only the first address decides, but all addresses of a shown contact are remembered.
bool CCollatedContactEnumerator::IsShown(CContact& contact) const
{
    if (!contact.IsReadOnly()) {
        return true;
    }
    const CContactEmailList& emails = contact.GetEmails();
    return !emails.IsEmpty() &&
           !m_seen.contains(std::string_view(emails.GetHead().GetAddress().RawAddress()));
}

void CCollatedContactEnumerator::Remember(CContact& contact)
{
    for (const CContactEmail& email : std::as_const(contact.GetEmails())) {
        m_seen.emplace(email.GetAddress().RawAddress());
    }
}

CContact* CCollatedContactEnumerator::GetCurrent()
{
    return m_position == nullptr || m_isFound ? nullptr
                                              : m_stores.GetAt(m_position).walk->GetCurrent();
}

CContactPlg::Counts CCollatedContactEnumerator::GetPassedOver()
try {
    CContactPlg::Counts sums;
    for (const auto& store : m_stores) {
        for (const auto& [name, count] : store.walk->GetPassedOver()) {
            sums[name] += count;
        }
    }
    return sums;
} catch (const std::bad_alloc&) {
    FailForMemory();
    return {};
}

bool CCollatedContactEnumerator::Finish()
{
    m_position = nullptr;
    m_isFound = false;
    m_seen.clear();
    for (const CStore& store : m_stores) {
        if (!store.walk->Finish()) {
            return false;
        }
    }
    return true;
}

} // namespace contactmgr_internal
