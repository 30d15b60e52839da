#include "platform/FileNote.h"

#include "platform/FileStamp.h"
#include "platform/FileTime.h"
#include "platform/OpenFile.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace
{

constexpr const char* kAttribute = "user.contact.btime";
constexpr char kOpenMark = '~';

// All in units of 100 ns.
constexpr std::uint64_t kLongestFirstSave = 8 * kFileTimeUnitsPerSecond;
constexpr std::uint64_t kAhead = 24 * 3600 * kFileTimeUnitsPerSecond;

using AttributeText = std::array<char, 24>;

FileNote ParseNote(ssize_t size, const AttributeText& text)
{
    std::uint64_t count = 0;
    const char* textEnd = text.data() + std::max<ssize_t>(size, 0);
    const auto [end, error] = std::from_chars(text.data(), textEnd, count);
    const bool isOpen = textEnd - end == 1 && *end == kOpenMark;
    if (error != std::errc() || (end != textEnd && !isOpen)) {
        return {};
    }
    return {.creation = FileTimeFromCount(count), .isOpen = isOpen};
}

// Empty, with errno set, where it cannot be read.
FileNote NoteOf(int file)
{
    AttributeText text = {};
    const ssize_t size = RetryInterrupted([&] {
        return CSystemCalls::Current().GetOpenAttribute(file, kAttribute, text.data(), text.size());
    });
    return ParseNote(size, text);
}

// File systems without user attributes are passed over; the note is then empty.
bool WriteNote(int file, const FILETIME& creation, bool isOpen, FileNote* note)
{
    AttributeText text = {};
    char* end =
        std::to_chars(text.data(), text.data() + text.size() - 1, FileTimeToCount(creation)).ptr;
    if (isOpen) {
        *end++ = kOpenMark;
    }
    const bool isNoted =
        RetryInterrupted([&] {
            return CSystemCalls::Current().SetOpenAttribute(
                file, kAttribute, text.data(), static_cast<std::size_t>(end - text.data()));
        }) == 0;
    if (!isNoted && errno != EOPNOTSUPP && errno != EPERM) {
        return FailWithErrno();
    }
    *note = isNoted ? FileNote{creation, isOpen, true} : FileNote{{}, false, true};
    return true;
}

FILETIME TimeBefore(const FILETIME& time)
{
    const std::uint64_t count = FileTimeToCount(time);
    return FileTimeFromCount(count == 0 ? 0 : count - 1);
}

FILETIME Now()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return now;
}

} // namespace

bool ReadNote(int file, FileNote* note)
{
    errno = 0;
    *note = NoteOf(file);
    note->isRead = errno == 0 || errno == ENODATA || errno == EOPNOTSUPP || errno == ERANGE;
    return note->isRead || FailWithErrno();
}

bool BeginCreation(int file, const char* folder, bool isFirst, FileNote* note, FILETIME* begin)
{
    FILETIME latest;
    if (!LatestTimeOf(folder, &latest)) {
        return false;
    }
    const FILETIME now = Now();
    *begin = isFirst ? now : *begin;
    const std::uint64_t count = FileTimeToCount(std::max(now, latest));
    return WriteNote(file, FileTimeFromCount(count + kAhead), true, note);
}

bool EndCreation(int file, const FILETIME& begin, const FILETIME& stamp, FileNote* note)
{
    const std::uint64_t count = FileTimeToCount(begin);
    const bool isLate = FileTimeToCount(Now()) > count + kLongestFirstSave;
    const FILETIME creation =
        isLate ? FileTimeFromCount(count - kFileTimeUnitsPerSecond - 1) : TimeBefore(stamp);
    return WriteNote(file, creation, true, note);
}

bool OpenNote(int file, FileNote* note)
{
    return !note->creation || note->isOpen || WriteNote(file, *note->creation, true, note);
}

bool CloseNote(int file, FileNote* note)
{
    return !note->isOpen || WriteNote(file, *note->creation, false, note);
}

bool MendCreation(int file, const struct statx& status, FileNote* note)
{
    const FILETIME lastWrite = FileTimeOf(status.stx_mtime);
    const FILETIME creation = note->creation.value_or(BirthTimeOf(status));
    return creation <= lastWrite || WriteNote(file, TimeBefore(lastWrite), note->isOpen, note);
}

FILETIME CreationTime(int file, const struct statx& status)
{
    return NoteOf(file).creation.value_or(
        TimeBefore(std::min(BirthTimeOf(status), FileTimeOf(status.stx_mtime))));
}

FILETIME CreationTime(const char* path, const FILETIME& birth, const FILETIME& lastWrite)
{
    AttributeText text = {};
    const ssize_t size = RetryInterrupted([&] {
        return CSystemCalls::Current().GetAttribute(path, kAttribute, text.data(), text.size());
    });
    return ParseNote(size, text).creation.value_or(TimeBefore(std::min(birth, lastWrite)));
}
