#pragma once

#include "core/ContactId.h"
#include "platform/FileSearch.h"

#include <string>

inline namespace contactmgr_internal
{

// What became of the contacts of an address book folder since a version: one walk of the folder
// that compares the times and lengths of its files and opens none (platform/ChangeProtocol.h, I5 to
// I7). A resource, for one report.
class CChangeReport
{
public:
    // The lists are appended to; they and the folder's path must outlive the report.
    CChangeReport(const std::string& folder, const FILETIME& since,
                  ContactMgr::CContactIdList& deleted, ContactMgr::CContactIdList& changed,
                  ContactMgr::CContactIdList& created);
    CChangeReport(const CChangeReport&) = delete;
    CChangeReport& operator=(const CChangeReport&) = delete;

    // *version is where the next report begins: the folder's time before the walk. It is `since`
    // instead if the folder's time is earlier, unless `since` is later than the clock, and if there
    // is no folder. After false, with the last error set, the lists keep what was found so far.
    bool Draw(FILETIME* version);

private:
    void ReadVersion(const FILETIME& folderTime);
    bool Walk(WIN32_FIND_DATA& entry, HANDLE search);
    void Classify(const WIN32_FIND_DATA& entry, HANDLE search);
    FILETIME CreationOf(const WIN32_FIND_DATA& entry, HANDLE search) const;
    bool HasLengthNow(const WIN32_FIND_DATA& entry) const;
    void MoveBehindCreations(FILETIME* version);

    const std::string& m_folder;
    const FILETIME m_since;
    ContactMgr::CContactIdList& m_deleted;
    ContactMgr::CContactIdList& m_changed;
    ContactMgr::CContactIdList& m_created;
    ContactMgr::CContactIdList m_atVersion; // created at the very version
    FILETIME m_begin;                       // by the clock
    FILETIME m_version;
    FILETIME m_latest; // the latest time of a file that is not ahead of the clock
};

} // namespace contactmgr_internal
