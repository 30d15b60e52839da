#include "platform/CreationTime.h"

#include "platform/ChangeProtocol.h"
#include "platform/SystemCalls.h"

#include <algorithm>
#include <array>
#include <charconv>

inline namespace contactmgr_internal
{

namespace
{

using AttributeText = std::array<char, 24>;

// The first release noted a time ahead of the clock until the first save, so the last write counts
// if it is earlier.
FILETIME Parse(ssize_t size, const AttributeText& text, const FILETIME& birth,
               const FILETIME& lastWrite)
{
    std::uint64_t count = 0;
    const char* textEnd = text.data() + std::max<ssize_t>(size, 0);
    const auto [end, error] = std::from_chars(text.data(), textEnd, count);
    const bool isWhole = end == textEnd || (textEnd - end == 1 && *end == kOldUnfinishedMark);
    const bool isNoted = error == std::errc() && isWhole;
    return std::min(isNoted ? FileTimeFromCount(count) : birth, lastWrite);
}

} // namespace

bool NoteCreation(int file, const FILETIME& creation)
{
    AttributeText text = {};
    const char* end =
        std::to_chars(text.data(), text.data() + text.size(), FileTimeToCount(creation)).ptr;
    const auto size = static_cast<std::size_t>(end - text.data());
    // I6: a time that is noted already stays. The two others: the file system has no user
    // attributes.
    return CSystemCalls::Current().AddAttribute(file, kCreationAttribute, text.data(), size) == 0 ||
           errno == EEXIST || errno == EOPNOTSUPP || errno == EPERM;
}

bool KeepCreation(int file, const struct statx& status)
{
    // I6: without an attribute the last write counts as the creation, and it is about to move.
    const FILETIME lastWrite = FileTimeOf(status.stx_mtime);
    return BirthTimeOf(status) <= lastWrite || NoteCreation(file, lastWrite);
}

FILETIME CreationTime(int file, const struct statx& status)
{
    AttributeText text = {};
    const ssize_t size =
        CSystemCalls::Current().GetAttribute(file, kCreationAttribute, text.data(), text.size());
    return Parse(size, text, BirthTimeOf(status), FileTimeOf(status.stx_mtime));
}

FILETIME CreationTime(const char* path, const FILETIME& birth, const FILETIME& lastWrite)
{
    AttributeText text = {};
    const ssize_t size =
        CSystemCalls::Current().GetAttribute(path, kCreationAttribute, text.data(), text.size());
    return Parse(size, text, birth, lastWrite);
}

} // namespace contactmgr_internal
