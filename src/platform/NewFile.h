#pragma once

#include "platform/OpenFile.h"

#include <functional>
#include <optional>
#include <string>

// New files and folders. What root makes gets the owner and the group of the folder that it is made
// in before it has its name, so that the mail server, which runs as another user, is not locked out
// of it.

// Contacts are private: the mail server's user and group, as far as the umask lets them.
inline constexpr mode_t kFileMode = 0660;
inline constexpr mode_t kFolderMode = 0770;

struct COwner
{
    uid_t user = 0;
    gid_t group = 0;
};

// Whom root has to give something new to that is made beside what has this status; nobody where it
// is root's own, and where this process is not root.
std::optional<COwner> NewOwner(const struct statx& status) noexcept;
// The same in a folder. False with errno set.
bool NewOwnerIn(const std::string& folder, std::optional<COwner>* owner);

// Makes a file and gives its descriptor, or -1 with errno set. `prepare` gets it while it has no
// name yet, where the file system can do that, and gives false with errno set.
int MakeFile(const std::string& path, const std::optional<COwner>& owner,
             const std::function<bool(int file)>& prepare);

// Makes a folder. With `prepare` the folder is made under another name, which that function is
// given, and gets its own name at the end. False with errno set: EEXIST where it is there.
bool MakeFolder(const std::string& path,
                const std::function<bool(const std::string& folder)>& prepare = nullptr);

// Gives a rewritten file the owner, the group and the mode of the one that it takes the place of.
// Without the right to do so it keeps its own. Only what root is refused is a failure, false with
// errno set.
bool CopyOwner(int from, int to);
