#include "server/ServerDependancies.h"

#include "platform/Failure.h"
#include "server/MailServer.h"
#include "text/MimeLibrary.h"

inline namespace contactmgr_internal
{

namespace
{

bool CheckServer(const CMailServer& server)
{
    if (static_cast<_tMailServer*>(server) == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    return true;
}

} // namespace

bool CPigeonryDependancy::DoInitWork(CMailServer& server)
{
    return CheckServer(server);
}

bool CPigeonryDependancy::DoTermWork()
{
    return true;
}

bool CParishDependancy::DoInitWork(CMailServer& server)
{
    return CheckServer(server);
}

bool CParishDependancy::DoTermWork()
{
    return true;
}

bool CSatchelDependancy::DoInitWork(CMailServer& server)
{
    if (!CheckServer(server)) {
        return false;
    }
    EnsureMimeLibrary();
    return true;
}

bool CSatchelDependancy::DoTermWork()
{
    return true;
}

} // namespace contactmgr_internal
