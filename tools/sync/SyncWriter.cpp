#include "sync/SyncWriter.h"

#include "base/Session.h"
#include "cards/CardContent.h"
#include "cards/StoredCard.h"
#include "cards/Uid.h"
#include "sync/SyncCards.h"

#include <algorithm>
#include <utility>

namespace
{

// Lines that count the writes of this very contact; what came with a card is another's.
constexpr const char* kOwnLines[] = {"X-LARKMERE-WSSVERSION", "X-LARKMERE-WSSREPLICATIONID"};

void PutOwnLines(const CVCard& ours, CVCard* card)
{
    for (const char* const name : kOwnLines) {
        std::erase_if(*card, [name](const CVCardLine& line) { return line.name == name; });
        const CVCardLine* const own = FindLine(ours, name);
        if (own != nullptr) {
            card->push_back(*own);
        }
    }
}

void Tell(const char* direction, const char* what, const std::string& id, const std::string& file)
{
    Print(std::string(direction) + ' ' + what + ' ' + (id.empty() ? "-" : id) + ' ' +
          (file.empty() ? "-" : ToField(file)) + '\n');
}

std::string IdOf(const CSyncAction& action)
{
    return action.ours ? action.ours->id : action.known ? action.known->id : std::string();
}

std::string FileOf(const CSyncAction& action)
{
    return action.theirs ? action.theirs->file : action.known ? action.known->file : std::string();
}

bool NeedsWork(const CSyncAction& action)
{
    return action.step != ESyncStep::kNothing || (action.theirs && action.theirs->lacksUid);
}

} // namespace

void PrintPlan(const std::vector<CSyncAction>& plan)
{
    for (const CSyncAction& action : plan) {
        const std::string id = IdOf(action);
        const std::string file = FileOf(action);
        switch (action.step) {
        case ESyncStep::kNothing:
            break;
        case ESyncStep::kOut:
            Tell("out", action.theirs ? "changed" : "created", id, file);
            break;
        case ESyncStep::kIn:
            Tell("in", action.ours ? "changed" : "created", id, file);
            break;
        case ESyncStep::kRemoveFile:
            Tell("out", "deleted", id, file);
            break;
        case ESyncStep::kRemoveContact:
            Tell("in", "deleted", id, file);
            break;
        case ESyncStep::kConflict:
            Tell("both", "conflict", id, file);
            break;
        }
    }
}

CSyncWriter::CSyncWriter(CSession& session, CVdir& vdir, std::string statePath, CSyncState next)
    : m_session(session), m_vdir(vdir), m_statePath(std::move(statePath)), m_next(std::move(next))
{}

CSyncWriter::~CSyncWriter() = default;

bool CSyncWriter::Run(std::vector<CSyncAction> plan, const CSyncState& before)
{
    const bool hasWork = std::ranges::any_of(plan, NeedsWork);
    for (CSyncAction& action : plan) {
        std::optional<CSyncedCard> card =
            action.step == ESyncStep::kConflict ? action.known : std::optional(PendingCard(action));
        if (card && action.step == ESyncStep::kConflict) {
            card->isUnread = true;
        }
        m_works.push_back({std::move(action), std::move(card)});
    }
    const FILETIME version = m_next.version;
    m_written = before;
    if (hasWork && (!WriteState(before.version) || !ChangeBook(before.version) || !ChangeFiles())) {
        return false;
    }
    return WriteState(version);
}

// The state of now, if it differs from the one that was written last.
bool CSyncWriter::WriteState(const FILETIME& version)
{
    CSyncState state = m_next;
    state.version = version;
    for (const CWork& work : m_works) {
        if (work.card) {
            state.cards.push_back(*work.card);
        }
    }
    std::ranges::sort(state.cards, {}, &CSyncedCard::uid);
    if (state == m_written) {
        return true;
    }
    if (!Try([&] { return WriteSyncState(m_statePath, state); })) {
        return m_session.Report().Failure("write " + m_statePath);
    }
    m_written = std::move(state);
    return true;
}

bool CSyncWriter::ChangeBook(const FILETIME& version)
{
    std::vector<CWork> added;
    std::vector<CWork*> conflicts;
    for (CWork& work : m_works) {
        CWork own;
        if (work.action.step == ESyncStep::kIn) {
            TakeIn(work);
        } else if (work.action.step == ESyncStep::kRemoveContact) {
            RemoveContact(work);
        } else if (work.action.step == ESyncStep::kConflict && KeepTheirs(work.action, &own)) {
            conflicts.push_back(&work);
            if (own.card) {
                added.push_back(std::move(own));
            }
        }
    }
    if (m_isBookChanged && !Try([&] { return m_session.AddressBook().Flush(); })) {
        return m_session.Report().Failure("flush the contacts of " + m_session.MailboxName());
    }
    for (CWork* const work : conflicts) {
        work->card = PendingCard(work->action);
        work->action.step = ESyncStep::kOut;
    }
    std::ranges::move(added, std::back_inserter(m_works));
    return conflicts.empty() || WriteState(version);
}

