#include "userstore/UserStoreContactEnumerator.h"

#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "platform/FileTime.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

constexpr std::uint64_t kVersionLastsSeconds = 900;
constexpr std::uint32_t kMaxNameLength = 64;

// The mail server's own mailboxes, whatever case their names are written in.
bool IsPerson(std::string_view mailboxName)
{
    return !EqualIgnoringCase(mailboxName, "mailboxtemplate") &&
           !EqualIgnoringCase(mailboxName, "catchall");
}

// A version from the future, as after the clock was set back, is present too.
bool IsStillPresent(const FILETIME& version, const FILETIME& now)
{
    return version > now ||
           (FileTimeToCount(now) - FileTimeToCount(version)) / kFileTimeUnitsPerSecond <
               kVersionLastsSeconds;
}

} // namespace

CUserStoreContactEnumerator::CUserStoreContactEnumerator(CMailbox& mailbox) : m_mailbox(mailbox)
{
    m_server.Wrap(GetMailboxServerHandle(mailbox));
}

CUserStoreContactEnumerator::~CUserStoreContactEnumerator()
{
    const CKeepLastError keep;
    CUserStoreContactEnumerator::Finish();
}

bool CUserStoreContactEnumerator::Start(const FILETIME* version, bool* changed)
{
    // The caller's version may be this object's own.
    const FILETIME known = version == nullptr ? FILETIME() : *version;
    Finish();
    m_faults.clear();
    GetSystemTimeAsFileTime(&m_version);
    const bool isNew = version == nullptr || !IsStillPresent(known, m_version);
    if (changed != nullptr) {
        *changed = isNew;
    }
    if (!isNew) {
        m_version = known;
        return true;
    }
    m_enumeration = StartMailboxEnumeration(m_server, m_mailbox.GetDomain());
    if (m_enumeration != nullptr) {
        return true;
    }
    // A domain that cannot be listed has no contacts; that is no failure.
    m_faults.push_back({{}, {}, GetLastError(), true});
    return GetLastError() != ERROR_NOT_ENOUGH_MEMORY;
}

bool CUserStoreContactEnumerator::Finish()
{
    if (m_enumeration != nullptr) {
        if (CloseMailboxEnumeration(m_enumeration) == 0) {
            return false;
        }
        m_enumeration = nullptr;
    }
    m_current.reset();
    return true;
}

bool CUserStoreContactEnumerator::MoveNext()
{
    char name[kMaxNameLength + 1];
    std::uint32_t flags = 0;
    do {
        std::uint32_t length = kMaxNameLength;
        if (FindNextMailbox(m_enumeration, name, &length, &flags) == 0) {
            return false;
        }
    } while (!IsPerson(name));

    m_current.reset();
    CRfc822Address address;
    if (!address.SetName(name) || !address.SetDomain(m_mailbox.GetDomain())) {
        m_faults.push_back(
            {{},
             std::string(CUserStoreContact::kPluginType) + '-' + name + '@' + m_mailbox.GetDomain(),
             GetLastError(),
             true});
        return false;
    }
    CMailbox mailbox;
    if (!mailbox.Open(m_enumeration)) {
        throw std::bad_alloc(); // fails for no other reason
    }
    m_current = Make<CUserStoreContact>(m_server, std::move(address), mailbox);
    return true;
}

} // namespace contactmgr_internal
