#include "pab/PABContactEnumerator.h"
#include "platform/SystemCalls.h"
#include "trust/Trial.h"

#include <array>
#include <filesystem>
#include <map>

#include <sys/stat.h>

namespace
{

constexpr std::uint32_t kContacts = 40;
constexpr int kWriters = 4;
constexpr int kCreators = 3;
constexpr int kPollsBetweenStops = 40;
constexpr std::uint32_t kMostContacts = 4000;
constexpr int kSavesPerBook = 50'000;
constexpr int kRoundsAtOnce = 20'000;
constexpr int kCacheMilliseconds = 1200;

// What the writers have done and were told is done.
struct CDeeds
{
    std::array<std::atomic<std::uint64_t>, kMostContacts + kCreators + 1> stamp{};
    std::array<std::atomic<bool>, kMostContacts + kCreators + 1> isLive{};
    std::atomic<std::int64_t> saves{0};
    std::atomic<int> failed{0};
    std::atomic<int> stopped{0};
    std::atomic<bool> isStopping{false};
    std::atomic<bool> isOver{false};
};

// Waits at random places behind the clock and before every call.
class CJitter : public CSystemCalls
{
public:
    explicit CJitter(bool isOn) : m_isOn(isOn) {}
    int Now(struct timespec* time) override
    {
        const int result = CSystemCalls::Now(time);
        Pause();
        return result;
    }

protected:
    int Begin(const char* /*call*/) override
    {
        Pause();
        return 0;
    }

private:
    void Pause() const
    {
        if (m_isOn && RandomBelow(64) == 0) {
            SleepMicroseconds(RandomBelow(300));
        }
    }

    const bool m_isOn;
};

void StopIfAsked(CDeeds& deeds)
{
    if (deeds.isStopping) {
        ++deeds.stopped;
        while (deeds.isStopping && !deeds.isOver) {
            SleepMicroseconds(50);
        }
        --deeds.stopped;
    }
}

bool SaveAndTell(CContact& contact, CDeeds& deeds)
{
    const std::uint32_t number = contact.GetId().ToNumber();
    contact.SetProperty("FullName", u"Changed");
    FILETIME stamp;
    if (!contact.Save() || !contact.GetModifiedTime(&stamp)) {
        ++deeds.failed;
        return false;
    }
    deeds.stamp[number] = FileTimeToCount(stamp);
    deeds.isLive[number] = true;
    ++deeds.saves;
    return true;
}

bool Write(const std::string& book, CDeeds& deeds)
{
    CPABPlugin plugin(book);
    while (!deeds.isOver) {
        StopIfAsked(deeds);
        const ContactPtr contact = Open(plugin, 1 + RandomBelow(kContacts));
        if (contact != nullptr) {
            SaveAndTell(*contact, deeds);
        }
    }
    return true;
}

bool CreateAndDelete(const std::string& book, CDeeds& deeds)
{
    CPABPlugin plugin(book);
    std::vector<std::uint32_t> live;
    std::uint32_t last = 0;
    while (!deeds.isOver) {
        StopIfAsked(deeds);
        ContactPtr contact;
        if (live.size() < 5 && last < kMostContacts) {
            contact.reset(plugin.CreateContact(nullptr));
        }
        if (contact != nullptr) {
            last = contact->GetId().ToNumber();
            SaveAndTell(*contact, deeds);
            live.push_back(last);
        }
        contact.reset();
        SleepMicroseconds(RandomBelow(3000));
        if (!live.empty() && RandomBelow(2) == 0) {
            const std::size_t index = RandomBelow(static_cast<std::uint32_t>(live.size()));
            if (plugin.DeleteContact(IdOf(live[index]))) {
                deeds.isLive[live[index]] = false;
                live.erase(live.begin() + static_cast<std::ptrdiff_t>(index));
            }
        }
    }
    return true;
}

// Follows the store as a mail client does, and holds it against the deeds.
class CFollower
{
public:
    explicit CFollower(std::string book) : m_book(std::move(book)), m_plugin(m_book) {}

    // True if something was reported. The folder's time is asked for first, and what is reported is
    // looked at.
    bool Poll()
    {
        bool isChanged = false;
        CPABContactEnumerator enumerator(m_book);
        if (!enumerator.Start(&m_version, &isChanged) || !isChanged) {
            return false;
        }
        enumerator.Finish();
        ContactMgr::CContactIdList deleted, changed, created;
        if (!m_plugin.ChangesSince(m_version, &m_version, &deleted, &changed, &created)) {
            return false;
        }
        for (const auto* list : {&changed, &created}) {
            for (const ContactMgr::CContactId& id : *list) {
                m_known[id.ToNumber()] = LastWriteOf(PathOf(m_book, id.ToNumber()));
            }
        }
        for (const ContactMgr::CContactId& id : deleted) {
            m_known.erase(id.ToNumber());
        }
        ++polls;
        return !deleted.IsEmpty() || !changed.IsEmpty() || !created.IsEmpty();
    }

    // With all writers stopped: what the client believes is what is there.
    void Compare(const CDeeds& deeds, CRow& row) const
    {
        for (std::uint32_t number = 1; number <= kMostContacts; ++number) {
            const auto known = m_known.find(number);
            const bool isKnown = known != m_known.end();
            const std::string name = "contact " + std::to_string(number);
            if (deeds.isLive[number]) {
                row.Try(isKnown && known->second == deeds.stamp[number],
                        name + (isKnown ? ": change" : ": creation") + " never reported");
            } else if (deeds.stamp[number] != 0) {
                row.Try(!isKnown, name + ": deletion never reported");
            }
        }
    }

