#pragma once

#include <string>
#include <vector>

inline namespace contactmgr_internal
{

// The users of the system, as its password database has them. Any thread.

// The home folder of a user. False with ERROR_PATH_NOT_FOUND (3): there is no such user, or its
// home folder is no absolute path; other codes: the database cannot be read.
bool FindHomeFolder(const char* user, std::string* home);

// The names of all users, in no order. False with the code of what kept the database from being
// read.
bool ListSystemUsers(std::vector<std::string>* names);

} // namespace contactmgr_internal
