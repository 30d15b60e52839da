#pragma once

#include "platform/FileAttributes.h"
#include "platform/Types.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

inline namespace contactmgr_internal
{

// Searches and listings of a folder (platform/FileOpen.h). The entries "." and ".." never appear.

struct WIN32_FIND_DATA : WIN32_FILE_ATTRIBUTE_DATA
{
    char cFileName[260] = {};
};

// Searches a folder. The pattern is FOLDER/*, FOLDER/*SUFFIX or FOLDER/NAME. A suffix compares
// without regard to ASCII case. Names of more than 259 bytes never match. FindFirstFileA lists the
// folder in one step, so that a rename meanwhile hides no entry. Times and size are read as each
// entry is delivered; an entry that is gone by then is left out. Last error ERROR_FILE_NOT_FOUND
// (2): nothing matches; ERROR_PATH_NOT_FOUND (3): no such folder; ERROR_NO_MORE_FILES (18).
HANDLE FindFirstFileA(const char* pattern, WIN32_FIND_DATA* data);
int FindNextFileA(HANDLE handle, WIN32_FIND_DATA* data);

// After a failure the handle stays valid for one more FindClose, which frees it.
int FindClose(HANDLE handle);

// The creation time of the entry that the search delivered last: when an exclusive CREATE_NEW made
// the file. A file that was made in another way has the earlier of its birth and its last write; 0
// where the file system keeps no birth time.
FILETIME GetEntryCreationTime(HANDLE handle, const WIN32_FIND_DATA& data);

// Calls the function for each file in a folder whose name ends in the suffix, without regard to
// ASCII case, in no order. The folder is listed in one step before the first call; a file that is
// renamed meanwhile is told under one of its names. A name is followed by a zero byte and lasts
// until the function returns. Last error ERROR_PATH_NOT_FOUND (3): no such folder.
using NameFunction = std::function<void(std::string_view name)>;
int ForEachFile(const char* path, std::string_view suffix, const NameFunction& function);

// The names in a folder, in no order; times and sizes are not read. *names changes on success only.
// Last error ERROR_PATH_NOT_FOUND (3): no such folder.
int ListFolder(const char* path, std::vector<std::string>* names);

// The names that ForEachFile tells. *names changes on success only.
int ListFiles(const char* path, std::vector<std::string>* names, std::string_view suffix = {});

// What a search tells of each of these names in a folder, in their order; nothing for an entry that
// is gone. Looking at them takes most of the time of a listing, so several threads do it where
// there are thousands. *data changes on success only. Last error: the first that is no missing
// entry; ERROR_PATH_NOT_FOUND (3): no such folder.
int ReadAttributes(const char* path, std::span<const std::string> names,
                   std::vector<std::optional<WIN32_FILE_ATTRIBUTE_DATA>>* data);

} // namespace contactmgr_internal
