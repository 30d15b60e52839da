#include "platform/FileHandle.h"
#include "trust/Trial.h"

#include <array>
#include <filesystem>

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr std::uint32_t kOldSeed = 1;
constexpr std::uint32_t kNewSeed = 14; // half an alphabet away

constexpr std::array<std::array<std::size_t, 2>, 10> kSizePairs = {{{200, 200},
                                                                    {1000, 20'000},
                                                                    {20'000, 1000},
                                                                    {1000, 900},
                                                                    {900, 1000},
                                                                    {100, 4000},
                                                                    {4000, 100},
                                                                    {4096, 4096},
                                                                    {20'000, 19'000},
                                                                    {3000, 200'000}}};

enum class End
{
    Killed,
    Succeeded,
    Failed
};

// Which system call a traced process is not to live to make: told its number and how many came.
using Moment = std::function<bool(std::uint64_t call, int count)>;

// The last call that was begun.
std::uint64_t g_lastCall = 0;

// Runs the work in a child and kills that child when it enters the chosen system call.
End RunAndKill(const std::function<bool()>& work, const Moment& isMoment)
{
    const pid_t child = StartWorker([&] {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        return work();
    });
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (int count = 0;;) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        if (!WIFSTOPPED(status)) {
            return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? End::Succeeded : End::Failed;
        }
        __ptrace_syscall_info info = {};
        ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(info), &info);
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            g_lastCall = info.entry.nr;
            if (isMoment(info.entry.nr, ++count)) {
                Kill(child);
                return End::Killed;
            }
        }
    }
}

// What must not change while a contact is rewritten.
struct CIdentity
{
    ino_t inode = 0;
    std::uint64_t creation = 0;
    bool operator==(const CIdentity&) const = default;
};

CIdentity IdentityOf(const std::string& path)
{
    CIdentity identity;
    struct stat status = {};
    FILETIME creation;
    const CFileHandle file(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE));
    if (stat(path.c_str(), &status) == 0 &&
        GetFileTime(file.Get(), &creation, nullptr, nullptr) != 0) {
        identity = {status.st_ino, FileTimeToCount(creation)};
    }
    return identity;
}

class CKillTrial
{
public:
    CKillTrial(const std::string& book, bool isFlushing)
        : m_book(book), m_plugin(book), m_isFlushing(isFlushing)
    {}

    void Run(std::size_t oldSize, std::size_t newSize, CRow& row)
    {
        m_what = std::to_string(oldSize) + " to " + std::to_string(newSize) +
                 (m_isFlushing ? " flushed" : "");
        m_oldSize = oldSize;
        m_newSize = newSize;
        m_number = New(m_plugin, kOldSeed, oldSize);
        Save(row);
        Repair(row);
        Delete(row, false);
        Delete(row, true);
        Create(row);
    }

    // The folder is made by its first contact; that moment is tried once for each switch.
    void Begin(CRow& row)
    {
        const std::string fresh = m_book + "-first";
        m_what = "first contact";
        Sweep(
            row, "begin", [&] { std::filesystem::remove_all(fresh); },
            [&] {
                CPABPlugin plugin(fresh);
                return New(plugin, kNewSeed, 1000) != 0;
            },
            [&](End) {
                CPABPlugin plugin(fresh);
                return New(plugin, kNewSeed, 100) != 0 && CountersIn(fresh).size() == 1;
            });
    }

private:
    using Step = std::function<void()>;

    void Sweep(CRow& row, const char* operation, const Step& prepare,
               const std::function<bool()>& work, const std::function<bool(End)>& isWhole)
    {
        End end = End::Killed;
        for (int kill = 1; end == End::Killed; ++kill) {
            prepare();
            SetFlushing(m_isFlushing);
            end = RunAndKill(work, [&](std::uint64_t, int count) { return count == kill; });
            SetFlushing(false);
            const bool isKept = end != End::Failed && isWhole(end);
            row.Try(isKept, std::string(operation) + ' ' + m_what + ", call " +
                                std::to_string(g_lastCall) + " at " + std::to_string(kill));
        }
    }

    // The seed of the contact as a fresh object reads it; 0 where it does not open. A network file
    // system gives up a dead process's lock a little later.
    std::uint32_t Seed()
    {
        const ContactPtr contact = OpenPatiently(m_plugin, m_number);
        const auto seed = contact == nullptr ? 0 : SeedOf(*contact);
        return seed.value_or(~0u);
    }

    bool IsClear()
    {
        return !std::filesystem::exists(RedoPathOf(m_book, m_number)) &&
               New(m_plugin, kOldSeed, 100) >= m_number && CountersIn(m_book).size() == 1;
    }

    bool IsTidy()
    {
        return LastWriteOf(m_book) >= LastWriteOf(PathOf(m_book, m_number)) && IsClear();
    }

    void MakeOld()
    {
        if (Seed() != kOldSeed && !Change(m_plugin, m_number, kOldSeed, m_oldSize)) {
            m_number = New(m_plugin, kOldSeed, m_oldSize);
        }
    }

    void Save(CRow& row)
    {
        CIdentity before;
        Sweep(
            row, "save",
            [&] {
                MakeOld();
                before = IdentityOf(PathOf(m_book, m_number));
            },
            [&] { return Change(m_plugin, m_number, kNewSeed, m_newSize); },
            [&](End end) {
                const std::uint32_t seed = Seed();
                return (seed == kNewSeed || (end == End::Killed && seed == kOldSeed)) &&
                       before == IdentityOf(PathOf(m_book, m_number)) && IsTidy();
            });
    }

    // Half of the new text lies over the old one, and the redo file of the dead writer beside it.
    void Repair(CRow& row)
    {
        const std::string path = PathOf(m_book, m_number);
        MakeOld();
        int writes = 0;
        RunAndKill([&] { return Change(m_plugin, m_number, kNewSeed, m_newSize); },
                   [&](std::uint64_t call, int) {
                       writes += call == SYS_pwrite64 ? 1 : 0;
                       return writes == 2;
                   });
        m_redo = ReadWhole(RedoPathOf(m_book, m_number));
        m_torn = ReadWhole(path);
        if (!row.Try(!m_redo.empty() && !m_torn.empty(), "no redo file of a killed save")) {
            return;
        }
        m_torn.replace(0, m_newSize / 2, m_redo, 0, m_newSize / 2);
        CIdentity before;
        Sweep(
            row, "repair",
            [&] {
                PlantTorn();
                before = IdentityOf(path);
            },
            [&] { return Open(m_plugin, m_number) != nullptr; },
            [&](End) { return Seed() == kNewSeed && before == IdentityOf(path) && IsTidy(); });
    }

    void PlantTorn()
    {
        WriteWhole(PathOf(m_book, m_number), m_torn);
        WriteWhole(RedoPathOf(m_book, m_number), m_redo);
    }

    void Delete(CRow& row, bool isTorn)
    {
        CIdentity before;
        Sweep(
            row, isTorn ? "delete torn" : "delete",
            [&] {
                MakeOld();
                if (isTorn) {
                    PlantTorn();
                }
                before = IdentityOf(PathOf(m_book, m_number));
            },
            [&] { return m_plugin.DeleteContact(IdOf(m_number)); },
            [&](End end) {
                const std::string path = PathOf(m_book, m_number);
                const std::uint32_t seed = Seed();
                const bool isGone = seed == 0 && std::filesystem::file_size(path) == 0;
                if (isGone) {
                    m_plugin.DeleteContact(IdOf(m_number)); // nobody opens it, which would repair
                }
                const bool isThere = seed == (isTorn ? kNewSeed : kOldSeed) && end == End::Killed;
                return (isGone || isThere) && before == IdentityOf(path) && IsTidy();
            });
    }

    void Create(CRow& row)
    {
        Sweep(
            row, "create", [&] { m_number = CountersIn(m_book).front(); },
            [&] { return New(m_plugin, kNewSeed, m_newSize) != 0; },
            [&](End end) {
                const std::uint32_t seed = Seed();
                // On CephFS an empty file may be some milliseconds later than its folder.
                return seed == kNewSeed ? IsTidy() : end == End::Killed && seed == 0 && IsClear();
            });
    }

    const std::string m_book;
    CPABPlugin m_plugin;
    const bool m_isFlushing;
    std::string m_what;
    std::size_t m_oldSize = 0;
    std::size_t m_newSize = 0;
    std::uint32_t m_number = 0;
    std::string m_redo;
    std::string m_torn;
};

} // namespace

