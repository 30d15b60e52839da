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

class CFullDiskTrial
{
public:
    CFullDiskTrial(const CTrialOptions& options, CRow& row)
        : m_book(options.folder + "/Contacts"), m_filler(options.folder + "/filler"), m_row(row)
    {
        for (int index = 0; index < options.count; ++index) {
            for (const std::uint32_t size : {1000u, 20'000u, 200'000u}) {
                m_subjects.push_back({m_book.New(1, size), size});
            }
        }
    }

    void Run()
    {
        ContactMgr::CContactIdList deleted, other;
        FILETIME version;
        CPABPlugin& plugin = m_book.plugin;
        m_row.Try(plugin.ChangesSince({}, &version, &deleted, &other, &other), "no report");
        m_process = StartWorker([&] { return Fill(m_filler, m_rounds); });
        for (std::size_t index = 0; index < m_subjects.size(); ++index) {
            SetFlushing(index % 2 == 1);
            Change(m_subjects[index], m_subjects[index].size);
            Change(m_subjects[index], m_subjects[index].size * 3 / 2);
        }
        const bool isReported = plugin.ChangesSince(version, &version, &deleted, &other, &other);
        m_row.Try((isReported || IsForRoom(GetLastError())) && deleted.IsEmpty(),
                  "reported as deleted");
        const auto opened =
            std::ranges::count_if(m_subjects, [&](const CSubject& one) { return IsWhole(one); });
        m_row.Try(std::cmp_greater_equal(m_book.Walk(), opened), "a walk ends too early");
        Kill(m_process);
        std::filesystem::remove(m_filler);
        FlushFileSystem(m_book.path.c_str());
        for (CSubject& subject : m_subjects) {
            m_row.Try(IsWhole(subject), std::to_string(subject.size) + ", with room again");
            subject.saved = ++subject.tried;
            m_row.Try(m_book.Change(subject.number, subject.saved, 1000) && IsWhole(subject),
                      std::to_string(subject.size) + ", saved with room again");
        }
        m_row.Try(m_refused > 0, "the disk was never full");
        m_row.Note(std::to_string(m_refused) + " of " + std::to_string(2 * m_subjects.size()) +
                   " saves refused, " + std::to_string(m_shut) + " left to be repaired");
    }

private:
    // The first of the two rounds may have begun before.
    void WaitUntilFull()
    {
        kill(m_process, SIGCONT);
        for (const int begin = m_rounds; m_rounds < begin + 2;) {
            SleepMicroseconds(50);
        }
    }

    // Whether the contact has the last acknowledged text or a later one.
    bool IsWhole(const CSubject& subject)
    {
        const std::uint32_t seed = SeedOf(m_book.Open(subject.number));
        return seed >= subject.saved && seed <= subject.tried;
    }

    // Some room becomes free, and every other time it goes as soon as the redo file is there.
    void Change(CSubject& subject, std::uint32_t size)
    {
        const std::string what = std::to_string(subject.size) + " to " + std::to_string(size);
        WaitUntilFull();
        kill(m_process, SIGSTOP);
        std::filesystem::resize_file(m_filler, std::filesystem::file_size(m_filler) -
                                                   RandomBelow(2 * size + kFreeBytes));
        const bool isWorst = RandomBelow(2) == 0;
        const CBeforeOverwrite filling([&](int, const void*, std::size_t) {
            if (isWorst) {
                WaitUntilFull();
            }
        });
        ++subject.tried;
        const bool isSaved = m_book.Change(subject.number, subject.tried, size);
        m_row.Try(isSaved || IsForRoom(GetLastError()), what + ": wrong error");
        m_row.Try(std::filesystem::file_size(m_book.File(subject.number)) > 0, what + ": empty");
        WaitUntilFull();
        subject.saved = isSaved ? subject.tried : subject.saved;
        const bool isWhole = IsWhole(subject);
        const bool isShut = !isWhole && !isSaved && IsForRoom(GetLastError());
        m_row.Try(isWhole || isShut, what + ": lost");
        m_refused += !isSaved;
        m_shut += isShut;
    }

    CBook m_book;
    const std::string m_filler;
    CRow& m_row;
    std::vector<CSubject> m_subjects;
    std::atomic<int>& m_rounds = Share<std::atomic<int>>();
    pid_t m_process = 0;
    int m_refused = 0;
    int m_shut = 0;
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
