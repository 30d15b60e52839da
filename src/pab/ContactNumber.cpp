#include "pab/ContactNumber.h"

#include "pab/PABContact.h"
#include "platform/Failure.h"
#include "platform/FileNames.h"
#include "platform/FileSearch.h"
#include "platform/FolderLock.h"
#include "server/FileSystem.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <thread>
#include <unordered_map>

inline namespace contactmgr_internal
{

namespace
{

constexpr std::uint32_t kNumberLimit = 0x7FFFFFFF;

// While a folder is searched, others may claim numbers, so the counter is a little further on than
// the search says. An expected number may be far off, as after the folder was made anew; a search
// is then cheaper than many renames.
constexpr std::uint32_t kRenamesPerSearch = 1024;
constexpr std::uint32_t kRenamesPerExpectation = 16;
constexpr int kSearches = 1000;

// On file systems that list in pieces a listing may miss an entry that is being renamed. With
// contacts present a missing counter is rare, so search slowly.
constexpr int kListingsUntilMissing = 10;
constexpr std::chrono::milliseconds kPauseBetweenListings{2};

constexpr std::chrono::microseconds kPauseForStarter{200};

// The number that is expected next in each of the folders used last, so that making a contact does
// not list its folder. A number may be wrong: the rename decides. Any thread.
class CExpectedNumbers
{
public:
    std::optional<std::uint32_t> Find(const std::string& folder)
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_folders.find(folder);
        if (found == m_folders.end()) {
            return std::nullopt;
        }
        found->second.lastUse = ++m_uses;
        return found->second.next;
    }

    // Without memory for it the next claim searches the folder.
    void Set(const std::string& folder, std::uint32_t next) noexcept
    try {
        const std::lock_guard lock(m_mutex);
        m_folders.insert_or_assign(folder, CFolder{next, ++m_uses});
        if (m_folders.size() > kMostFolders) {
            m_folders.erase(std::ranges::min_element(
                m_folders, {}, [](const auto& entry) { return entry.second.lastUse; }));
        }
    } catch (const std::bad_alloc&) {
    }

    void Forget(const std::string& folder) noexcept
    {
        const std::lock_guard lock(m_mutex);
        m_folders.erase(folder);
    }

private:
    static constexpr std::size_t kMostFolders = 512;

    struct CFolder
    {
        std::uint32_t next;
        std::uint64_t lastUse;
    };

    std::mutex m_mutex;
    std::unordered_map<std::string, CFolder> m_folders;
    std::uint64_t m_uses = 0;
};

// Never destroyed: other threads may still claim numbers when the process ends.
CExpectedNumbers& ExpectedNumbers()
{
    static auto& numbers = *new CExpectedNumbers;
    return numbers;
}

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

enum class ESearch
{
    kFound,
    kNothing,
    kFailed
};

// Calls the function for every file name that ends in the suffix. Only names are read, since a
// counter may be renamed at this moment.
ESearch LookThrough(const std::string& folder, std::string_view suffix,
                    const std::function<void(const std::string& name)>& function)
{
    const auto take = [&](std::string_view name) { function(std::string(name)); };
    if (ForEachFile(folder.c_str(), suffix, take) == 0) {
        return IsMissingFile(GetLastError()) ? ESearch::kNothing : ESearch::kFailed;
    }
    return ESearch::kFound;
}

// The highest counter. A file with another form of name, or with a number that no counter reaches,
// is not the store's.
ESearch FindCounter(const std::string& folder, std::uint32_t* number)
{
    bool isThere = false;
    const ESearch result = LookThrough(folder, ".nxt", [&](const std::string& name) {
        const auto counter = static_cast<std::uint32_t>(std::strtoul(name.c_str(), nullptr, 16));
        if (CounterName(counter) == name && counter <= kNumberLimit) {
            *number = isThere ? std::max(*number, counter) : counter;
            isThere = true;
        }
    });
    return result == ESearch::kFound && !isThere ? ESearch::kNothing : result;
}

// The highest contact number that was ever used; 0 in a folder without contacts.
ESearch FindHighestContact(const std::string& folder, std::uint32_t* number)
{
    *number = 0;
    return LookThrough(folder, ".vcf", [&](const std::string& name) {
        const ContactMgr::CContactId id = CPABContact::FileNameToContactId(name);
        if (CPABContact::ContactIdToFileName(id) == name && id.ToNumber() < kNumberLimit) {
            *number = std::max(*number, id.ToNumber());
        }
    });
}

// Tries so many numbers from `next` on and claims the first whose counter file exists. False with
// ERROR_FILE_NOT_FOUND (2) if none exists, else with the code of the rename.
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
            ExpectedNumbers().Set(folder, next + 1);
            return true;
        }
        if (GetLastError() != ERROR_FILE_NOT_FOUND) {
            return false;
        }
    }
    return false;
}

