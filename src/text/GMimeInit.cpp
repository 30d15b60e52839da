#include "text/GMimeInit.h"

#include <gmime/gmime.h>

#include <mutex>

void EnsureMimeLibrary()
{
    static std::once_flag started;
    std::call_once(started, g_mime_init);
}
