#include "sync/VdirExport.h"

#include "base/Session.h"
#include "base/Stores.h"
#include "cards/Uid.h"
#include "sync/SyncCards.h"
#include "sync/SyncState.h"

#include <map>
#include <memory>
#include <set>
#include <vector>

namespace
{

constexpr const char* kStateName = "/.contactmgr-export";

// One run of an export.
class CVdirExport
{
public:
    CVdirExport(CSession& session, const std::string& folder, const CCardWriter& write)
        : m_session(session), m_vdir(folder), m_write(write)
    {}

    bool Run();

private:
    bool Open();
    bool ReadBook(std::vector<std::string>* ids);
    bool IsUpToDate(const CSyncedCard& known, const std::string& id) const;
    void TakeContact(const std::string& id, const CSyncedCard* known);
    void KeepKnown(const CSyncedCard* known);
    std::string NameOf(const std::string& uid, const CSyncedCard* known) const;
    bool IsOwnFile(const std::string& file, const std::string& uid) const;
    void RemoveDeleted();
    bool Finish();

    CReport& Report() { return m_session.Report(); }

    CSession& m_session;
    CVdir m_vdir;
    const CCardWriter& m_write;
    CSyncState m_before;
    CSyncState m_next;
    std::map<std::string, const CSyncedCard*> m_known; // by the contacts
    std::map<std::string, CFileMark> m_files;
    std::set<std::string> m_changed;
    std::set<std::string> m_uids;
    std::vector<std::string> m_staged;
};

bool CVdirExport::Open()
{
    const std::string& folder = m_vdir.Folder();
    if (!Try([&] { return m_vdir.Make() && m_vdir.Open() && m_vdir.List(&m_files); })) {
        return Report().Failure("export to " + folder);
    }
    if (!Try([&] { return ReadSyncState(folder + kStateName, &m_before); }) &&
        !IsMissingFile(GetLastError())) {
        return Report().Failure("read " + folder + kStateName);
    }
    return m_before.mailbox.empty() || m_before.mailbox == m_session.Owner() ||
           Report().Refusal("export to " + folder, "it has the contacts of " + m_before.mailbox);
}

bool CVdirExport::ReadBook(std::vector<std::string>* ids)
{
    ContactMgr::CContactIdList deleted;
    ContactMgr::CContactIdList changed;
    if (!Try([&] {
            return m_session.Manager().ChangesSince(std::string(kAddressBook), m_before.version,
                                                    &m_next.version, &deleted, &changed, &changed);
        })) {
        return Report().Failure("changes of " + m_session.MailboxName());
    }
    for (const ContactMgr::CContactId& id : changed) {
        m_changed.insert(id.ToString());
    }
    for (const CSyncedCard& card : m_before.cards) {
        m_known[card.id] = &card;
    }
    return m_session.ListAddressBook(ids);
}

bool CVdirExport::IsUpToDate(const CSyncedCard& known, const std::string& id) const
{
    return !m_changed.contains(id) && !known.isUnread && m_files.contains(known.file);
}

bool CVdirExport::IsOwnFile(const std::string& file, const std::string& uid) const
{
    std::string text;
    CFileMark mark;
    return m_vdir.Read(file, &text, &mark) && StoredUid(ReadVCard(text)) == uid;
}

// The name that the contact's file has, or a new one: that of the UID, unless another card has it.
std::string CVdirExport::NameOf(const std::string& uid, const CSyncedCard* known) const
{
    if (known != nullptr && known->uid == uid) {
        return known->file;
    }
    std::string name = VdirNameOf(uid);
    for (int i = 2; m_files.contains(name) && !IsOwnFile(name, uid); ++i) {
        name = VdirNameOf(uid + '-' + std::to_string(i));
    }
    return name;
}

// The contact is there, but its file stays as it was, and the next run tries again.
void CVdirExport::KeepKnown(const CSyncedCard* known)
{
    if (known != nullptr) {
        m_next.cards.push_back(*known);
        m_next.cards.back().isUnread = true;
    }
}

void CVdirExport::TakeContact(const std::string& id, const CSyncedCard* known)
{
    const std::unique_ptr<CContact> contact = m_session.OpenListed("export", id);
    CVCard card;
    if (contact == nullptr || !Try([&] { return ReadOutgoingCard(*contact, &card); })) {
        if (contact != nullptr) {
            Report().Failure("export " + id);
        }
        if (m_session.AddressBook().StateOf(id) == CAddressBook::EFile::kFilled) {
            KeepKnown(known);
        }
        return;
    }
    std::string uid = UidOf(card, m_session.Owner(), id);
    if (!m_uids.insert(uid).second) {
        uid = DerivedUid(m_session.Owner(), id);
        m_uids.insert(uid);
    }
    if (StoredUid(card) != uid) {
        SetUid(uid, &card);
    }
    CSyncedCard next = {id, uid, NameOf(uid, known), {}, {}, {}};
    if (!Try([&] { return m_vdir.Stage(next.file, m_write(card), &next.mark); })) {
        Report().Failure("write " + m_vdir.Folder() + '/' + next.file);
        KeepKnown(known);
        return;
    }
    m_files.emplace(next.file, next.mark);
    m_staged.push_back(next.file);
    m_next.cards.push_back(std::move(next));
}

void CVdirExport::RemoveDeleted()
{
    std::set<std::string> files;
    for (const CSyncedCard& card : m_next.cards) {
        files.insert(card.file);
    }
    for (const CSyncedCard& card : m_before.cards) {
        if (files.contains(card.file) || !m_files.contains(card.file)) {
            continue;
        }
        if (!m_vdir.IsStill(card.file, &card.mark)) {
            Report().Note("export to " + m_vdir.Folder(),
                          card.file + " was changed here, left alone; its contact is deleted");
        } else if (!Try([&] { return m_vdir.Remove(card.file); })) {
            Report().Failure("remove " + m_vdir.Folder() + '/' + card.file);
        }
    }
}

bool CVdirExport::Finish()
{
    if (!m_staged.empty() && !Try([&] { return m_vdir.FlushStaged(); })) {
        return Report().Failure("flush " + m_vdir.Folder());
    }
    for (const std::string& file : m_staged) {
        if (!Try([&] { return m_vdir.Commit(file); })) {
            return Report().Failure("write " + m_vdir.Folder() + '/' + file);
        }
    }
    RemoveDeleted();
    m_next.mailbox = m_session.Owner();
    return m_next == m_before || Try([&] {
               return m_vdir.Flush() && WriteSyncState(m_vdir.Folder() + kStateName, m_next);
           }) ||
           Report().Failure("write " + m_vdir.Folder() + kStateName);
}

bool CVdirExport::Run()
{
    std::vector<std::string> ids;
    if (!Open() || !ReadBook(&ids)) {
        return false;
    }
    std::vector<std::string> toWrite;
    for (const std::string& id : ids) {
        const auto known = m_known.find(id);
        if (known == m_known.end() || !IsUpToDate(*known->second, id)) {
            toWrite.push_back(id);
            continue;
        }
        const CSyncedCard& card = *known->second;
        if (m_files[card.file] != card.mark) {
            Report().Note("export to " + m_vdir.Folder(),
                          card.file + " was changed here, left alone");
        }
        m_uids.insert(card.uid);
        m_next.cards.push_back(card);
    }
    for (const std::string& id : toWrite) {
        const auto known = m_known.find(id);
        TakeContact(id, known == m_known.end() ? nullptr : known->second);
    }
    return Finish();
}

} // namespace

bool ExportVdir(CSession& session, const std::string& folder, const CCardWriter& write)
{
    return CVdirExport(session, folder, write).Run();
}
