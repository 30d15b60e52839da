#include "platform/FileRewrite.h"

#include "platform/HeldFile.h"

inline namespace contactmgr_internal
{

namespace
{

CHeldFile* HeldFileOf(HANDLE handle)
{
    COpenFile* file = COpenFile::FromHandle(handle);
    return file == nullptr ? nullptr : file->Held();
}

} // namespace

int RewriteFile(HANDLE handle, std::string_view content)
{
    CHeldFile* file = HeldFileOf(handle);
    return file != nullptr && (content.empty() ? file->Empty() : file->Rewrite(content));
}

int RestampFile(HANDLE handle)
{
    CHeldFile* file = HeldFileOf(handle);
    return file != nullptr && file->Restamp();
}

} // namespace contactmgr_internal
