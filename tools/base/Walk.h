#pragma once

#include "base/Session.h"

#include <functional>
#include <memory>
#include <string>

using CWalk = std::unique_ptr<CContactPlg::CContactEnumerator>;

// Calls `show` for each contact of a manager's walk; with a version, only if anything is newer.
// What the walk does not show is tried once more, and what another program holds until the
// session's time to wait is over. What cannot be read then is reported as WHAT. False if the walk
// could not be started or brought to its end, which is reported.
bool Walk(CSession& session, const CWalk& walk, const std::string& what, const FILETIME* since,
          const std::function<void(CContact&)>& show);

// The same for all stores of the mailbox.
bool Walk(CSession& session, const std::string& what, const FILETIME* since,
          const std::function<void(CContact&)>& show);
