#pragma once

#include "core/ContactPlg.h"
#include "pab/PABContact.h"
#include "platform/FileHandle.h"

#include <memory>
#include <string>

inline namespace contactmgr_internal
{

// Walks the contact files of an address book folder and opens each, in the order of the directory
// search. A file that does not open is passed over, stays as it is, and is among the faults:
// somebody holds it, it is damaged or no contact, or there is no room to complete a save that was
// cut short. The version is the folder's last-write time; a poll reads the folder's times and opens
// nothing.
//
// The current contact is locked while it lives. If it was changed, it is saved when the walk moves
// on. A resource; used by one thread at a time.
class CPABContactEnumerator : public CContactPlg::CContactEnumerator
{
public:
    // The string stays the plug-in's, which must outlive the enumerator.
    explicit CPABContactEnumerator(const std::string& rootDirectory);
    ~CPABContactEnumerator() override;

    // A folder that does not exist, or has no contact file, is no failure: true, and nothing to
    // walk. Last errors otherwise as the file operation left them.
    bool Start(const FILETIME* version, bool* changed) override;
    bool IsStarted() override { return m_search.IsOpen(); }
    bool Finish() override;
    FILETIME GetVersion() override { return m_version; }
    // False at the end of the folder and on an error of its listing alike.
    bool MoveNext() override;
    CContact* GetCurrent() override { return m_current.get(); }

private:
    bool Begin(const FILETIME* version, bool* changed);
    bool MoveToNextContact();
    bool OpenEntry();

    const std::string& m_rootDirectory;
    FILETIME m_version;
    CFindHandle m_search;
    bool m_isFirstPending = true;
    WIN32_FIND_DATA m_entry;
    std::unique_ptr<CPABContact> m_current;
};

} // namespace contactmgr_internal
