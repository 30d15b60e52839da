#include "trust/Trial.h"

#include <thread>

namespace
{

constexpr int kSavers = 4;

struct CCounts
{
    std::atomic<std::int64_t> granted{0};
    std::atomic<std::uint32_t> saved{0};
    std::atomic<int> stale{0};
    std::atomic<int> failed{0};
};

// Opens and deletes what somebody else holds.
bool Intrude(const std::string& book, std::uint32_t number, int count, CCounts& counts)
{
    CPABPlugin plugin(book);
    for (int attempt = 0; attempt < count; ++attempt) {
        const bool isOpen = Open(plugin, number) != nullptr;
        const bool isRefused = GetLastError() == ERROR_SHARING_VIOLATION;
        const bool isDeleted = attempt % 2 == 0 && plugin.DeleteContact(IdOf(number));
        counts.granted += isOpen || !isRefused || isDeleted;
    }
    return true;
}

// A contact that was opened, and one that was just made, are held against everybody.
void TryDoubleOpens(const CTrialOptions& options, CRow& row)
{
    const std::string book = options.folder + "/Contacts";
    const std::string second = options.Second() + "/Contacts";
    const CShared<CCounts> counts;
    CPABPlugin plugin(book);
    const std::uint32_t number = New(plugin, 1, 1000);
    const ContactPtr opened = Open(plugin, number);
    const ContactPtr made(plugin.CreateContact(nullptr));
    const std::string content = ReadWhole(PathOf(book, number));
    const int count = options.count / 8;
    for (const ContactPtr* held : {&opened, &made}) {
        if (!row.Try(*held != nullptr, "nothing to hold")) {
            return;
        }
        const std::uint32_t target = (*held)->GetId().ToNumber();
        const auto intrude = [&](const std::string& path) {
            return Intrude(path, target, count, *counts);
        };
        // The processes first: a child of a process whose other thread is in the heap may hang.
        const pid_t processes[] = {StartWorker([&] { return intrude(book); }),
                                   StartWorker([&] { return intrude(second); })};
        std::thread thread([&] { intrude(book); });
        intrude(book);
        thread.join();
        for (const pid_t process : processes) {
            row.Try(HasSucceeded(process), "an intruder died");
        }
        row.Tried(4 * count);
    }
    row.Try(counts->granted == 0, std::to_string(counts->granted) + " granted");
    row.Try(!content.empty() && content == ReadWhole(PathOf(book, number)), "held content changed");
    SetText(*opened, 2, 500);
    row.Try(opened->Save(), "the holder cannot save");
}

std::uint32_t WriteCounter(CContact& contact)
{
    std::uint32_t count = 0;
    contact.GetProperty("WssVersion", &count);
    return count;
}

// Whoever opens a contact sees the last save, so the write counter counts every one of them.
void TryLostUpdates(const CTrialOptions& options, CRow& row)
{
    const std::string book = options.folder + "/Contacts";
    const CShared<CCounts> counts;
    CPABPlugin plugin(book);
    const std::uint32_t number = New(plugin, 1, 300);
    const int saves = options.count / 100;
    std::vector<pid_t> savers;
    for (int saver = 0; saver < kSavers; ++saver) {
        CPABPlugin own((saver % 2 == 0 ? options.folder : options.Second()) + "/Contacts");
        savers.push_back(StartWorker([&] {
            for (int save = 0; save < saves; ++save) {
                ContactPtr contact = OpenPatiently(own, number);
                if (contact == nullptr) {
                    ++counts->failed;
                    continue;
                }
                counts->stale += WriteCounter(*contact) != counts->saved + 1;
                SetText(*contact, counts->saved + 2, 100 + RandomBelow(400));
                if (contact->Save()) {
                    ++counts->saved;
                } else {
                    ++counts->failed;
                }
            }
            return true;
        }));
    }
    for (const pid_t saver : savers) {
        row.Try(HasSucceeded(saver), "a saver died");
    }
    const ContactPtr contact = OpenPatiently(plugin, number);
    row.Tried(counts->saved);
    row.Try(contact != nullptr && SeedOf(*contact) == counts->saved + 1 &&
                WriteCounter(*contact) == counts->saved + 1 && counts->stale == 0 &&
                counts->failed == 0,
            std::to_string(counts->saved) + " saves, " + std::to_string(counts->stale) +
                " on a stale text, " + std::to_string(counts->failed) + " failed");
}

} // namespace

bool TryHandles(const CTrialOptions& options)
{
    CRow row("handles: second opens refused, no save lost to another");
    TryDoubleOpens(options, row);
    TryLostUpdates(options, row);
    return row.Print();
}
