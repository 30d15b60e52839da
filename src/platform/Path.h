#pragma once

#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

// The two parts of a path: its folder, "." where it has none, and the name after the last '/'.
std::string FolderOf(std::string_view path);
std::string_view NameOf(std::string_view path) noexcept;

} // namespace contactmgr_internal