// Makes the counter of a folder that has none. Searches again under the folder's lock: otherwise a
// late caller would make a second counter. False with ERROR_LOCK_VIOLATION (33) where another
// caller holds the lock, with ERROR_FILE_NOT_FOUND (2) where a counter exists after all.
bool StartCounter(const std::string& folder, std::uint32_t* claimed)
{
    CFolderLock lock;
    if (!lock.AcquireExclusive(folder.c_str())) {
        return false;
    }
    std::uint32_t counter = 0;
    std::uint32_t highestContact = 0;
    // Nobody makes a contact while the counter is missing, so this is looked for once.
    if (FindHighestContact(folder, &highestContact) == ESearch::kFailed) {
        return false;
    }
    ESearch search = ESearch::kNothing;
    for (int listing = 0; search == ESearch::kNothing && listing < kListingsUntilMissing;
         ++listing) {
        if (highestContact != 0) {
            std::this_thread::sleep_for(kPauseBetweenListings);
        }
        search = FindCounter(folder, &counter);
    }
    if (search == ESearch::kFound) {
        SetLastError(ERROR_FILE_NOT_FOUND);
    }
    if (search != ESearch::kNothing) {
        return false;
    }
    const std::uint32_t number = highestContact + 1;
    if (number >= kNumberLimit) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (MakeEmptyFile(CounterPath(folder, number + 1).c_str()) == 0) {
        return false;
    }
    // Another server may not see the lock, make a counter too, and move it on. Then this one is
    // removed. If it has gone already, somebody has claimed its number, and the claim fails.
    if (FindCounter(folder, &counter) == ESearch::kFound && counter > number + 1 &&
        DeleteFileA(CounterPath(folder, number + 1).c_str()) != 0) {
        return Fail(ERROR_ALREADY_EXISTS);
    }
    *claimed = number;
    return true;
}

bool SearchAndClaim(const std::string& folder, std::uint32_t* claimed)
{
    std::uint32_t counter = 0;
    switch (FindCounter(folder, &counter)) {
    case ESearch::kFound:
        return ClaimFrom(folder, counter, kRenamesPerSearch, claimed);
    case ESearch::kNothing:
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

void DistrustContactNumbers(const std::string& folder) noexcept
{
    ExpectedNumbers().Forget(folder);
}

std::uint32_t ClaimContactNumber(const std::string& folder)
{
    std::uint32_t claimed = 0;
    const std::optional<std::uint32_t> expected = ExpectedNumbers().Find(folder);
    if (expected && ClaimFrom(folder, *expected, kRenamesPerExpectation, &claimed)) {
        return claimed;
    }
    for (int search = 0; search < kSearches; ++search) {
        if (SearchAndClaim(folder, &claimed)) {
            // 0 is no contact number; the rename has moved the counter on from there.
            if (claimed != 0) {
                return claimed;
            }
        } else if (!IsWorthAnotherTry()) {
            return 0;
        }
    }
    return 0;
}

} // namespace contactmgr_internal
