#include "trust/Book.h"

#include <array>

namespace
{

constexpr std::uint32_t kWorkers = 8;
constexpr std::uint32_t kMostNumbers = 100'000;
constexpr int kCreationsPerKill = 10; // of each worker
constexpr int kStartRounds = 20;

struct CClaims
{
    std::array<std::atomic<std::uint8_t>, kMostNumbers> claimed{};
    std::array<std::atomic<int>, kWorkers> done{};
    std::atomic<bool> isBegun{false};
};

bool Claim(const std::string& path, CClaims& claims, std::size_t worker, int count)
{
    CBook book(path);
    while (!claims.isBegun) {
        std::this_thread::yield();
    }
    while (claims.done[worker] < count) {
        const ContactPtr contact(book.plugin.CreateContact(nullptr));
        if (contact == nullptr) {
            claims.done[worker] = count; // nobody waits for this worker, or kills it
            return false;
        }
        ++claims.claimed.at(contact->GetId().ToNumber());
        ++claims.done[worker];
    }
    return true;
}

// Every number up to the counter is claimed once, but for one that each kill may cost.
int TryBook(const CTrialOptions& options, const std::string& name, int count, int wanted, CRow& row)
{
    auto& claims = Share<CClaims>();
    const auto claim = [&](std::size_t worker) {
        return Claim(options.FolderOf(worker) + name, claims, worker, count);
    };
    std::vector<pid_t> workers = StartWorkers(kWorkers, claim);
    claims.isBegun = true;
    int kills = 0;
    for (int kill = 0; kill < wanted; ++kill) {
        const std::size_t worker = RandomBelow(kWorkers);
        const std::atomic<int>& done = claims.done[worker];
        for (const int before = done; done < count && done < before + 5;) {
            SleepMicroseconds(100 + RandomBelow(300));
        }
        if (done < count) {
            Kill(workers[worker]);
            workers[worker] = StartWorker([&] { return claim(worker); });
            ++kills;
        }
    }
    row.Try(HaveSucceeded(workers), "a creation failed");
    CBook book(options.folder + name);
    const auto made = std::ranges::count_if(claims.claimed, [](int times) { return times > 0; });
    const auto doubles = std::ranges::count_if(claims.claimed, [](int times) { return times > 1; });
    const auto counters = book.Counters();
    const auto gaps = book.New(1, 100) - 1 - made;
    row.Try(doubles == 0 && counters == 1 && gaps >= 0 && gaps <= kills,
            std::to_string(doubles) + " doubles, " + std::to_string(counters) + " counters, " +
                std::to_string(gaps) + " gaps of " + std::to_string(kills),
            made);
    return kills;
}

} // namespace

void TryNumbers(const CTrialOptions& options, CRow& row)
{
    // All begin at once in a folder that is not there yet.
    for (int round = 0; round < kStartRounds; ++round) {
        TryBook(options, "/Start" + std::to_string(round), 2, 0, row);
    }
    const int wanted = options.count / kCreationsPerKill;
    row.Note(std::to_string(TryBook(options, "/Book", options.count, wanted, row)) + " kills");
}
