#include "pab/ChangeReport.h"

#include "pab/PABContact.h"
#include "platform/Ascii.h"
#include "platform/FileHandle.h"
#include "platform/FileStamp.h"
#include "platform/FileTime.h"
#include "server/FileSystem.h"

#include <algorithm>

inline namespace contactmgr_internal
{

namespace
{

bool HasLength(const WIN32_FILE_ATTRIBUTE_DATA& file)
{
    return (file.nFileSizeLow | file.nFileSizeHigh) != 0;
}

} // namespace

CChangeReport::CChangeReport(const std::string& folder, const FILETIME& since,
                             ContactMgr::CContactIdList& deleted,
                             ContactMgr::CContactIdList& changed,
                             ContactMgr::CContactIdList& created)
    : m_folder(folder), m_since(since), m_deleted(deleted), m_changed(changed), m_created(created)
{}

bool CChangeReport::Draw(FILETIME* version)
{
    GetSystemTimeAsFileTime(&m_begin);
    WIN32_FILE_ATTRIBUTE_DATA folder;
    if (CFileSystem::GetFileAttributesExA(m_folder.c_str(), GetFileExInfoStandard, &folder) == 0) {
        if (!IsMissingFile(GetLastError())) {
            return false;
        }
        *version = m_since;
        return true;
    }
    ReadVersion(folder.ftLastWriteTime);
    *version = m_version;
    WIN32_FIND_DATA entry;
    CFindHandle search(FindFirstFileA((m_folder + "/*.vcf").c_str(), &entry));
    if (!search.IsOpen()) {
        return IsMissingFile(GetLastError());
    }
    if (!Walk(entry, search.Get())) {
        return false;
    }
    if (!m_atVersion.IsEmpty()) {
        MoveBehindCreations(version);
    }
    if (m_latest > m_version) {
        // I5: a process died behind its stamp. A failure here only delays the followers.
        MoveFolderTime(m_folder, m_latest, &m_latest);
    }
    return search.Close();
}

// When names change, the kernel sets the folder's time from a coarse clock, which may be earlier
// than a version that was already handed out. So the caller's version counts if it is later. But if
// that is later than the clock, a clock was wrong; then the latest version of the folder counts.
void CChangeReport::ReadVersion(const FILETIME& folderTime)
{
    m_version = std::max(folderTime, m_since);
    if (m_since > folderTime && m_since > m_begin) {
        m_version = folderTime;
        MoveFolderTime(m_folder, folderTime, &m_version);
    }
}

// I7: contacts that were made in the very tick of the version. The version moves on by one unit, if
// the clock has passed that, and they are told. Otherwise the next report begins before them.
void CChangeReport::MoveBehindCreations(FILETIME* version)
{
    const FILETIME next = FileTimeFromCount(FileTimeToCount(m_version) + 1);
    FILETIME latest;
    if (next <= m_begin && MoveFolderTime(m_folder, next, &latest)) {
        m_created.AddTail(m_atVersion);
        *version = next;
    } else {
        *version = std::max(m_since, FileTimeFromCount(FileTimeToCount(m_version) - 1));
    }
}

bool CChangeReport::Walk(WIN32_FIND_DATA& entry, HANDLE search)
{
    do {
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            Classify(entry, search);
        }
    } while (FindNextFileA(search, &entry) != 0);
    return GetLastError() == ERROR_NO_MORE_FILES;
}

void CChangeReport::Classify(const WIN32_FIND_DATA& entry, HANDLE search)
{
    if (entry.ftLastWriteTime <= m_since) {
        return;
    }
    const ContactMgr::CContactId id = CPABContact::FileNameToContactId(entry.cFileName);
    if (!EqualIgnoringCase(CPABContact::ContactIdToFileName(id), entry.cFileName)) {
        return;
    }
    if (entry.ftLastWriteTime <= m_begin) {
        m_latest = std::max(m_latest, entry.ftLastWriteTime);
    }
    const FILETIME creation = CreationOf(entry, search);
    const bool isLive = HasLength(entry);
    if (creation < m_since) {
        (isLive || HasLengthNow(entry) ? m_changed : m_deleted).AddTail(id);
    } else if (isLive && creation <= m_version) { // I7
        (creation < m_version ? m_created : m_atVersion).AddTail(id);
    }
}

// A creation is not later than the last write. So for a caller who knows nothing yet, only a file
// as late as the version needs its exact creation.
FILETIME CChangeReport::CreationOf(const WIN32_FIND_DATA& entry, HANDLE search) const
{
    return m_since == FILETIME() && entry.ftLastWriteTime < m_version
               ? entry.ftLastWriteTime
               : GetEntryCreationTime(search, entry);
}

// A first save moves the file's time an instant before its length. So a file that looks deleted is
// looked at a second time.
bool CChangeReport::HasLengthNow(const WIN32_FIND_DATA& entry) const
{
    WIN32_FILE_ATTRIBUTE_DATA now;
    const std::string path = m_folder + '/' + entry.cFileName;
    return CFileSystem::GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &now) != 0 &&
           HasLength(now);
}

} // namespace contactmgr_internal
