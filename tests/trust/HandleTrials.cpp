#include "trust/Book.h"

#include <future>

namespace
{

constexpr std::size_t kSavers = 4;

// Opens and deletes what somebody else holds.
bool IsRefused(const std::string& path, std::uint32_t number, int count)
{
    CBook book(path);
    bool isRefused = true;
    for (int attempt = 0; attempt < count; ++attempt) {
        isRefused = book.Open(number) == nullptr && GetLastError() == ERROR_SHARING_VIOLATION &&
                    (attempt % 2 != 0 || !book.Delete(number)) && isRefused;
    }
    return isRefused;
}

// A contact that was opened, and one that was just made, are held against everybody.
void TryDoubleOpens(const CTrialOptions& options, CRow& row)
{
    CBook book(options.folder + "/Contacts");
    const std::uint32_t number = book.New(1, 1000);
    const ContactPtr opened = book.Open(number);
    const ContactPtr made(book.plugin.CreateContact(nullptr));
    if (!row.Try(opened != nullptr && made != nullptr, "nothing to hold")) {
        return;
    }
    const FILETIME stamp = LastWriteOf(book.File(number));
    const int count = options.count / 8;
    for (const ContactPtr* held : {&opened, &made}) {
        const std::uint32_t target = (*held)->GetId().ToNumber();
        // The processes first: a child of a process whose other thread is in the heap may hang.
        const std::vector<pid_t> processes = StartWorkers(2, [&](std::size_t worker) {
            return IsRefused(options.FolderOf(worker) + "/Contacts", target, count);
        });
        auto thread = std::async(std::launch::async, IsRefused, book.path, target, count);
        row.Try(IsRefused(book.path, target, count), "granted", count);
        row.Try(thread.get(), "granted to a thread", count);
        row.Try(HaveSucceeded(processes), "granted to a process", 2 * count);
    }
    row.Try(stamp == LastWriteOf(book.File(number)), "held content changed");
    row.Try(SaveText(*opened, 2, 500), "the holder cannot save");
}

// Whoever opens a contact sees the last save.
void TryLostUpdates(const CTrialOptions& options, CRow& row)
{
    auto& saved = Share<std::atomic<std::uint32_t>>();
    CBook book(options.folder + "/Contacts");
    const std::uint32_t number = book.New(1, 300);
    const std::vector<pid_t> savers = StartWorkers(kSavers, [&](std::size_t saver) {
        CBook own(options.FolderOf(saver) + "/Contacts");
        bool isCurrent = true;
        for (int save = 0; isCurrent && save < options.count / 100; ++save) {
            const ContactPtr contact = own.OpenPatiently(number);
            isCurrent = SeedOf(contact) == saved + 1 &&
                        SaveText(*contact, saved + 2, 100 + RandomBelow(400));
            ++saved;
        }
        return isCurrent;
    });
    const bool isDone = HaveSucceeded(savers);
    row.Try(isDone, "a saver failed, or had a stale text", saved);
    row.Try(book.Seed(number) == saved + 1, "the last save is lost");
}

} // namespace

void TryHandles(const CTrialOptions& options, CRow& row)
{
    TryDoubleOpens(options, row);
    TryLostUpdates(options, row);
}
