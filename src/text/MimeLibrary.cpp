#include "text/MimeLibrary.h"

#include <gmime/gmime.h>

#include <mutex>

inline namespace contactmgr_internal
{

void EnsureMimeLibrary()
{
    static std::once_flag started;
    std::call_once(started, g_mime_init);
}

void CUnref::operator()(void* object) const noexcept
{
    g_object_unref(object);
}

void CGlibFree::operator()(void* memory) const noexcept
{
    g_free(memory);
}

} // namespace contactmgr_internal
