#pragma once

#include "sync/SyncState.h"

#include <optional>
#include <string>
#include <vector>

// What a run of `sync` has to do, from what the last run left and what both sides have now. A side
// has changed if the digest of its card is none that it may hold (CSyncedCard); a card that is not
// there has the digest "". So:
//
//   ours       theirs     what is done
//   changed    as before  theirs becomes ours
//   as before  changed    ours becomes theirs
//   changed    changed    nothing if they say the same; else both are kept: ours stays, and theirs
//                         becomes a card of its own
//   changed    gone       theirs becomes ours: a change wins over a deletion
//   gone       changed    ours becomes theirs
//
// A run that dies leaves a state (PendingCard) in which both what stood there before and what was
// to be written count as unchanged on the side that was written to. The other side has changed
// until the run has come to its end. So the next run goes on where it ended, and what somebody
// changed in between is a change of both sides.

// A contact of the address book. A value.
struct COurCard
{
    std::string id;
    std::string uid;
    std::string digest;
    bool hasStoredUid = true;
};

// A file of the other side. A value.
struct CTheirCard
{
    std::string file;
    CFileMark mark;
    std::string uid;
    std::string digest;
    bool lacksUid = false; // the file has no UID line; `uid` is what it is to get
};

enum class ESyncStep
{
    kNothing,    // both sides agree
    kOut,        // theirs becomes ours
    kIn,         // ours becomes theirs
    kRemoveFile, // the contact was deleted
    kRemoveContact,
    kConflict
};

// One card and what is to be done about it. A value.
struct CSyncAction
{
    ESyncStep step = ESyncStep::kNothing;
    std::string uid;
    std::optional<CSyncedCard> known; // from the last run
    std::optional<COurCard> ours;
    std::optional<CTheirCard> theirs;

    std::string OurDigest() const { return ours ? ours->digest : std::string(); }
    std::string TheirDigest() const { return theirs ? theirs->digest : std::string(); }
};

// The UIDs of each side are different ones. The actions come in the order of UIDs. A card that
// neither side has any more is in none.
std::vector<CSyncAction> PlanSync(const std::vector<CSyncedCard>& known, std::vector<COurCard> ours,
                                  std::vector<CTheirCard> theirs);

// What the state has to say about the card before the action is taken. For kConflict: as soon as
// their card is safe as one of its own.
CSyncedCard PendingCard(const CSyncAction& action);

// Makes it the state of a card whose action was taken, with the digests that both sides have now. A
// file that still lacks its UID keeps no mark, so that it is read again.
void SetDone(const CSyncAction& action, const std::string& ours, const std::string& theirs,
             CSyncedCard* card);

// The UID of the card of its own that theirs becomes in a conflict. The same for the same conflict.
std::string ConflictUid(const CSyncAction& action);