bool TryKills(const CTrialOptions& options)
{
    CRow row("killed at every system call: contact whole, old or new");
    for (const bool isFlushing : {false, true}) {
        CKillTrial trial(options.folder + (isFlushing ? "/flushed" : "/plain"), isFlushing);
        trial.Begin(row);
        for (int pair = 0; pair < options.count && pair < std::ssize(kSizePairs); ++pair) {
            const auto [oldSize, newSize] = kSizePairs[static_cast<std::size_t>(pair)];
            trial.Run(oldSize, newSize, row);
        }
    }
    return row.Print();
}

bool TryRandomKills(const CTrialOptions& options)
{
    CRow row("killed at any time: contact whole, acknowledged save there");
    const std::string book = options.folder + "/Contacts";
    CPABPlugin plugin(book);
    for (const std::uint32_t size : {1000u, 20'000u, 200'000u}) {
        const CShared<std::atomic<std::uint32_t>> acknowledged;
        const std::uint32_t number = New(plugin, 1, size);
        const std::string path = PathOf(book, number);
        const CIdentity before = IdentityOf(path);
        *acknowledged = 1;
        for (int kill = 0; kill < (options.count + 2) / 3; ++kill) {
            const std::uint32_t first = *acknowledged;
            const pid_t saver = StartWorker([&] {
                const ContactPtr contact = Open(plugin, number);
                while (contact != nullptr) {
                    SetText(*contact, *acknowledged + 1, size - RandomBelow(size / 2));
                    if (!contact->Save()) {
                        return false;
                    }
                    ++*acknowledged;
                }
                return false;
            });
            for (int wait = 0; wait < 20'000 && *acknowledged == first; ++wait) {
                SleepMicroseconds(50);
            }
            SleepMicroseconds(RandomBelow(size > 100'000 ? 6000 : 1500));
            Kill(saver);
            const ContactPtr contact = OpenPatiently(plugin, number);
            const auto seed = contact == nullptr ? std::nullopt : SeedOf(*contact);
            const bool isWhole = seed == *acknowledged || seed == *acknowledged + 1;
            row.Try(isWhole && *acknowledged > first && before == IdentityOf(path) &&
                        !std::filesystem::exists(RedoPathOf(book, number)),
                    std::to_string(size) + " bytes");
            *acknowledged = seed.value_or(*acknowledged);
        }
    }
    return row.Print();
}
