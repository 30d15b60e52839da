#include "platform/FileHandle.h"
#include "trust/Book.h"

#include <sys/ptrace.h>
#include <sys/stat.h>

namespace
{

constexpr std::uint32_t kOld = 1;
constexpr std::uint32_t kNew = 14; // half an alphabet away

using Sizes = std::pair<std::size_t, std::size_t>;

constexpr Sizes kSizes[] = {{200, 200},       {1000, 20'000}, {20'000, 1000}, {1000, 900},
                            {900, 1000},      {100, 4000},    {4000, 100},    {4096, 4096},
                            {20'000, 19'000}, {3000, 200'000}};

// Runs the work in a child and kills that child when it enters the system call of that number,
// counted from 1. Gives how the child ended.
int RunAndKill(const std::function<bool()>& work, int number)
{
    const pid_t child = StartWorker([&] {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        return work();
    });
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    while (number > 0 && WIFSTOPPED(status)) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        __ptrace_syscall_info info = {};
        ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(info), &info);
        number -= info.op == PTRACE_SYSCALL_INFO_ENTRY ? 1 : 0;
    }
    return WIFSTOPPED(status) ? Kill(child) : status;
}

// What must not change while a contact is rewritten: inode and creation time.
using Identity = std::pair<ino_t, std::uint64_t>;

Identity IdentityOf(const std::string& path)
{
    struct stat status = {};
    FILETIME creation;
    const CFileHandle file(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE));
    const bool isThere = stat(path.c_str(), &status) == 0 &&
                         GetFileTime(file.Get(), &creation, nullptr, nullptr) != 0;
    return isThere ? Identity(status.st_ino, FileTimeToCount(creation)) : Identity();
}

// An operation, and the seed of the text that the contact holds before and after it; 0 for none.
struct COperation
{
    const char* name;
    std::function<void()> prepare;
    std::function<bool()> run;
    std::uint32_t before;
    std::uint32_t after;
};

class CKillTrial
{
public:
    CKillTrial(const std::string& path, bool isFlushing, CRow& row)
        : m_book(path), m_isFlushing(isFlushing), m_row(row)
    {}

    void Run(const Sizes& sizes)
    {
        const auto makeOld = [&] {
            if (m_book.Seed(m_number) != kOld && !m_book.Change(m_number, kOld, sizes.first)) {
                m_number = m_book.New(kOld, sizes.first);
            }
        };
        const auto tear = [&] {
            makeOld();
            m_book.ChangeHalfWay(m_number, kNew, sizes.second);
        };
        const auto create = [&] { return m_book.New(kNew, sizes.second) != 0; };
        const auto change = [&] { return m_book.Change(m_number, kNew, sizes.second); };
        const auto open = [&] { return m_book.Open(m_number) != nullptr; };
        const auto remove = [&] { return m_book.Delete(m_number); };
        const auto makeNoFolder = [&] {
            std::filesystem::remove_all(m_book.path);
            m_number = 1;
        };
        const auto goOn = [&] { m_number = m_book.New(kOld, 100) + 1; };
        const COperation operations[] = {
            {"first of all", makeNoFolder, create, 0, kNew},
            {"save", makeOld, change, kOld, kNew},
            {"repair", tear, open, kNew, kNew},
            {"delete", makeOld, remove, kOld, 0},
            {"delete torn", tear, remove, kNew, 0},
            {"create", goOn, create, 0, kNew},
        };
        const std::string what = ' ' + std::to_string(sizes.first) + " to " +
                                 std::to_string(sizes.second) + (m_isFlushing ? " flushed" : "");
        for (const COperation& operation : operations) {
            Sweep(operation, operation.name + what);
        }
    }

private:
    void Sweep(const COperation& operation, const std::string& what)
    {
        bool isKilled = true;
        for (int call = 1; isKilled; ++call) {
            operation.prepare();
            const Identity before = IdentityOf(m_book.File(m_number));
            SetFlushing(m_isFlushing);
            const int status = RunAndKill(operation.run, call);
            SetFlushing(false);
            isKilled = WIFSIGNALED(status);
            const std::uint32_t seed = m_book.Seed(m_number);
            const bool isIntact = seed == operation.after || (isKilled && seed == operation.before);
            m_row.Try((isKilled || status == 0) && isIntact &&
                          (seed != 0 || IsNoContact(operation.after == 0)) &&
                          (before == Identity() || before == IdentityOf(m_book.File(m_number))) &&
                          IsTidy(),
                      what + " at call " + std::to_string(call));
        }
    }

    // One that was deleted is opened by nobody, which would repair it.
    bool IsNoContact(bool isDeleted)
    {
        std::error_code ignored;
        const bool isEmpty = std::filesystem::file_size(m_book.File(m_number), ignored) == 0;
        return (isEmpty && (!isDeleted || m_book.Delete(m_number))) || ignored;
    }

    bool IsTidy()
    {
        return !m_book.HasRedoFile(m_number) &&
               LastWriteOf(m_book.path) >= LastWriteOf(m_book.File(m_number)) &&
               m_book.New(kOld, 100) >= m_number && m_book.Counters() == 1;
    }

    CBook m_book;
    const bool m_isFlushing;
    CRow& m_row;
    std::uint32_t m_number = 0;
};

} // namespace

void TryKills(const CTrialOptions& options, CRow& row)
{
    for (const bool isFlushing : {false, true}) {
        CKillTrial trial(options.folder + (isFlushing ? "/flushed" : "/plain"), isFlushing, row);
        for (int pair = 0; pair < options.count && pair < std::ssize(kSizes); ++pair) {
            trial.Run(kSizes[pair]);
        }
    }
}

void TryRandomKills(const CTrialOptions& options, CRow& row)
{
    CBook book(options.folder + "/Contacts");
    for (const std::uint32_t size : {1000u, 20'000u, 200'000u}) {
        auto& acknowledged = Share<std::atomic<std::uint32_t>>();
        acknowledged = 1;
        const std::uint32_t number = book.New(1, size);
        const Identity before = IdentityOf(book.File(number));
        for (int kill = 0; kill < (options.count + 2) / 3; ++kill) {
            const std::uint32_t first = acknowledged;
            const pid_t saver = StartWorker([&] {
                const ContactPtr contact = book.Open(number);
                while (contact != nullptr &&
                       SaveText(*contact, acknowledged + 1, size - RandomBelow(size / 2))) {
                    ++acknowledged;
                }
                return false;
            });
            for (int wait = 0; wait < 20'000 && acknowledged == first; ++wait) {
                SleepMicroseconds(50);
            }
            SleepMicroseconds(RandomBelow(size > 100'000 ? 6000 : 1500));
            Kill(saver);
            const std::uint32_t seed = book.Seed(number);
            row.Try((seed == acknowledged || seed == acknowledged + 1) && acknowledged > first &&
                        before == IdentityOf(book.File(number)) && !book.HasRedoFile(number),
                    std::to_string(size) + " bytes");
            acknowledged = seed != 0 ? seed : acknowledged.load();
        }
    }
}
