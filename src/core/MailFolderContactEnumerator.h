#pragma once

#include "core/ContactPlg.h"
#include "server/MailFolder.h"
#include "server/MailOwner.h"

#include <memory>

class CMailbox;

inline namespace contactmgr_internal
{

// What the walks through the messages of a mail folder share. A version is the folder's
// (server/MailFolder.h). The mailbox stays the caller's.
class CMailFolderContactEnumerator : public CContactPlg::CContactEnumerator
{
public:
    explicit CMailFolderContactEnumerator(CMailbox& mailbox) : m_mailbox(mailbox) {}
    ~CMailFolderContactEnumerator() override;

    bool IsStarted() override { return m_started; }
    bool Finish() override;
    FILETIME GetVersion() override { return m_version; }
    CContact* GetCurrent() override { return m_current.get(); }
    CContactPlg::Counts GetPassedOver() override { return m_passedOver; }

protected:
    // Ends the walk before, and opens the mailbox's owner.
    bool OpenOwner();

    // Begins the walk through the open folder. Nothing new since the version: true, with last error
    // ERROR_ALREADY_INITIALIZED (1247), and nothing started.
    bool StartWalk(const FILETIME* version);

    // Ends a Start that succeeds: tells whether a walk is open, and with an open walk puts the last
    // error back to what it was before. True.
    bool FinishStart(std::uint32_t before, bool* changed);

    // The next message of the walk, as CMailFolder::FindNextMessage.
    bool FindNext(_tMailFolderMessageInfo* info);

    // For a message that gave no contact, with the reason in the last error: ERROR_SUCCESS (0) for
    // one that has none. One that could not be read is counted, or a fault, unless it has gone.
    // False if the walk cannot go on: ERROR_NOT_ENOUGH_MEMORY (8).
    bool PassOver(const _tMailFolderMessageInfo& info);

    void AddFault(const _tMailFolderMessageInfo& info, std::uint32_t error, bool endsStore);

    CMailbox& m_mailbox;
    CMailboxMailOwner m_owner;
    CMailFolder m_folder;
    std::unique_ptr<CContact> m_current;

private:
    FILETIME m_version;
    bool m_started = false;
    CContactPlg::Counts m_passedOver;
};

} // namespace contactmgr_internal
