#pragma once

#include "core/ContactPlg.h"

#include <string>

class CMailbox;

// The personal address book of a mailbox: the contact files (pab/PABContact.h) in the folder
// "Contacts" of its message store, and the only store where contacts are made. The folder's
// last-write time is the store's version. A folder that does not exist is an empty store; the first
// CreateContact makes it.
//
// The plug-in keeps nothing but the path: several threads and processes use one folder at once
// through plug-ins of their own. Where memory ends the operations throw std::bad_alloc.
class CPABPlugin final : public CContactPlg
{
public:
    // A new plug-in for the mailbox, or null with the last error of the mailbox's owner. Release
    // destroys what Create gave, after all that came from it; the last error stays.
    static CContactPlg* Create(CMailbox& mailbox);
    static void Release(CContactPlg* plugin);

    // Touches nothing on disk.
    explicit CPABPlugin(std::string rootDirectory);
    ~CPABPlugin() = default;

    std::string GetPluginType() override;
    bool OwnsContact(ContactMgr::CContactId id) override;

    // Last errors as CPABContact::Open.
    bool OpenContact(ContactMgr::CContactId id, CContact** contact) override;

    // Claims the next number and makes its file, which stays empty until the first Save. Numbers
    // run from 1 to 0x7FFFFFFE and are never given twice; one whose creation failed is used up.
    // With a template its supported properties and its four lists are copied; one that cannot be
    // read or set gives null and leaves a partial contact behind. Last error 87: no number could be
    // claimed; else as the folder or the file left it.
    CContact* CreateContact(CContact* contact) override;

    // Empties the contact's file. Last errors as CPABContact::Delete.
    bool DeleteContact(ContactMgr::CContactId id) override;

    // Compares file times and lengths and opens no contact file (pab/ChangeReport.h). *version is
    // the folder's time as it was before the walk, and not earlier than since as long as that is
    // not later than the clock; the lists are appended to. Last error 87: a null pointer; after
    // another failure, with its code, the lists keep what was found so far.
    //
    // Created and deleted since the version reads as never there. One that is made while the report
    // is drawn up may be left to the next report. One that was made before the version and first
    // saved behind it is changed: a caller takes a changed contact that it does not know for a new
    // one, and passes over a deleted one that it does not know. It begins with version 0, since
    // what a walk shows may be newer than the walk's version. The report may move the folder's
    // time, if this process has the right to.
    bool ChangesSince(FILETIME since, FILETIME* version, ContactMgr::CContactIdList* deleted,
                      ContactMgr::CContactIdList* changed,
                      ContactMgr::CContactIdList* created) override;

    // The enumerator must not outlive the plug-in.
    CContactPlg::CContactEnumerator* GetEnumerator() override;

private:
    std::uint32_t AllocateContactNumber();

    const std::string m_rootDirectory;
};