// Null if the contact has changed since the plan was made.
std::unique_ptr<CContact> CSyncWriter::OpenUnchanged(const CSyncAction& action, CVCard* card)
{
    std::unique_ptr<CContact> contact = m_session.OpenListed("sync", action.ours->id);
    if (contact != nullptr && !Try([&] { return ReadOutgoingCard(*contact, card); })) {
        m_session.Report().Failure("sync " + action.ours->id);
        return nullptr;
    }
    if (contact != nullptr && ContentDigest(*card) != action.ours->digest) {
        return nullptr;
    }
    return contact;
}

std::unique_ptr<CContact> CSyncWriter::TakeNew(const std::string& what)
{
    std::unique_ptr<CContact> contact(
        Try([&] { return m_session.Manager().CreateContact(nullptr); }));
    if (contact == nullptr) {
        m_session.FailCreation(what);
    }
    return contact;
}

bool CSyncWriter::Save(CContact& contact, const CVCard& card, const std::string& what)
{
    m_isBookChanged = true;
    return Try([&] { return contact.FromString(WriteVCard(card)) && contact.Save(); }) ||
           m_session.Report().Failure(what);
}

// The identifier of the contact that their card has become; empty if it has not. *digest is what
// the contact holds now.
std::string CSyncWriter::StoreTheirs(const CSyncAction& action, const std::string& uid, bool isNew,
                                     std::string* digest)
{
    const std::string what = "sync " + action.theirs->file;
    std::string text;
    std::string fault;
    CFileMark mark;
    CVCard card;
    CVCard ours;
    if (!Try([&] { return m_vdir.Read(action.theirs->file, &text, &mark); }) ||
        mark != action.theirs->mark || !ReadTheirCard(text, &card, &fault)) {
        return {};
    }
    const std::unique_ptr<CContact> contact = isNew ? TakeNew(what) : OpenUnchanged(action, &ours);
    if (contact == nullptr) {
        return {};
    }
    if (StoredUid(card) != uid) {
        SetUid(uid, &card);
    }
    PutOwnLines(ours, &card);
    if (!Save(*contact, card, what) || !ReadOutgoingCard(*contact, &ours)) {
        return {};
    }
    *digest = ContentDigest(ours);
    return contact->GetId().ToString();
}

void CSyncWriter::TakeIn(CWork& work)
{
    const bool isNew = !work.action.ours;
    std::string digest;
    const std::string id = StoreTheirs(work.action, work.action.uid, isNew, &digest);
    if (!id.empty()) {
        work.card->id = id;
        SetDone(work.action, digest, work.action.TheirDigest(), &*work.card);
        Tell("in", isNew ? "created" : "changed", id, work.action.theirs->file);
    }
}

void CSyncWriter::RemoveContact(CWork& work)
{
    const std::string& id = work.action.ours->id;
    CHeldCard held;
    if (!m_session.Patience().Try([&] { return held.Hold(m_session.AddressBook().FileOf(id)); })) {
        m_session.FailContact("sync: delete", id);
        return;
    }
    std::string digest;
    if (!Try([&] { return StoredDigest(ReadVCard(held.Text()), &digest); })) {
        m_session.Report().Failure("sync: delete " + id);
        return;
    }
    if (digest != work.action.ours->digest) {
        return; // changed since the plan was made
    }
    m_isBookChanged = true;
    if (!Try([&] { return held.Delete(); })) {
        m_session.FailContact("sync: delete", id);
        return;
    }
    work.card.reset();
    Tell("in", "deleted", id, FileOf(work.action));
}

// Makes their card of a conflict a contact of its own, unless an earlier run has done so. False if
// it could not.
bool CSyncWriter::KeepTheirs(const CSyncAction& action, CWork* added)
{
    const std::string uid = ConflictUid(action);
    const auto earlier = std::ranges::find_if(
        m_works, [&uid](const CWork& work) { return work.action.uid == uid && work.action.ours; });
    std::string id = earlier == m_works.end() ? std::string() : earlier->action.ours->id;
    if (id.empty()) {
        std::string digest;
        id = StoreTheirs(action, uid, true, &digest);
        added->action = {ESyncStep::kOut, uid, {}, COurCard{id, uid, digest}, {}};
        added->card = PendingCard(added->action);
    }
    if (id.empty()) {
        return false;
    }
    Tell("both", "conflict", action.ours->id, action.theirs->file + ' ' + id);
    return true;
}

