#pragma once

// The member "formatVersion" of each object that is printed, and its first. It grows where a member
// changes its meaning or its type, or goes. A new member leaves it.
inline constexpr const char* kFormatVersionName = "formatVersion";
inline constexpr int kFormatVersion = 1;
