#pragma once

#include <string>

// Whether a mailbox or domain name is a plain path component that identifiers can carry: see
// CMailbox. Sets no last error.
bool IsPlainName(const char* name);

// Whether a path leads to a folder. False with ERROR_PATH_NOT_FOUND (3): it leads nowhere or to
// something else; other codes: it cannot be looked at.
bool IsFolder(const std::string& path);
