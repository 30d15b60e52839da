#include "platform/Flushing.h"
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

// Works in a process, and kills it where it enters its Nth system call. Gives how it ended.
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

struct CKillTrial
{
    void Run(const Sizes& sizes)
    {
        const auto makeOld = [&] {
            if (book.Seed(number) != kOld && !book.Change(number, kOld, sizes.first)) {
                number = book.New(kOld, sizes.first);
            }
        };
        const auto tear = [&] {
            makeOld();
            book.ChangeHalfWay(number, kNew, sizes.second);
        };
        const auto create = [&] { return book.New(kNew, sizes.second) != 0; };
        const auto remove = [&] { return book.Delete(number); };
        const auto makeNoFolder = [&] {
            std::filesystem::remove_all(book.path);
            number = 1;
        };
        const COperation operations[] = {
            {"first of all", makeNoFolder, create, 0, kNew},
            {"save", makeOld, [&] { return book.Change(number, kNew, sizes.second); }, kOld, kNew},
            {"repair", tear, [&] { return book.Open(number) != nullptr; }, kNew, kNew},
            {"delete", makeOld, remove, kOld, 0},
            {"delete torn", tear, remove, kNew, 0},
            {"create", [&] { number = book.New(kOld, 100) + 1; }, create, 0, kNew},
        };
        const std::string what = ' ' + std::to_string(sizes.first) + " to " +
                                 std::to_string(sizes.second) + (isFlushing ? " flushed" : "");
        for (const COperation& operation : operations) {
            Sweep(operation, operation.name + what);
        }
    }

    void Sweep(const COperation& operation, const std::string& what)
    {
        bool isKilled = true;
        for (int call = 1; isKilled; ++call) {
            operation.prepare();
            const std::string file = book.File(number);
            const Identity before = IdentityOf(file);
            SetFlushing(isFlushing);
            const int status = RunAndKill(operation.run, call);
            SetFlushing(false);
            isKilled = WIFSIGNALED(status);
            const std::uint32_t seed = book.Seed(number);
            const bool isThere = std::filesystem::exists(file) && !std::filesystem::is_empty(file);
            if (seed == 0 && operation.after == 0) {
                book.Delete(number); // nobody opens it, which would repair it
            }
            // What was never saved may be some milliseconds later than its folder, as on CephFS.
            const bool isBehind =
                (seed != 0 || operation.before != 0) && LastWriteOf(book.path) < LastWriteOf(file);
            row.Try((status == 0 || isKilled) && isThere == (seed != 0) && !isBehind &&
                        (seed == operation.after || (isKilled && seed == operation.before)) &&
                        (before == Identity() || before == IdentityOf(file)) && IsTidy(),
                    what + " at call " + std::to_string(call));
        }
    }

    bool IsTidy()
    {
        return !std::filesystem::exists(book.File(number, "/.redo/")) &&
               book.New(kOld, 100) >= number && book.Counters() == 1;
    }

    CBook book;
    CRow& row;
    bool isFlushing;
    std::uint32_t number = 0;
};

} // namespace

void TryKills(const CTrialOptions& options, CRow& row)
{
    for (const bool isFlushing : {false, true}) {
        CKillTrial trial{CBook(options.folder + (isFlushing ? "/flushed" : "/plain")), row,
                         isFlushing};
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
                        before == IdentityOf(book.File(number)) &&
                        !std::filesystem::exists(book.File(number, "/.redo/")),
                    std::to_string(size) + " bytes");
            acknowledged = seed != 0 ? seed : acknowledged.load();
        }
    }
}
