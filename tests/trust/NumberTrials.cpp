#include "trust/Trial.h"

#include <array>

#include <sched.h>

namespace
{

constexpr int kWorkers = 8;
constexpr std::uint32_t kMostNumbers = 100'000;
constexpr int kCreationsPerKill = 80;
constexpr int kStartRounds = 20;

struct CClaims
{
    std::array<std::atomic<std::uint8_t>, kMostNumbers> claimed{};
    std::array<std::atomic<int>, kWorkers> done{};
    std::atomic<int> failed{0};
    std::atomic<std::uint32_t> error{0}; // of the last one that failed
    std::atomic<bool> isBegun{false};
};

bool Claim(const std::string& book, CClaims& claims, std::size_t worker, int count)
{
    CPABPlugin plugin(book);
    while (!claims.isBegun) {
        sched_yield();
    }
    while (claims.done[worker] < count) {
        const ContactPtr contact(plugin.CreateContact(nullptr));
        const std::uint32_t number = contact == nullptr ? 0 : contact->GetId().ToNumber();
        if (number == 0 || number >= kMostNumbers) {
            claims.error = GetLastError();
            ++claims.failed;
        } else {
            ++claims.claimed[number];
        }
        ++claims.done[worker];
    }
    return true;
}

// Every number up to the counter was claimed once, but for one that each kill may have cost.
void Judge(const std::string& book, const CClaims& claims, int kills, CRow& row)
{
    const std::vector<std::uint32_t> counters = CountersIn(book);
    std::uint32_t gaps = 0;
    std::uint32_t doubles = 0;
    std::uint32_t made = 0;
    for (std::uint32_t number = 1; number < kMostNumbers; ++number) {
        const int times = claims.claimed[number];
        made += times > 0;
        doubles += times > 1;
        gaps += times == 0 && !counters.empty() && number < counters.back();
    }
    row.Tried(made - 1);
    row.Try(claims.failed == 0 && doubles == 0 && counters.size() == 1 &&
                gaps <= static_cast<std::uint32_t>(kills),
            std::to_string(claims.failed) + " failed with " + std::to_string(claims.error) + ", " +
                std::to_string(doubles) + " doubles, " + std::to_string(counters.size()) +
                " counters, " + std::to_string(gaps) + " gaps of " + std::to_string(kills));
}

} // namespace

bool TryNumbers(const CTrialOptions& options)
{
    CRow row("numbers: none twice, none failed, one counter");
    int kills = 0;
    for (int round = 0; round <= kStartRounds; ++round) {
        // The last round is the long one; in the others all begin at once in a folder that is not
        // there yet.
        const bool isLong = round == kStartRounds;
        const int count = isLong ? options.count : 2;
        const CShared<CClaims> claims;
        std::array<pid_t, kWorkers> workers{};
        const auto start = [&](std::size_t worker) {
            const std::string& root = worker % 2 == 0 ? options.folder : options.Second();
            const std::string book = root + "/Book" + std::to_string(round);
            workers[worker] = StartWorker(
                [&claims, book, worker, count] { return Claim(book, *claims, worker, count); });
        };
        for (std::size_t worker = 0; worker < kWorkers; ++worker) {
            start(worker);
        }
        claims->isBegun = true;
        const int wanted = isLong ? kWorkers * count / kCreationsPerKill : 0;
        for (int kill = 1; kill <= wanted; ++kill) {
            const std::size_t worker = RandomBelow(kWorkers);
            const int before = claims->done[worker];
            while (claims->done[worker] < count && claims->done[worker] < before + 5) {
                SleepMicroseconds(100 + RandomBelow(300));
            }
            if (claims->done[worker] < count) {
                Kill(workers[worker]);
                start(worker);
                ++kills;
            }
        }
        bool isEnded = true;
        for (const pid_t worker : workers) {
            isEnded = HasSucceeded(worker) && isEnded;
        }
        row.Try(isEnded, "a creator died");
        Judge(options.folder + "/Book" + std::to_string(round), *claims, isLong ? kills : 0, row);
    }
    row.Note(std::to_string(kills) + " kills");
    return row.Print();
}
