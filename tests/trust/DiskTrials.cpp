#include "platform/Flushing.h"
#include "trust/Book.h"

namespace
{

constexpr std::uint32_t kFreeBytes = 1'000'000; // file systems reserve more than they use

struct CSubject
{
    std::uint32_t number = 0;
    std::uint32_t size = 0;
    std::uint32_t saved = 1; // the last seed for which Save gave true
    std::uint32_t tried = 1;
};

bool IsForRoom(std::uint32_t error)
{
    return error == ERROR_DISK_FULL || error == ERROR_DISK_QUOTA_EXCEEDED;
}

// Takes all the room there is, and whatever becomes free unless it is stopped.
bool Fill(const std::string& path, std::atomic<int>& rounds)
{
    const std::vector<char> block(1 << 20, 'x');
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    for (;; ++rounds) {
        for (std::size_t size = block.size(); size > 0; size /= 2) {
            while (write(file, block.data(), size) > 0) {
            }
        }
        SleepMicroseconds(300);
    }
}

struct CFullDiskTrial
{
    CFullDiskTrial(const CTrialOptions& options, CRow& counted)
        : book(options.folder + "/Contacts"), filler(options.folder + "/filler"), row(counted)
    {
        for (int index = 0; index < options.count; ++index) {
            for (const std::uint32_t size : {1000u, 20'000u, 200'000u}) {
                subjects.push_back({book.New(1, size), size});
            }
        }
    }

    void Run()
    {
        ContactMgr::CContactIdList deleted, other;
        FILETIME version;
        row.Try(book.plugin.ChangesSince({}, &version, &deleted, &other, &other), "no report");
        process = StartWorker([&] { return Fill(filler, rounds); });
        for (std::size_t index = 0; index < subjects.size(); ++index) {
            SetFlushing(index % 2 == 1);
            Change(subjects[index], subjects[index].size);
            Change(subjects[index], subjects[index].size * 3 / 2);
        }
        const bool isTold = book.plugin.ChangesSince(version, &version, &deleted, &other, &other);
        row.Try((isTold || IsForRoom(GetLastError())) && deleted.IsEmpty(), "reported as deleted");
        const auto opened =
            std::ranges::count_if(subjects, [&](const CSubject& one) { return IsWhole(one); });
        row.Try(std::cmp_greater_equal(book.Walk().size(), opened), "a walk ends too early");
        Kill(process);
        std::filesystem::remove(filler);
        FlushFileSystem(book.path.c_str());
        for (CSubject& subject : subjects) {
            row.Try(IsWhole(subject), std::to_string(subject.size) + ", with room again");
            subject.saved = ++subject.tried;
            row.Try(book.Change(subject.number, subject.saved, 1000) && IsWhole(subject),
                    std::to_string(subject.size) + ", saved with room again");
        }
        row.Try(refused > 0, "the disk was never full");
        row.Note(std::to_string(refused) + " of " + std::to_string(2 * subjects.size()) +
                 " saves refused, " + std::to_string(shut) + " left to be repaired");
    }

    // The first of the two rounds may have begun before.
    void WaitUntilFull()
    {
        kill(process, SIGCONT);
        for (const int begin = rounds; rounds < begin + 2;) {
            SleepMicroseconds(50);
        }
    }

    // Whether the contact has the last acknowledged text or a later one.
    bool IsWhole(const CSubject& subject)
    {
        const std::uint32_t seed = SeedOf(book.Open(subject.number));
        return seed >= subject.saved && seed <= subject.tried;
    }

    // Some room becomes free, and every other time it goes as soon as the redo file is there.
    void Change(CSubject& subject, std::uint32_t size)
    {
        const std::string what = std::to_string(subject.size) + " to " + std::to_string(size);
        WaitUntilFull();
        kill(process, SIGSTOP);
        std::filesystem::resize_file(filler, std::filesystem::file_size(filler) -
                                                 RandomBelow(2 * size + kFreeBytes));
        const CBeforeOverwrite filling(
            [&, isWorst = RandomBelow(2) == 0](int, const void*, std::size_t) {
                if (isWorst) {
                    WaitUntilFull();
                }
            });
        ++subject.tried;
        const bool isSaved = book.Change(subject.number, subject.tried, size);
        row.Try(isSaved || IsForRoom(GetLastError()), what + ": wrong error");
        WaitUntilFull();
        subject.saved = isSaved ? subject.tried : subject.saved;
        const bool isWhole = IsWhole(subject);
        const bool isShut = !isWhole && !isSaved && IsForRoom(GetLastError());
        row.Try(isWhole || isShut, what + ": lost");
        refused += !isSaved;
        shut += isShut;
    }

    CBook book;
    const std::string filler;
    CRow& row;
    std::vector<CSubject> subjects;
    std::atomic<int>& rounds = Share<std::atomic<int>>();
    pid_t process = 0;
    int refused = 0;
    int shut = 0;
};

} // namespace

void TryFullDisk(const CTrialOptions& options, CRow& row)
{
    CFullDiskTrial trial(options, row);
    const std::string command =
        "cd '" + options.folder + "' && cp -a --reflink=always Contacts Copies && " + options.share;
    if (row.Try(std::system(command.c_str()) == 0, "blocks cannot be shared here")) {
        trial.Run();
    }
}
