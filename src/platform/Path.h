#pragma once

#include <string>
#include <string_view>

// The two parts of a path: its folder, "." where it has none, and the name after the last '/'.
std::string FolderOf(std::string_view path);
std::string_view NameOf(std::string_view path) noexcept;
