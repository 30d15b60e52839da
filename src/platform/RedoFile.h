#pragma once

#include "platform/Descriptor.h"

#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

// The redo file of a contact file: `.redo/NAME` in its folder, with the whole new text, its length
// and a checksum (platform/ChangeProtocol.h, I1). It has a folder of its own, so that making and
// removing it leaves the time of the contacts' folder. The caller holds the lock of NAME.

// Makes the redo folder, unless it is there. False with errno set.
//
// A store of the first release has its redo files beside the contacts, as `NAME.redo~`. It also
// wrote some contacts without one; such a contact has a "~" after the number in its attribute until
// its stamp is set. Before the new folder gets its name, the old redo files are moved into it, and
// the present text of each marked contact is copied into it. So the next open completes them all.
bool EnsureRedoFolder(const std::string& folder);

// Moves old redo files into a redo folder that is already there, as after a backup came back. False
// with the last error set.
bool MoveOldRedoFiles(const std::string& folder);

// Opens a file in the redo folder. Both are made where missing. None with errno set.
CDescriptor OpenInRedoFolder(const std::string& folder, std::string_view name, int flags);

// False with the last error set. An incomplete redo file may then be there.
bool WriteRedo(const std::string& folder, std::string_view name, std::string_view content);

enum class ERedo
{
    None,       // missing, or not a regular file
    Incomplete, // or not this library's
    Complete
};

// False with the last error set. *content counts only for a complete one.
bool ReadRedo(const std::string& folder, std::string_view name, ERedo* state, std::string* content);

// Succeeds where there is none. False with the last error set.
bool RemoveRedo(const std::string& folder, std::string_view name);

} // namespace contactmgr_internal
