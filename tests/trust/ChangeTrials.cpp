#include "platform/Flushing.h"
#include "trust/Book.h"

#include <array>
#include <optional>

namespace
{

constexpr std::uint32_t kContacts = 40;
constexpr std::size_t kWriters = 4;
constexpr std::size_t kMakers = 3;
constexpr std::uint32_t kSlots = 5;
constexpr int kPollsPerRound = 40;
constexpr std::uint32_t kMostContacts = 4000;
constexpr std::uint32_t kCacheMicroseconds = 1'200'000;

constexpr std::size_t kNumbers = kMostContacts + kMakers + 1;

// What the workers have done and were told is done.
struct CDeeds
{
    std::array<std::atomic<std::uint64_t>, kNumbers> stamp{}; // 0: none, or deleted
    std::array<std::array<std::uint32_t, kSlots>, kMakers> made{};
    std::atomic<std::uint32_t> last{0};
    std::atomic<int> saves{0};
    std::atomic<bool> isEnding{false};
};

// Waits at random places behind the clock and before every call.
struct CJitter : CPlantedCalls
{
    int Now(struct timespec* time) override
    {
        const int result = CSystemCalls::Now(time);
        Begin("now");
        return result;
    }
    int Begin(const char* /*call*/) override
    {
        if (RandomBelow(64) == 0) {
            SleepMicroseconds(RandomBelow(300));
        }
        return 0;
    }
};

bool SaveAndTell(CContact& contact, CDeeds& deeds)
{
    FILETIME stamp;
    if (!SaveText(contact, 1, 100) || !contact.GetModifiedTime(&stamp)) {
        return false;
    }
    deeds.stamp.at(contact.GetId().ToNumber()) = FileTimeToCount(stamp);
    ++deeds.saves;
    return true;
}

// Writers save what nobody else holds. Makers make contacts of their own, and delete them.
bool Work(const std::string& path, CDeeds& deeds, std::size_t worker)
{
    CBook book(path);
    SetFlushing(worker > kWriters); // a contact is in the making for longer
    while (!deeds.isEnding) {
        ContactPtr contact;
        if (worker < kWriters) {
            contact = book.Open(1 + RandomBelow(kContacts));
        } else {
            SleepMicroseconds(RandomBelow(3000));
            std::uint32_t& made = deeds.made[worker - kWriters][RandomBelow(kSlots)];
            if (made != 0 && book.Delete(made)) {
                deeds.stamp[made] = 0;
                made = 0;
            } else if (made == 0 && deeds.last < kMostContacts) {
                contact.reset(book.plugin.CreateContact(nullptr));
                made = contact == nullptr ? 0 : contact->GetId().ToNumber();
                deeds.last = std::max(made, deeds.last.load());
            }
        }
        if (contact != nullptr && !SaveAndTell(*contact, deeds)) {
            return false;
        }
    }
    return true;
}

// Follows the store as a mail client does.
struct CFollower
{
    // Asks for the folder's time first, and looks at what is reported. True if that is anything.
    bool Poll()
    {
        bool isChanged = false;
        CPABContactEnumerator enumerator(book.path);
        ContactMgr::CContactIdList deleted, other;
        if (!enumerator.Start(&version, &isChanged) || !isChanged || !enumerator.Finish() ||
            !book.plugin.ChangesSince(version, &version, &deleted, &other, &other)) {
            return false;
        }
        for (const ContactMgr::CContactId& id : other) {
            known.at(id.ToNumber()) = FileTimeToCount(LastWriteOf(book.File(id.ToNumber())));
        }
        for (const ContactMgr::CContactId& id : deleted) {
            known.at(id.ToNumber()) = 0;
        }
        return !deleted.IsEmpty() || !other.IsEmpty();
    }

    CBook book;
    FILETIME version{};
    std::array<std::uint64_t, kNumbers> known{};
};

// Fills an address book, and follows it for so many saves, or until it has had its most contacts.
// Gives how many saves were done; 0 if it cannot go on.
int TryBook(const CTrialOptions& options, const std::string& name, int saves, CRow& row)
{
    auto& deeds = Share<CDeeds>();
    CBook book(options.folder + name);
    for (std::uint32_t number = 1; number <= kContacts; ++number) {
        const ContactPtr contact(book.plugin.CreateContact(nullptr));
        if (!row.Try(contact != nullptr && SaveAndTell(*contact, deeds), "nothing to begin with")) {
            return 0;
        }
    }
    // Another client of the file system may keep what it has seen for a while.
    const bool isCached = !std::filesystem::equivalent(options.folder, options.second);
    CFollower follower{CBook(options.second + name)};
    while (deeds.saves < saves && deeds.last < kMostContacts) {
        deeds.isEnding = false;
        const auto workers = StartWorkers(kWriters + kMakers, [&](std::size_t worker) {
            return Work(options.FolderOf(worker) + name, deeds, worker);
        });
        for (int poll = 0; poll < kPollsPerRound; ++poll) {
            follower.Poll();
            SleepMicroseconds(RandomBelow(200));
        }
        deeds.isEnding = true;
        if (!row.Try(HaveSucceeded(workers), "a save failed")) {
            return 0;
        }
        SleepMicroseconds(isCached ? kCacheMicroseconds : 0);
        for (int poll = 0; poll < 3 && follower.Poll(); ++poll) {
        }
        const auto& known = follower.known;
        const auto wrong = std::mismatch(known.begin(), known.end(), deeds.stamp.begin()).first;
        row.Try(wrong == known.end(), "not reported: " + std::to_string(wrong - known.begin()),
                deeds.last);
        row.Try(!follower.Poll(), "reported twice in a quiet store");
    }
    std::filesystem::remove_all(book.path);
    return deeds.saves;
}

} // namespace

void TryChanges(const CTrialOptions& options, CRow& row)
{
    std::optional<CJitter> jitter;
    if (options.withJitter) {
        jitter.emplace();
    }
    int saves = 0;
    for (int book = 0, done = 1; done > 0 && saves < options.count; ++book) {
        done = TryBook(options, "/Contacts" + std::to_string(book), options.count - saves, row);
        saves += done;
    }
    row.Note(std::to_string(saves) + " saves");
}
