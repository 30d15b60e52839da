#pragma once

#include <string>

inline namespace contactmgr_internal
{

// Whether a mailbox or domain name is a plain path component that identifiers can carry: see
// CMailbox. Sets no last error.
bool IsPlainName(const char* name);

} // namespace contactmgr_internal
