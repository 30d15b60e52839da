#pragma once

#include "platform/OpenFile.h"

// The redo file of a followed file, `.redo/NAME` in its folder: the whole new content, with its
// length and a checksum behind it (platform/ChangeProtocol.h, I1). In a folder of its own, so that
// its coming and going does not move the time of the file's folder. All here want the file's lock.

// Makes the redo folder, unless it is there. False with errno set.
//
// Stores of the first release had the redo file beside the file, as `NAME.redo~`, and sometimes
// wrote without one, with a "~" behind the number of the attribute until the stamp was there.
// Before the folder gets its name the former are moved into it, and for each of the latter the
// present content is put there; so the next open of those files completes them.
bool EnsureRedoFolder(const std::string& folder);

// Does the former in a folder that has a redo folder, for files that came back from a backup. False
// with the last error set.
bool TakeOldRedoFiles(const std::string& folder);

// Opens a file in the redo folder; both are made where they are missing. -1 with errno set.
int OpenInRedoFolder(const std::string& folder, std::string_view name, int flags);

// Writes it, to the disk where flushing is on. False with the last error set; an incomplete one may
// then be there.
bool WriteRedo(const COpenFile& file, std::string_view content);

enum class ERedo
{
    None,       // or what is no file
    Incomplete, // or not one of ours
    Complete
};

// False with the last error set. The content means nothing unless it is complete.
bool ReadRedo(const COpenFile& file, ERedo* state, std::string* content);

// One that is not there is success. False with the last error set.
bool RemoveRedo(const COpenFile& file);
