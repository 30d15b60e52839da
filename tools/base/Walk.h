#pragma once

#include "base/Session.h"

#include <memory>
#include <string>

// Calls `call` for each contact of all stores; with a version, only if anything is newer. What the
// walk does not show is tried once more, and reported as WHAT if it cannot be read.
template <class Call>
bool Walk(CSession& session, const std::string& what, const FILETIME* since, Call call)
{
    const std::unique_ptr<CContactPlg::CContactEnumerator> walk(
        Try([&] { return session.Manager().GetEnumerator(); }));
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
