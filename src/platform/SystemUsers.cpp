#include "platform/SystemUsers.h"

#include "platform/Errno.h"
#include "platform/Failure.h"
#include "platform/SystemCalls.h"

inline namespace contactmgr_internal
{

bool FindHomeFolder(const char* user, std::string* home)
{
    std::string found;
    if (CSystemCalls::Current().GetHomeFolder(user, &found) != 0) {
        return FailWithErrno();
    }
    if (!found.starts_with('/')) {
        return Fail(ERROR_PATH_NOT_FOUND);
    }
    *home = std::move(found);
    return true;
}

bool ListSystemUsers(std::vector<std::string>* names)
{
    return CSystemCalls::Current().ListUsers(names) == 0 || FailWithErrno();
}

} // namespace contactmgr_internal
