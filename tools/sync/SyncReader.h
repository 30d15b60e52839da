#pragma once

#include "cards/VCard.h"
#include "sync/SyncPlan.h"
#include "sync/Vdir.h"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

class CSession;

// Looks at both sides of a synchronization. What cannot be read is reported, and its card takes no
// part on either side; so nothing is taken for deleted. A resource, for one run.
class CSyncReader
{
public:
    // All three outlive the object.
    CSyncReader(CSession& session, const CVdir& vdir, const CSyncState& before)
        : m_session(session), m_vdir(vdir), m_before(before)
    {}
    CSyncReader(const CSyncReader&) = delete;
    CSyncReader& operator=(const CSyncReader&) = delete;

    // False if a side cannot be read at all, and if one is empty though the state knows its cards:
    // that is what a disk looks like that is not there.
    bool Read(bool acceptsEmpty);

    // After Read, once.
    std::vector<CSyncAction> Plan();

    // The state of the end, so far with those cards alone that take no part. After Plan.
    CSyncState TakeNext() { return std::move(m_next); }

private:
    using CKnown = std::map<std::string, const CSyncedCard*>;

    bool ReadChanges(std::set<std::string>* changed);
    bool ReadOurs();
    void ReadContact(const std::string& id, const CSyncedCard* known);
    void LoseContact(const CSyncedCard* known);
    bool ReadTheirs();
    void ReadFile(const std::string& file, const CSyncedCard* known);
    void LeaveFile(const std::string& file, const CSyncedCard* known, std::string_view why);
    void LeaveGroup(const std::string& file, const CFileMark& mark, const CSyncedCard* known);
    void LeaveOut(const CSyncedCard& known);
    void ClaimOurUids();
    void ClaimTheirUids();
    bool RefuseEmpty(const char* side, std::vector<std::string> CSyncedCard::*digests);
    bool Waits(const CSyncAction& action) const;
    void TellWaiting(const CSyncAction& action);

    CSession& m_session;
    const CVdir& m_vdir;
    const CSyncState& m_before;
    CSyncState m_next;
    CKnown m_byId;
    CKnown m_byFile;
    std::vector<COurCard> m_ours;
    std::vector<CTheirCard> m_theirs;
    std::set<std::string> m_leftOut; // UIDs
    // Something that could not be read, and that may be any card.
    bool m_hasLostContact = false;
    bool m_hasLostFile = false;
};
