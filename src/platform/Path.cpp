#include "platform/Path.h"

inline namespace contactmgr_internal
{

std::string FolderOf(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) {
        return ".";
    }
    return std::string(path.substr(0, slash == 0 ? 1 : slash));
}

std::string_view NameOf(std::string_view path) noexcept
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace contactmgr_internal