    int polls = 0;

private:
    const std::string m_book;
    CPABPlugin m_plugin;
    FILETIME m_version;
    std::map<std::uint32_t, std::uint64_t> m_known;
};

// Whether two paths of one folder belong to different clients of its file system, which may keep
// what they have seen for a while.
bool IsOfAnotherClient(const std::string& left, const std::string& right)
{
    struct stat one = {};
    struct stat other = {};
    return stat(left.c_str(), &one) == 0 && stat(right.c_str(), &other) == 0 &&
           one.st_dev != other.st_dev;
}

void WaitForStop(CDeeds& deeds, int workers)
{
    deeds.isStopping = true;
    while (deeds.stopped < workers) {
        SleepMicroseconds(50);
    }
}

void Follow(CDeeds& deeds, CFollower& follower, int saves, bool isCached, CRow& row)
{
    while (deeds.saves < saves && deeds.failed == 0) {
        for (int poll = 0; poll < kPollsBetweenStops; ++poll) {
            follower.Poll();
            SleepMicroseconds(RandomBelow(200));
        }
        WaitForStop(deeds, kWriters + kCreators);
        if (isCached) {
            SleepMicroseconds(kCacheMilliseconds * 1000);
        }
        for (int poll = 0; poll < 3 && follower.Poll(); ++poll) {
        }
        follower.Compare(deeds, row);
        row.Try(!follower.Poll(), "reported twice in a quiet store");
        deeds.isStopping = false;
        SleepMicroseconds(200);
    }
}

// Fills an address book, and follows it until so many saves are done.
// False if it cannot be filled.
bool TryBook(const CTrialOptions& options, const std::string& name, int saves, CRow& row,
             CDeeds& deeds, int* polls)
{
    const std::string book = options.folder + name;
    CPABPlugin plugin(book);
    for (std::uint32_t number = 1; number <= kContacts; ++number) {
        const ContactPtr contact(plugin.CreateContact(nullptr));
        if (contact == nullptr || !SaveAndTell(*contact, deeds)) {
            row.Try(false, "no contact to begin with");
            return false;
        }
    }
    const std::string seen = options.Second() + name;
    std::vector<pid_t> workers;
    for (int writer = 0; writer < kWriters; ++writer) {
        const std::string& path = writer % 2 == 0 ? book : seen;
        workers.push_back(StartWorker([&] { return Write(path, deeds); }));
    }
    for (int creator = 0; creator < kCreators; ++creator) {
        workers.push_back(StartWorker([&] {
            SetFlushing(creator > 0); // a contact is in the making for longer
            return CreateAndDelete(creator % 2 == 0 ? book : seen, deeds);
        }));
    }
    CFollower follower(seen);
    Follow(deeds, follower, saves, IsOfAnotherClient(book, seen), row);
    deeds.isOver = true;
    for (const pid_t worker : workers) {
        row.Try(HasSucceeded(worker), "a writer died");
    }
    row.Try(deeds.failed == 0, "a save failed");
    *polls += follower.polls;
    return true;
}

// Saves at the same moment leave the folder with the latest of their stamps.
void TrySavesAtOnce(const CTrialOptions& options, CRow& row)
{
    const std::string paths[] = {options.folder + "/AtOnce", options.Second() + "/AtOnce"};
    const int rounds = std::min(options.count / 6, kRoundsAtOnce);
    const CShared<std::atomic<int>> round, finished;
    const CShared<std::atomic<std::uint64_t>> latest;
    std::vector<pid_t> savers;
    for (int saver = 0; saver < kWriters; ++saver) {
        CPABPlugin plugin(paths[saver % 2]);
        const std::uint32_t number = New(plugin, 1, 300);
        savers.push_back(StartWorker([&] {
            bool isSaved = true;
            for (int own = 1; own <= rounds; ++own) {
                while (*round < own) {
                    SleepMicroseconds(20);
                }
                SleepMicroseconds(RandomBelow(1000));
                isSaved = Change(plugin, number, 1 + RandomBelow(1000), 300) && isSaved;
                const std::uint64_t stamp = LastWriteOf(PathOf(paths[0], number));
                for (std::uint64_t seen = *latest;
                     seen < stamp && !latest->compare_exchange_weak(seen, stamp);) {
                }
                ++*finished;
            }
            return isSaved;
        }));
    }
    for (*round = 1; *round <= rounds; ++*round) {
        while (*finished < *round * kWriters) {
            SleepMicroseconds(20);
        }
        row.Try(LastWriteOf(paths[1]) >= *latest, "the folder is behind a save");
    }
    for (const pid_t saver : savers) {
        row.Try(HasSucceeded(saver), "a save failed");
    }
}

} // namespace

bool TryChanges(const CTrialOptions& options)
{
    CRow row("changes: every one reported, once" +
             std::string(options.withJitter ? " (jitter)" : ""));
    CJitter jitter(options.withJitter);
    CSystemCalls::Replace(&jitter);
    TrySavesAtOnce(options, row);
    std::int64_t saves = 0;
    int polls = 0;
    bool isFollowed = true;
    // A new book before the numbers of one run out.
    for (int book = 0; isFollowed && saves < options.count; ++book) {
        const CShared<CDeeds> deeds;
        const std::int64_t left = options.count - saves;
        const std::string name = "/Contacts" + std::to_string(book);
        isFollowed =
            TryBook(options, name, static_cast<int>(std::min<std::int64_t>(left, kSavesPerBook)),
                    row, *deeds, &polls);
        saves += deeds->saves;
        isFollowed = isFollowed && deeds->failed == 0;
        std::filesystem::remove_all(options.folder + name);
    }
    CSystemCalls::Replace(nullptr);
    row.Note(std::to_string(saves) + " saves, " + std::to_string(polls) + " reports");
    return row.Print();
}
