#include "base/ChangeFollower.h"

#include "base/Session.h"
#include "platform/ChangeProtocol.h"
#include "platform/FileHandle.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

bool ReadChanges(CContactMgr& manager, const std::string& type, const FILETIME& since,
                 CChanges* changes)
{
    *changes = CChanges();
    return manager.ChangesSince(type, since, &changes->version, &changes->deleted,
                                &changes->changed, &changes->created);
}

CChangeFollower::CChangeFollower(CSession& session, std::string type)
    : m_session(session), m_type(std::move(type))
{}

bool CChangeFollower::Begin(const std::optional<FILETIME>& since, CChanges* changes)
{
    if (since) {
        m_begin = m_version = *since;
        return Next(changes);
    }
    if (!ReadChanges(m_session.Manager(), m_type, FILETIME(), changes)) {
        return false;
    }
    m_begin = m_version = changes->version;
    *changes = {m_version, {}, {}, {}};
    return true;
}

bool CChangeFollower::Next(CChanges* changes)
{
    if (!ReadFinished(changes)) {
        return false;
    }
    m_version = changes->version;
    DropTold(&changes->created, false);
    DropTold(&changes->changed, false);
    DropTold(&changes->deleted, true);
    TellNewOnesAsCreated(changes);
    std::erase_if(m_told, [this](const auto& told) {
        return !told.second.isDeletion && told.second.time <= m_version;
    });
    return true;
}

// Reads what changed, once no save of it is under way any more (platform/ChangeProtocol.h). The
// save of a process that died is waited for no longer than a second.
bool CChangeFollower::ReadFinished(CChanges* changes)
{
    constexpr int kAttempts = 50;
    constexpr std::chrono::milliseconds kMoment{20};
    for (int attempt = 0; ReadChanges(m_session.Manager(), m_type, m_version, changes); ++attempt) {
        if (attempt == kAttempts ||
            (!IsBeingSaved(changes->created) && !IsBeingSaved(changes->changed))) {
            return true;
        }
        std::this_thread::sleep_for(kMoment);
    }
    return false;
}

bool CChangeFollower::IsBeingSaved(const ContactMgr::CContactIdList& ids) const
{
    const std::size_t length = m_session.AddressBook().Folder().size();
    return std::any_of(ids.begin(), ids.end(), [&](const ContactMgr::CContactId& id) {
        std::string redo = m_session.AddressBook().FileOf(id);
        redo.insert(length, kRedoFolder);
        WIN32_FILE_ATTRIBUTE_DATA file;
        return GetFileAttributesExA(redo.c_str(), GetFileExInfoStandard, &file) != 0;
    });
}

// Drops a contact whose file has the time that it had when it was told, and a deletion that was
// told. A later change that has this time too was there before the line was printed.
void CChangeFollower::DropTold(ContactMgr::CContactIdList* ids, bool isDeletion)
{
    ContactMgr::CContactIdList rest;
    for (const ContactMgr::CContactId& id : *ids) {
        WIN32_FILE_ATTRIBUTE_DATA file;
        GetFileAttributesExA(m_session.AddressBook().FileOf(id).c_str(), GetFileExInfoStandard,
                             &file);
        CTold& told = m_told[id.ToString()];
        if (told.isDeletion != isDeletion || (!isDeletion && told.time != file.ftLastWriteTime)) {
            rest.AddTail(id);
        }
        told = {file.ftLastWriteTime, isDeletion};
    }
    *ids = rest;
}

// A report between the creation of a contact and its first save makes the next one tell it as
// changed, or as deleted without a word before.
void CChangeFollower::TellNewOnesAsCreated(CChanges* changes)
{
    for (const ContactMgr::CContactId& id : changes->created) {
        m_created.insert(id.ToString());
    }
    ContactMgr::CContactIdList changed;
    for (const ContactMgr::CContactId& id : changes->changed) {
        const bool isNew = IsMadeSinceBegin(id) && m_created.insert(id.ToString()).second;
        (isNew ? changes->created : changed).AddTail(id);
    }
    ContactMgr::CContactIdList deleted;
    for (const ContactMgr::CContactId& id : changes->deleted) {
        if (!IsMadeSinceBegin(id) || m_created.contains(id.ToString())) {
            deleted.AddTail(id);
        }
    }
    changes->changed = changed;
    changes->deleted = deleted;
}

bool CChangeFollower::IsMadeSinceBegin(const ContactMgr::CContactId& id) const
{
    WIN32_FIND_DATA entry;
    const CFindHandle search(FindFirstFileA(m_session.AddressBook().FileOf(id).c_str(), &entry));
    return search.IsOpen() && GetEntryCreationTime(search.Get(), entry) > m_begin;
}