bool CSyncWriter::ChangeFiles()
{
    std::map<std::string, CFileMark> files;
    if (!Try([&] { return m_vdir.List(&files); })) {
        return m_session.Report().Failure("list " + m_vdir.Folder());
    }
    for (const auto& [file, mark] : files) {
        m_names.insert(file);
    }
    for (std::size_t i = 0; i < m_works.size(); ++i) {
        const CSyncAction& action = m_works[i].action;
        if (action.step == ESyncStep::kOut) {
            StageFile(i);
        } else if (action.theirs && action.theirs->lacksUid && m_works[i].card) {
            StageUid(i);
        }
    }
    if (!m_staged.empty() && !Try([&] { return m_vdir.FlushStaged(); })) {
        return m_session.Report().Failure("flush " + m_vdir.Folder());
    }
    std::ranges::for_each(m_staged, [this](const CStaged& staged) { Commit(staged); });
    for (CWork& work : m_works) {
        if (work.action.step == ESyncStep::kRemoveFile) {
            RemoveFile(work);
        }
    }
    return Try([&] { return m_vdir.Flush(); }) ||
           m_session.Report().Failure("flush " + m_vdir.Folder());
}

void CSyncWriter::StageFile(std::size_t index)
{
    const CSyncAction& action = m_works[index].action;
    CVCard card;
    if (OpenUnchanged(action, &card) == nullptr) {
        return;
    }
    if (StoredUid(card) != action.uid) {
        SetUid(action.uid, &card);
    }
    std::string file;
    if (action.theirs) {
        std::string text;
        std::string fault;
        CFileMark mark;
        CVCard old;
        file = action.theirs->file;
        if (Try([&] { return m_vdir.Read(file, &text, &mark); }) &&
            ReadTheirCard(text, &old, &fault)) {
            card = WithLinesOf(old, std::move(card));
        }
    } else {
        file = FreshName(action.uid);
    }
    std::string digest;
    if (!Try([&] { return StoredDigest(card, &digest); })) {
        m_session.Report().Failure("sync " + action.ours->id);
        return;
    }
    Stage(index, file, WriteVCard(card), digest);
}

void CSyncWriter::StageUid(std::size_t index)
{
    const CSyncAction& action = m_works[index].action;
    std::string text;
    CFileMark mark;
    if (Try([&] { return m_vdir.Read(action.theirs->file, &text, &mark); }) &&
        mark == action.theirs->mark) {
        Stage(index, action.theirs->file, WithUidLine(std::move(text), action.uid),
              action.theirs->digest);
    }
}

void CSyncWriter::Stage(std::size_t index, const std::string& file, const std::string& text,
                        const std::string& digest)
{
    CFileMark mark;
    if (Try([&] { return m_vdir.Stage(file, text, &mark); })) {
        m_staged.push_back({index, file, mark, digest});
    } else {
        m_session.Report().Failure("write " + m_vdir.Folder() + '/' + file);
    }
}

void CSyncWriter::Commit(const CStaged& staged)
{
    CWork& work = m_works[staged.index];
    const bool isNew = !work.action.theirs;
    if (!m_vdir.IsStill(staged.file, isNew ? nullptr : &work.action.theirs->mark)) {
        m_vdir.Discard(staged.file);
        return;
    }
    if (!Try([&] { return m_vdir.Commit(staged.file); })) {
        m_session.Report().Failure("write " + m_vdir.Folder() + '/' + staged.file);
        return;
    }
    work.card->file = staged.file;
    if (work.action.step == ESyncStep::kOut) {
        SetDone(work.action, work.action.OurDigest(), staged.digest, &*work.card);
        Tell("out", isNew ? "created" : "changed", work.action.ours->id, staged.file);
    }
    if (!work.card->isUnread) {
        work.card->mark = staged.mark;
    }
}

void CSyncWriter::RemoveFile(CWork& work)
{
    const CTheirCard& theirs = *work.action.theirs;
    if (!m_vdir.IsStill(theirs.file, &theirs.mark)) {
        return;
    }
    if (!Try([&] { return m_vdir.Remove(theirs.file); })) {
        m_session.Report().Failure("remove " + m_vdir.Folder() + '/' + theirs.file);
        return;
    }
    work.card.reset();
    Tell("out", "deleted", IdOf(work.action), theirs.file);
}

std::string CSyncWriter::FreshName(const std::string& uid)
{
    std::string name = VdirNameOf(uid);
    for (int i = 2; !m_names.insert(name).second; ++i) {
        name = VdirNameOf(uid + '-' + std::to_string(i));
    }
    return name;
}
