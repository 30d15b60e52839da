#pragma once

#include "core/ContactPlg.h"
#include "server/MailOwner.h"

#include <string>

class CMailbox;

inline namespace contactmgr_internal
{

// The personal address book of a mailbox: the contact files (pab/PABContact.h) in the folder
// "Contacts" of its message store. It is the only store where contacts are made. The folder's
// last-write time is the store's version. A folder that does not exist is an empty store; the first
// CreateContact makes it.
//
// The plug-in keeps where the folder lies and nothing else: several threads and processes may use
// one folder at once through plug-ins of their own. Where memory ends the operations throw
// std::bad_alloc.
class CPABPlugin final : public CContactPlg
{
public:
    // A new plug-in for the mailbox, or null with the last error of the mailbox's owner. Release
    // destroys what Create gave, after all that came from it; the last error stays.
    static CContactPlg* Create(CMailbox& mailbox);
    static void Release(CContactPlg* plugin);

    // Touches nothing on disk. The owner makes the message store where that is a folder of its own;
    // without one the folder in front of the root directory must be there.
    explicit CPABPlugin(std::string rootDirectory, const CMailOwner& owner = {});
    ~CPABPlugin() = default;

    std::string GetPluginType() override;
    bool OwnsContact(ContactMgr::CContactId id) override;

    // Last errors as CPABContact::Open.
    bool OpenContact(ContactMgr::CContactId id, CContact** contact) override;

    // Claims the next number and makes its file, which stays empty until the first Save. Numbers
    // run from 1 to 0x7FFFFFFE and are never given twice; one whose creation failed is used up.
    // With a template its supported properties and its four lists are copied. If one of them cannot
    // be read or set, the result is null and a partial contact stays behind. Last error
    // ERROR_INVALID_PARAMETER (87): no number could be claimed; else of the folder or the file.
    CContact* CreateContact(CContact* contact) override;

    // Empties the contact's file. Last errors as CPABContact::Delete.
    bool DeleteContact(ContactMgr::CContactId id) override;

    // Compares file times and lengths and opens no contact file (pab/ChangeReport.h).
    // CContactMgr::ChangesSince tells what the lists hold. A contact that is made during the report
    // may be left to the next one. A follower begins with version 0, since what a walk shows may be
    // newer than the walk's version. The report may move the folder's time, if this process may.
    // Last error ERROR_INVALID_PARAMETER (87): a null pointer; after another failure, with its
    // code, the lists keep what was found so far.
    bool ChangesSince(FILETIME since, FILETIME* version, ContactMgr::CContactIdList* deleted,
                      ContactMgr::CContactIdList* changed,
                      ContactMgr::CContactIdList* created) override;

    // The enumerator must not outlive the plug-in.
    CContactPlg::CContactEnumerator* GetEnumerator() override;

private:
    bool EnsureRootDirectory() const;
    std::uint32_t AllocateContactNumber();

    const std::string m_rootDirectory;
    const CMailOwner m_owner;
};

} // namespace contactmgr_internal
