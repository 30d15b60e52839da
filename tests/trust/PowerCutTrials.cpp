#include "platform/Flushing.h"
#include "trust/Book.h"

#include <fstream>
#include <map>

namespace
{

constexpr std::size_t kWriters = 4;
constexpr std::uint32_t kContactsOfWriter = 5;
constexpr std::uint32_t kCutMicroseconds = 50'000; // time for a power cut before the repair

// Logs one line for each thing that was acknowledged: contact and seed, or 0 where it was deleted.
// The log lies on another disk, which keeps its power.
bool SaveForEver(const CTrialOptions& options)
{
    CBook book(options.folder + "/Cut");
    std::ofstream log(options.log, std::ios::app);
    std::vector<std::uint32_t> numbers(kContactsOfWriter);
    bool isDone = true;
    for (std::uint32_t seed = 1; isDone; ++seed) {
        const std::size_t size = 200 + RandomBelow(20'000);
        std::uint32_t& number = numbers[RandomBelow(kContactsOfWriter)];
        if (number == 0) {
            number = book.New(seed, size);
            isDone = number != 0;
            log << number << ' ' << seed << std::endl;
        } else if (seed % 50 == 0) {
            isDone = book.Delete(number);
            log << number << " 0" << std::endl;
            number = 0;
        } else if (seed % 10 == 1) {
            isDone = book.ChangeHalfWay(number, seed, 20'000);
            SleepMicroseconds(kCutMicroseconds);
        } else {
            isDone = book.Change(number, seed, size);
            log << number << ' ' << seed << std::endl;
        }
    }
    return false;
}

} // namespace

void SaveUntilKilled(const CTrialOptions& options, CRow& row)
{
    SetFlushing(true);
    row.Try(
        HaveSucceeded(StartWorkers(kWriters, [&](std::size_t) { return SaveForEver(options); })),
        "the saver ended");
}

void RepairAfterPowerCut(const CTrialOptions& options, CRow& row)
{
    row.Try(!CBook(options.folder + "/Cut").Walk().empty(), "no contact");
    // Brings what happened to the folder to the disk, but no text of a contact.
    const int file = open((options.folder + "/other").c_str(), O_WRONLY | O_CREAT, 0600);
    row.Try(write(file, "x", 1) == 1 && fsync(file) == 0, "no other file");
}

void ReadAfterPowerCut(const CTrialOptions& options, CRow& row)
{
    std::map<std::uint32_t, std::uint32_t> acknowledged;
    std::ifstream log(options.log);
    for (std::uint32_t number = 0, seed = 0; log >> number >> seed;) {
        acknowledged[number] = seed;
    }
    CBook book(options.folder + "/Cut");
    for (const auto& [number, least] : acknowledged) {
        const ContactPtr contact = book.Open(number);
        // The writer went on after the log was read, and may have deleted it.
        const bool mayBeGone = least == 0 || GetLastError() == ERROR_SUCCESS;
        row.Try(contact == nullptr ? mayBeGone : least != 0 && SeedOf(contact) >= least,
                "contact " + std::to_string(number) + " is lost, torn or old");
    }
    row.Try(!acknowledged.empty() && book.New(1, 100) > acknowledged.rbegin()->first,
            "a number comes twice");
}
