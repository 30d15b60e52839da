#include "pab/PABContactEnumerator.h"
#include "trust/Trial.h"

#include <cstdio>
#include <map>

#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr std::uint32_t kWriters = 4;
constexpr std::uint32_t kContactsOfWriter = 5;
constexpr std::uint32_t kCutMicroseconds = 50'000; // time for a power cut before the repair

// One line for each thing that was acknowledged: contact and seed, or 0 where it was deleted. The
// log lies on another disk, which keeps its power.
void Tell(int log, std::uint32_t number, std::uint32_t seed)
{
    const std::string line = std::to_string(number) + ' ' + std::to_string(seed) + '\n';
    if (write(log, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        std::perror("log");
    }
}

// Ends this process in the middle of a save: behind the redo file, with half of the new text over
// the old one, and all of that on the disk.
bool DieHalfWay(CPABPlugin& plugin, const std::string& path, std::uint32_t number,
                std::uint32_t seed)
{
    const CBeforeOverwrite death(path, [](int file, const void* buffer, std::size_t size) {
        const bool isHalf = pwrite(file, buffer, size / 2, 0) > 0 && fsync(file) == 0;
        _exit(isHalf ? 0 : 1);
    });
    Change(plugin, number, seed, 20'000);
    return false;
}

bool SaveForEver(const std::string& book, int log)
{
    CPABPlugin plugin(book);
    std::vector<std::uint32_t> numbers;
    for (std::uint32_t seed = 1;; ++seed) {
        const std::size_t size = 200 + RandomBelow(20'000);
        if (numbers.size() < kContactsOfWriter) {
            numbers.push_back(New(plugin, seed, size));
            Tell(log, numbers.back(), seed);
            continue;
        }
        const std::size_t index = RandomBelow(kContactsOfWriter);
        if (seed % 50 == 0 && plugin.DeleteContact(IdOf(numbers[index]))) {
            Tell(log, numbers[index], 0);
            numbers.erase(numbers.begin() + static_cast<std::ptrdiff_t>(index));
        } else if (seed % 10 == 1) {
            const std::uint32_t number = numbers[index];
            if (!HasSucceeded(StartWorker(
                    [&] { return DieHalfWay(plugin, PathOf(book, number), number, seed); }))) {
                return false;
            }
            SleepMicroseconds(kCutMicroseconds);
        } else if (Change(plugin, numbers[index], seed, size)) {
            Tell(log, numbers[index], seed);
        } else {
            return false;
        }
    }
}

} // namespace

bool SaveUntilKilled(const CTrialOptions& options)
{
    SetFlushing(true);
    const int log = open(options.log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    std::vector<pid_t> writers;
    for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
        writers.push_back(StartWorker([&] { return SaveForEver(options.folder + "/Cut", log); }));
    }
    for (const pid_t writer : writers) {
        HasSucceeded(writer);
    }
    return false;
}

bool RepairAfterPowerCut(const CTrialOptions& options)
{
    CRow row("contacts opened after a power cut");
    const std::string book = options.folder + "/Cut";
    CPABContactEnumerator walk(book);
    row.Try(walk.Start(nullptr, nullptr) && walk.MoveNext(), "no contact");
    while (walk.MoveNext()) {
    }
    // Brings what happened to the folder to the disk, but no text of a contact.
    const int other =
        open((options.folder + "/other").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    row.Try(write(other, "x", 1) == 1 && fsync(other) == 0, "no other file");
    close(other);
    return row.Print();
}

bool ReadAfterPowerCut(const CTrialOptions& options)
{
    CRow row("power cut while saving with flushing on: whole, nothing acknowledged lost");
    std::map<std::uint32_t, std::uint32_t> acknowledged;
    std::FILE* log = std::fopen(options.log.c_str(), "r");
    unsigned number = 0;
    unsigned seed = 0;
    while (log != nullptr && std::fscanf(log, "%u %u", &number, &seed) == 2) {
        acknowledged[number] = seed;
    }
    CPABPlugin plugin(options.folder + "/Cut");
    for (const auto& [id, least] : acknowledged) {
        const ContactPtr contact = Open(plugin, id);
        const bool mayBeGone = contact == nullptr && GetLastError() == ERROR_SUCCESS;
        if (contact == nullptr) {
            // The writer went on after the log was read, and may have deleted it.
            row.Try(least == 0 || mayBeGone, "contact " + std::to_string(id) + " is lost");
        } else {
            row.Try(least != 0 && SeedOf(*contact).value_or(0) >= least,
                    "contact " + std::to_string(id) + " is torn or old");
        }
    }
    const std::uint32_t next = New(plugin, 1, 100);
    row.Try(!acknowledged.empty() && next > acknowledged.rbegin()->first, "a number comes twice");
    return row.Print();
}
