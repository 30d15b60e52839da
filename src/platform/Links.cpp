#include "platform/Links.h"

#include "platform/Errno.h"
#include "platform/Failure.h"
#include "platform/FileHandle.h"
#include "platform/SystemCalls.h"

#include <sys/stat.h>

bool IsLink(const char* path)
{
    const CKeepLastError keep;
    struct statx status = {};
    return CSystemCalls::Current().Stat(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, &status) == 0 &&
           S_ISLNK(status.stx_mode);
}

bool ResolveLinks(const char* path, std::string* resolved)
{
    return CSystemCalls::Current().ResolvePath(path, resolved) == 0 || FailWithErrno(path);
}
