#pragma once

#include "platform/Descriptor.h"

#include <functional>
#include <optional>
#include <string>

#include <sys/stat.h>

inline namespace contactmgr_internal
{

// New files and folders. What root makes gets the owner and the group of the folder that it is in,
// before it has its name. The mail server runs as another user and needs access to it.

// Contacts are private: for the mail server's user and group, less what the umask takes.
inline constexpr mode_t kFileMode = 0660;
inline constexpr mode_t kFolderMode = 0770;

struct COwner
{
    uid_t user = 0;
    gid_t group = 0;
};

// The owner that root gives to a new file beside what has this status. None where that is root's
// own, and for a process that is not root's.
std::optional<COwner> NewOwner(const struct statx& status) noexcept;
// The same for a new file in a folder. False with errno set.
bool NewOwnerIn(const std::string& folder, std::optional<COwner>* owner);

// Makes a file and opens it. `prepare` gets its descriptor, where the file system can do so before
// the file has its name, and gives false with errno set. None with errno set.
CDescriptor MakeFile(const std::string& path, const std::optional<COwner>& owner,
                     const std::function<bool(int file)>& prepare);
// Makes a file with the owner of its folder.
CDescriptor MakeFile(const std::string& path);

// Makes a folder. With `prepare`, the folder is made under another name, which `prepare` gets, and
// gets its own name last. False with errno set, EEXIST where the name exists.
bool MakeFolder(const std::string& path,
                const std::function<bool(const std::string& folder)>& prepare = nullptr);

// Gives a file the owner, the group and the mode of another. A process that is not root's succeeds
// without the right to do so. False with errno set.
bool CopyOwner(int from, int to);

} // namespace contactmgr_internal
