#include "pab/ContactNumber.h"

#include "pab/PABContact.h"
#include "platform/Failure.h"
#include "platform/FolderLock.h"
#include "server/FileSystem.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace
{

constexpr std::uint32_t kNumberLimit = 0x7FFFFFFF;

// Others may claim numbers while a folder is searched; the counter is then a little further on. A
// number that was remembered may be far off, as after the folder was made anew, and a search is
// soon the cheaper way.
constexpr std::uint32_t kRenamesPerSearch = 1024;
constexpr std::uint32_t kRenamesPerHint = 16;
constexpr int kSearches = 1000;

// A listing may miss an entry that is being renamed, on file systems that list in pieces. Beside
// contacts a missing counter is unlikely enough to take some time over it.
constexpr int kListingsUntilMissing = 10;
constexpr std::chrono::milliseconds kPauseBetweenListings{2};

constexpr std::chrono::microseconds kPauseForStarter{200};

// The number that this thread expects to be next, so that making many contacts in one folder does
// not list it every time. Only a hint: the rename decides.
struct CounterHint
{
    std::string folder;
    std::uint32_t next = 0;
};
thread_local CounterHint t_hint;

std::string CounterName(std::uint32_t number)
{
    std::array<char, 16> name = {};
    std::snprintf(name.data(), name.size(), "%08x.nxt", number);
    return name.data();
}

std::string CounterPath(const std::string& folder, std::uint32_t number)
{
    return folder + '/' + CounterName(number);
}

enum class Search
{
    Found,
    Nothing,
    Failed
};

// Shows every file that ends in the suffix. The names alone count: a counter that is renamed while
// it is looked at is there all the same.
template <class Function>
Search ForEachFile(const std::string& folder, const char* suffix, Function function)
{
    std::vector<std::string> names;
    if (ListFiles(folder.c_str(), &names, suffix) == 0) {
        return IsMissingFile(GetLastError()) ? Search::Nothing : Search::Failed;
    }
    std::for_each(names.begin(), names.end(), function);
    return Search::Found;
}

// The highest counter. A file whose name is not written like a counter's, or whose number is none
// that a counter can come to, is not the store's.
Search FindCounter(const std::string& folder, std::uint32_t* number)
{
    bool isThere = false;
    const Search result = ForEachFile(folder, ".nxt", [&](const std::string& name) {
        const auto counter = static_cast<std::uint32_t>(std::strtoul(name.c_str(), nullptr, 16));
        if (CounterName(counter) == name && counter <= kNumberLimit) {
            *number = isThere ? std::max(*number, counter) : counter;
            isThere = true;
        }
    });
    return result == Search::Found && !isThere ? Search::Nothing : result;
}

// The highest contact number that was ever used; 0 in a folder without contacts.
Search FindHighestContact(const std::string& folder, std::uint32_t* number)
{
    *number = 0;
    return ForEachFile(folder, ".vcf", [&](const std::string& name) {
        const ContactMgr::CContactId id = CPABContact::FileNameToContactId(name);
        if (CPABContact::ContactIdToFileName(id) == name && id.ToNumber() < kNumberLimit) {
            *number = std::max(*number, id.ToNumber());
        }
    });
}

// Moves on from `next` to the first of so many counters that is there. False with last error 2 if
// none of them was, else with the rename's.
bool ClaimFrom(const std::string& folder, std::uint32_t next, std::uint32_t renames,
               std::uint32_t* claimed)
{
    for (std::uint32_t tries = 0; tries < renames; ++tries, ++next) {
        if (next >= kNumberLimit) {
            return Fail(ERROR_INVALID_PARAMETER);
        }
        if (MoveFileA(CounterPath(folder, next).c_str(), CounterPath(folder, next + 1).c_str()) !=
            0) {
            *claimed = next;
            t_hint.folder = folder;
            t_hint.next = next + 1;
            return true;
        }
        if (GetLastError() != ERROR_FILE_NOT_FOUND) {
            return false;
        }
    }
    return false;
}

// Makes the counter of a folder that has none. That there is none is found out under the folder's
// lock: a caller who was late in finding it out would make a second one. False leaves last error 33
// where another caller is at it, 2 where one is there after all.
bool StartCounter(const std::string& folder, std::uint32_t* claimed)
{
    CFolderLock lock;
    if (!lock.AcquireExclusive(folder.c_str())) {
        return false;
    }
    std::uint32_t counter = 0;
    std::uint32_t highestContact = 0;
    Search search = Search::Nothing;
    for (int listing = 0; search == Search::Nothing && listing < kListingsUntilMissing; ++listing) {
        if (FindHighestContact(folder, &highestContact) == Search::Failed) {
            return false;
        }
        if (highestContact != 0) {
            std::this_thread::sleep_for(kPauseBetweenListings);
        }
        search = FindCounter(folder, &counter);
    }
    if (search == Search::Found) {
        SetLastError(ERROR_FILE_NOT_FOUND);
    }
    if (search != Search::Nothing) {
        return false;
    }
    const std::uint32_t number = highestContact + 1;
    if (number >= kNumberLimit) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (MakeEmptyFile(CounterPath(folder, number + 1).c_str()) == 0) {
        return false;
    }
    // Where other servers do not see the lock, one of them may have made a counter as well and
    // moved it on. Then this one goes; unless somebody has claimed from it by now, and it counts.
    if (FindCounter(folder, &counter) == Search::Found && counter > number + 1 &&
        DeleteFileA(CounterPath(folder, number + 1).c_str()) != 0) {
        return Fail(ERROR_ALREADY_EXISTS);
    }
    *claimed = number;
    return true;
}

// One search and what follows from it.
bool SearchAndClaim(const std::string& folder, std::uint32_t* claimed)
{
    std::uint32_t counter = 0;
    switch (FindCounter(folder, &counter)) {
    case Search::Found:
        return ClaimFrom(folder, counter, kRenamesPerSearch, claimed);
    case Search::Nothing:
        return StartCounter(folder, claimed);
    default:
        return false;
    }
}

bool IsWorthAnotherTry()
{
    if (GetLastError() == ERROR_LOCK_VIOLATION || GetLastError() == ERROR_SHARING_VIOLATION) {
        std::this_thread::sleep_for(kPauseForStarter);
        return true;
    }
    return GetLastError() == ERROR_FILE_NOT_FOUND || GetLastError() == ERROR_ALREADY_EXISTS;
}

} // namespace

void DistrustContactNumbers() noexcept
{
    t_hint.folder.clear();
}

std::uint32_t ClaimContactNumber(const std::string& folder)
{
    std::uint32_t claimed = 0;
    if (t_hint.folder == folder && ClaimFrom(folder, t_hint.next, kRenamesPerHint, &claimed)) {
        return claimed;
    }
    for (int search = 0; search < kSearches; ++search) {
        if (SearchAndClaim(folder, &claimed)) {
            // Number 0 means no number; a counter that stood there has been moved on.
            if (claimed != 0) {
                return claimed;
            }
        } else if (!IsWorthAnotherTry()) {
            return 0;
        }
    }
    return 0;
}
