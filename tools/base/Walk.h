#pragma once

#include "base/Session.h"

#include <memory>
#include <string>
#include <utility>

using CWalk = std::unique_ptr<CContactPlg::CContactEnumerator>;

// Calls `call` for each contact of a walk; with a version, only if anything is newer. What the walk
// does not show is tried once more, and reported as WHAT if it cannot be read.
template <class Call>
bool Walk(CSession& session, const CWalk& walk, const std::string& what, const FILETIME* since,
          Call call)
{
    if (walk == nullptr || !Try([&] { return walk->Start(since, nullptr); })) {
        return session.FailStart(what, walk.get());
    }
    while (Try([&] { return walk->MoveNext(); })) {
        call(*walk->GetCurrent());
    }
    if (walk->IsStarted()) {
        return session.Report().Failure(what); // no memory
    }
    walk->Finish();
    for (const auto& [compression, count] : walk->GetPassedOver()) {
        session.Report().Refusal(what, "messages that are stored as " + compression +
                                           " are not read: " + std::to_string(count));
    }
    for (const CContactPlg::CWalkFault& fault : walk->GetFaults()) {
        const std::unique_ptr<CContact> contact = session.OpenMissed(what, fault);
        if (contact != nullptr) {
            call(*contact);
        }
    }
    return true;
}

// The same for all stores of the mailbox.
template <class Call>
bool Walk(CSession& session, const std::string& what, const FILETIME* since, Call call)
{
    const CWalk walk(Try([&] { return session.Manager().GetEnumerator(); }));
    return Walk(session, walk, what, since, std::move(call));
}
