#include "sync/SyncReader.h"

#include "base/Session.h"
#include "base/Stores.h"
#include "cards/CardContent.h"
#include "cards/Digest.h"
#include "cards/Uid.h"
#include "sync/SyncCards.h"
#include "text/Utf8.h"

#include <algorithm>

namespace
{

const CSyncedCard* Find(const std::map<std::string, const CSyncedCard*>& known,
                        const std::string& key)
{
    const auto found = known.find(key);
    return found == known.end() ? nullptr : found->second;
}

// Cards that were known before keep their UIDs, whoever else has taken one of them since.
template <class Card, class Key>
void PutKnownFirst(std::vector<Card>* cards, const std::map<std::string, const CSyncedCard*>& known,
                   Key key)
{
    std::stable_partition(cards->begin(), cards->end(), [&](const Card& card) {
        const CSyncedCard* const before = Find(known, card.*key);
        return before != nullptr && before->uid == card.uid;
    });
}

} // namespace

bool CSyncReader::Read(bool acceptsEmpty)
{
    m_next.mailbox = m_session.Owner();
    for (const CSyncedCard& card : m_before.cards) {
        if (!card.id.empty()) {
            m_byId[card.id] = &card;
        }
        if (!card.file.empty()) {
            m_byFile[card.file] = &card;
        }
    }
    if (!ReadOurs() || !ReadTheirs()) {
        return false;
    }
    if (!acceptsEmpty &&
        ((m_ours.empty() && !m_hasLostContact &&
          RefuseEmpty("the address book", &CSyncedCard::ours)) ||
         (m_theirs.empty() && !m_hasLostFile && RefuseEmpty("the folder", &CSyncedCard::theirs)))) {
        return false;
    }
    ClaimOurUids();
    ClaimTheirUids();
    return true;
}

// True if the state knows cards of a side. Those that a run was only about to write do not count.
bool CSyncReader::RefuseEmpty(const char* side, std::vector<std::string> CSyncedCard::*digests)
{
    const auto count = std::ranges::count_if(m_before.cards, [&](const CSyncedCard& card) {
        return std::ranges::find(card.*digests, "") == (card.*digests).end();
    });
    if (count == 0) {
        return false;
    }
    m_session.Report().Refusal("sync " + m_vdir.Folder(),
                               std::string(side) + " is empty, and had " + std::to_string(count) +
                                   " cards: is its disk there? --force-delete deletes them on the "
                                   "other side too");
    return true;
}

bool CSyncReader::ReadChanges(std::set<std::string>* changed)
{
    ContactMgr::CContactIdList deletedIds;
    ContactMgr::CContactIdList changedIds;
    ContactMgr::CContactIdList createdIds;
    if (!Try([&] {
            return m_session.Manager().ChangesSince(std::string(kAddressBook), m_before.version,
                                                    &m_next.version, &deletedIds, &changedIds,
                                                    &createdIds);
        })) {
        return m_session.Report().Failure("changes of " + m_session.MailboxName());
    }
    for (const auto* const ids : {&changedIds, &createdIds}) {
        for (const ContactMgr::CContactId& id : *ids) {
            changed->insert(id.ToString());
        }
    }
    return true;
}

// A contact that did not change since the last run is not opened.
bool CSyncReader::ReadOurs()
{
    std::set<std::string> changed;
    std::vector<std::string> ids;
    if (!ReadChanges(&changed) || !m_session.ListAddressBook(&ids)) {
        return false;
    }
    for (const std::string& id : ids) {
        const CSyncedCard* const known = Find(m_byId, id);
        if (known != nullptr && !changed.contains(id) && known->ours.size() == 1 &&
            !known->isUnread) {
            m_ours.push_back({id, known->uid, known->ours.back()});
        } else {
            ReadContact(id, known);
        }
    }
    return true;
}

void CSyncReader::ReadContact(const std::string& id, const CSyncedCard* known)
{
    const std::unique_ptr<CContact> contact = m_session.OpenListed("sync", id);
    if (contact == nullptr) {
        if (m_session.AddressBook().StateOf(id) == CAddressBook::EFile::kFilled) {
            LoseContact(known);
        }
        return;
    }
    CVCard card;
    if (!Try([&] { return ReadOutgoingCard(*contact, &card); })) {
        m_session.Report().Failure("sync " + id);
        LoseContact(known);
        return;
    }
    if (IsGroupCard(card)) {
        if (known != nullptr) {
            LeaveOut(*known);
        }
        return;
    }
    const std::string stored = StoredUid(card);
    m_ours.push_back({id, stored.empty() ? DerivedUid(m_session.Owner(), id) : stored,
                      ContentDigest(card), !stored.empty()});
}

void CSyncReader::LoseContact(const CSyncedCard* known)
{
    if (known == nullptr) {
        m_hasLostContact = true;
        return;
    }
    LeaveOut(*known);
}

void CSyncReader::LeaveOut(const CSyncedCard& known)
{
    if (m_leftOut.insert(known.uid).second) {
        m_next.cards.push_back(known);
        m_next.cards.back().isUnread = true;
    }
}

