#include "sync/SyncPlan.h"

#include "cards/Digest.h"

#include <algorithm>
#include <map>

namespace
{

const std::vector<std::string> kAbsent = {""};

bool Contains(const std::vector<std::string>& digests, const std::string& digest)
{
    return std::ranges::find(digests, digest) != digests.end();
}

void AddNew(const std::string& digest, std::vector<std::string>* digests)
{
    if (!Contains(*digests, digest)) {
        digests->push_back(digest);
    }
}

ESyncStep StepTowards(bool isOursRight, const std::string& right)
{
    if (isOursRight) {
        return right.empty() ? ESyncStep::kRemoveFile : ESyncStep::kOut;
    }
    return right.empty() ? ESyncStep::kRemoveContact : ESyncStep::kIn;
}

ESyncStep StepWithBothChanged(const std::string& our, const std::string& their)
{
    return our.empty() ? ESyncStep::kIn : their.empty() ? ESyncStep::kOut : ESyncStep::kConflict;
}

// Each side has one of its digests: a run that ended early wrote to one side, and the other side
// has gone back since.
ESyncStep StepWithoutChange(bool isOursPending, bool isTheirsPending, const std::string& our,
                            const std::string& their)
{
    if (isOursPending && isTheirsPending) {
        return StepWithBothChanged(our, their);
    }
    return isOursPending     ? StepTowards(false, their)
           : isTheirsPending ? StepTowards(true, our)
                             : ESyncStep::kNothing;
}

ESyncStep StepOf(const CSyncAction& action)
{
    const std::vector<std::string>& ours = action.known ? action.known->ours : kAbsent;
    const std::vector<std::string>& theirs = action.known ? action.known->theirs : kAbsent;
    const std::string our = action.OurDigest();
    const std::string their = action.TheirDigest();
    const bool isOursChanged = !Contains(ours, our);
    const bool isTheirsChanged = !Contains(theirs, their);
    if (our == their) {
        return ESyncStep::kNothing;
    }
    if (isOursChanged && isTheirsChanged) {
        return StepWithBothChanged(our, their);
    }
    if (isOursChanged || isTheirsChanged) {
        return StepTowards(isOursChanged, isOursChanged ? our : their);
    }
    return StepWithoutChange(ours.size() > 1, theirs.size() > 1, our, their);
}

// A contact that never had a UID went out by a copy without one, and has come back under a UID that
// somebody gave it: the same content makes it the same card. It then takes over that UID.
void JoinByContent(std::map<std::string, CSyncAction>* actions)
{
    std::multimap<std::string, std::string> uids; // of contacts alone, by their digests
    for (const auto& [uid, action] : *actions) {
        if (action.ours && !action.theirs && !action.known && !action.ours->hasStoredUid) {
            uids.emplace(action.ours->digest, uid);
        }
    }
    std::vector<std::string> joined;
    for (auto& [uid, action] : *actions) {
        const auto found = action.theirs && !action.ours && StepOf(action) == ESyncStep::kIn
                               ? uids.find(action.theirs->digest)
                               : uids.end();
        if (found != uids.end()) {
            action.ours = actions->at(found->second).ours;
            action.step = ESyncStep::kIn;
            joined.push_back(found->second);
            uids.erase(found);
        }
    }
    for (const std::string& uid : joined) {
        actions->erase(uid);
    }
}

} // namespace

std::vector<CSyncAction> PlanSync(const std::vector<CSyncedCard>& known, std::vector<COurCard> ours,
                                  std::vector<CTheirCard> theirs)
{
    std::map<std::string, CSyncAction> actions;
    for (const CSyncedCard& card : known) {
        actions[card.uid].known = card;
    }
    for (COurCard& card : ours) {
        CSyncAction& action = actions[card.uid];
        action.ours = std::move(card);
    }
    for (CTheirCard& card : theirs) {
        CSyncAction& action = actions[card.uid];
        action.theirs = std::move(card);
    }
    JoinByContent(&actions);
    std::vector<CSyncAction> plan;
    for (auto& [uid, action] : actions) {
        if (action.ours || action.theirs) {
            action.uid = uid;
            action.step = action.step == ESyncStep::kNothing ? StepOf(action) : action.step;
            plan.push_back(std::move(action));
        }
    }
    return plan;
}

CSyncedCard PendingCard(const CSyncAction& action)
{
    CSyncedCard card = action.known.value_or(CSyncedCard{{}, {}, {}, {}, kAbsent, kAbsent});
    card.uid = action.uid;
    card.id = action.ours ? action.ours->id : std::string();
    card.file = action.theirs ? action.theirs->file : std::string();
    card.mark = CFileMark();
    card.isUnread = action.step != ESyncStep::kNothing;
    switch (action.step) {
    case ESyncStep::kNothing:
        SetDone(action, action.OurDigest(), action.TheirDigest(), &card);
        break;
    case ESyncStep::kConflict:
    case ESyncStep::kOut:
    case ESyncStep::kRemoveFile:
        AddNew(action.TheirDigest(), &card.theirs);
        AddNew(action.OurDigest(), &card.theirs);
        break;
    case ESyncStep::kIn:
    case ESyncStep::kRemoveContact:
        AddNew(action.OurDigest(), &card.ours);
        AddNew(action.TheirDigest(), &card.ours);
        break;
    }
    return card;
}

void SetDone(const CSyncAction& action, const std::string& ours, const std::string& theirs,
             CSyncedCard* card)
{
    card->ours = {ours};
    card->theirs = {theirs};
    card->isUnread = false;
    if (action.theirs && !action.theirs->lacksUid) {
        card->mark = action.theirs->mark;
    }
}

std::string ConflictUid(const CSyncAction& action)
{
    return NameBasedUuid("conflict/" + action.uid + '/' + action.TheirDigest());
}
