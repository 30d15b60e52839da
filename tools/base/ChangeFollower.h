#pragma once

#include "core/ContactMgr.h"

#include <map>
#include <optional>
#include <set>
#include <string>

class CSession;

// A report of changes (CContactMgr::ChangesSince). A value.
struct CChanges
{
    FILETIME version; // to hand in the next time
    ContactMgr::CContactIdList deleted;
    ContactMgr::CContactIdList changed;
    ContactMgr::CContactIdList created;

    bool IsEmpty() const { return deleted.IsEmpty() && changed.IsEmpty() && created.IsEmpty(); }
};

// In place of what was there. False with the last error of ChangesSince.
bool ReadChanges(CContactMgr& manager, const std::string& type, const FILETIME& since,
                 CChanges* changes);

// Follows the contacts of the address book. Each change is told once: a report that is drawn during
// a save would tell it, and so would the next one. A contact that is made while it is followed is
// told as created first, also if it is saved later. A resource; the session outlives it.
class CChangeFollower
{
public:
    CChangeFollower(CSession& session, std::string type);
    CChangeFollower(const CChangeFollower&) = delete;
    CChangeFollower& operator=(const CChangeFollower&) = delete;

    // What changed since a version; without one nothing but the present version. False with the
    // last error of ChangesSince, as below.
    bool Begin(const std::optional<FILETIME>& since, CChanges* changes);

    // What changed since the last report; may be nothing.
    bool Next(CChanges* changes);

private:
    // What was told of a contact and may be told in the next report too.
    struct CTold
    {
        FILETIME time; // of the file
        bool isDeletion = false;
    };

    bool ReadFinished(CChanges* changes);
    bool IsBeingSaved(const ContactMgr::CContactIdList& ids) const;
    void DropTold(ContactMgr::CContactIdList* ids, bool isDeletion);
    void TellNewOnesAsCreated(CChanges* changes);
    bool IsMadeSinceBegin(const ContactMgr::CContactId& id) const;

    CSession& m_session;
    const std::string m_type;
    FILETIME m_begin; // the first version
    FILETIME m_version;
    std::map<std::string, CTold> m_told; // by identifiers
    std::set<std::string> m_created;     // the contacts made since the first version that were told
};