bool CSyncReader::ReadTheirs()
{
    std::map<std::string, CFileMark> files;
    if (!Try([&] { return m_vdir.List(&files); })) {
        return m_session.Report().Failure("list " + m_vdir.Folder());
    }
    for (const auto& [file, mark] : files) {
        const CSyncedCard* const known = Find(m_byFile, file);
        const auto passed = m_before.passed.find(file);
        if (known != nullptr && known->mark == mark && known->theirs.size() == 1) {
            m_theirs.push_back({file, mark, known->uid, known->theirs.back()});
        } else if (passed != m_before.passed.end() && passed->second == mark) {
            LeaveGroup(file, mark, known);
        } else {
            ReadFile(file, known);
        }
    }
    return true;
}

void CSyncReader::ReadFile(const std::string& file, const CSyncedCard* known)
{
    std::string text;
    CFileMark mark;
    std::u16string wide;
    if (!Utf8ToWide(file, &wide)) {
        LeaveFile(file, known, "its name is no UTF-8");
        return;
    }
    if (!Try([&] { return m_vdir.Read(file, &text, &mark); })) {
        if (!IsMissingFile(GetLastError()) || m_vdir.Exists(file)) {
            LeaveFile(file, known, LastErrorText(GetLastError()));
        }
        return;
    }
    CVCard card;
    std::string fault;
    if (!ReadTheirCard(text, &card, &fault)) {
        LeaveFile(file, known, fault);
        return;
    }
    if (IsGroupCard(card)) {
        m_session.Report().Note("sync " + file, "a group of contacts, left alone");
        LeaveGroup(file, mark, known);
        return;
    }
    std::string digest;
    if (!Try([&] { return StoredDigest(card, &digest); })) {
        LeaveFile(file, known, "the address book does not take it");
        return;
    }
    const std::string uid = StoredUid(card);
    // The same until somebody changes the file: a run that dies and the next one agree.
    m_theirs.push_back({file, mark,
                        uid.empty() ? NameBasedUuid("file/" + file + '/' + digest) : uid, digest,
                        uid.empty()});
}

void CSyncReader::LeaveFile(const std::string& file, const CSyncedCard* known, std::string_view why)
{
    m_session.Report().Refusal("sync " + file, std::string(why) + "; left alone");
    if (known == nullptr) {
        m_hasLostFile = true;
        return;
    }
    LeaveOut(*known);
}

void CSyncReader::LeaveGroup(const std::string& file, const CFileMark& mark,
                             const CSyncedCard* known)
{
    m_next.passed.emplace(file, mark);
    if (known != nullptr) {
        LeaveOut(*known);
    }
}

// Of two contacts with one UID the second goes out with the one that its identifier gives.
void CSyncReader::ClaimOurUids()
{
    PutKnownFirst(&m_ours, m_byId, &COurCard::id);
    std::set<std::string> taken;
    std::vector<COurCard> claimed;
    for (COurCard& card : m_ours) {
        if (taken.contains(card.uid)) {
            card.uid = DerivedUid(m_session.Owner(), card.id);
        }
        if (taken.insert(card.uid).second) {
            claimed.push_back(std::move(card));
        } else {
            m_session.Report().Refusal("sync " + card.id, "another contact has its UID");
        }
    }
    m_ours = std::move(claimed);
}

void CSyncReader::ClaimTheirUids()
{
    PutKnownFirst(&m_theirs, m_byFile, &CTheirCard::file);
    std::map<std::string, std::string> taken;
    std::vector<CTheirCard> claimed;
    for (CTheirCard& card : m_theirs) {
        const auto [other, isFirst] = taken.emplace(card.uid, card.file);
        if (isFirst) {
            claimed.push_back(std::move(card));
        } else {
            m_session.Report().Refusal("sync " + card.file,
                                       "it has the UID of " + other->second + "; left alone");
            const CSyncedCard* const known = Find(m_byFile, card.file);
            if (known != nullptr && known->uid != card.uid) {
                LeaveOut(*known);
            }
        }
    }
    m_theirs = std::move(claimed);
}

// A new card may be the contact that could not be read, and a card that is gone the file.
bool CSyncReader::Waits(const CSyncAction& action) const
{
    return (m_hasLostContact && action.step == ESyncStep::kIn && !action.ours) ||
           (m_hasLostFile && action.step == ESyncStep::kRemoveContact);
}

void CSyncReader::TellWaiting(const CSyncAction& action)
{
    const bool isNew = action.step == ESyncStep::kIn;
    m_session.Report().Refusal("sync " + (isNew ? action.theirs->file : action.ours->id),
                               isNew ? "new, and waits for the contacts that cannot be read"
                                     : "not deleted, since there are files that cannot be read");
}

std::vector<CSyncAction> CSyncReader::Plan()
{
    const auto isLeftOut = [this](const auto& card) { return m_leftOut.contains(card.uid); };
    std::vector<CSyncedCard> known = m_before.cards;
    std::erase_if(known, isLeftOut);
    std::erase_if(m_ours, isLeftOut);
    std::erase_if(m_theirs, isLeftOut);
    std::vector<CSyncAction> plan = PlanSync(known, std::move(m_ours), std::move(m_theirs));
    for (const CSyncAction& action : plan) {
        if (Waits(action)) {
            TellWaiting(action);
        }
        if (Waits(action) && action.known) {
            m_next.cards.push_back(*action.known);
        }
    }
    std::erase_if(plan, [this](const CSyncAction& action) { return Waits(action); });
    return plan;
}
