#include "trust/Book.h"

#include <grp.h>

namespace
{

constexpr uid_t kMailServer = 65534; // user and group

// The path to the trial's folder may be closed to the mail server, so all go from there.
const std::string kBook = "Contacts";

// Kills its process at one of the library's system calls.
struct CDeath : CPlantedCalls
{
    explicit CDeath(int call) : left(call) {}
    int Begin(const char* /*call*/) override { return left-- == 0 ? raise(SIGKILL) : 0; }
    int left;
};

bool WorkAsRoot(int callsUntilDeath)
{
    const CDeath death(callsUntilDeath);
    CBook book(kBook);
    const std::uint32_t number = book.New(1, 1000);
    return number != 0 && book.New(1, 200) != 0 && book.Change(number, 2, 20'000) &&
           book.Change(number, 3, 300) && book.Delete(number);
}

bool WorkAsMailServer(const std::vector<std::uint32_t>& live)
{
    CBook book(kBook);
    const bool isDone = setgroups(0, nullptr) == 0 && setgid(kMailServer) == 0 &&
                        setuid(kMailServer) == 0 && book.Walk().size() >= live.size() &&
                        std::ranges::all_of(live, [&](std::uint32_t number) {
                            return book.Change(number, 4, 500);
                        });
    const std::uint32_t made = isDone ? book.New(5, 500) : 0;
    return made != 0 && book.Delete(made);
}

} // namespace

// Root is killed at every system call that it makes through the library.
void TryRoot(const CTrialOptions& options, CRow& row)
{
    if (geteuid() != 0) {
        row.Note("skipped: wants root");
        return;
    }
    row.Try(chown(options.folder.c_str(), kMailServer, kMailServer) == 0 &&
                chmod(options.folder.c_str(), 0750) == 0 && chdir(options.folder.c_str()) == 0,
            "no folder");
    int kills = 0;
    for (bool isKilled = true; isKilled; ++kills) {
        std::filesystem::remove_all(kBook);
        const std::string what = ", root killed at " + std::to_string(kills);
        int status = 0;
        waitpid(StartWorker([&] { return WorkAsRoot(kills); }), &status, 0);
        isKilled = WIFSIGNALED(status);
        row.Try(isKilled || status == 0, "root itself failed");
        std::vector<std::uint32_t> live;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(".")) {
            const std::filesystem::path& path = entry.path();
            struct stat owned = {};
            const bool isOwn = lstat(path.c_str(), &owned) == 0 && owned.st_uid == kMailServer &&
                               owned.st_gid == kMailServer;
            // What has no name yet is dropped by the next maker.
            row.Try(isOwn || path.extension() == ".new~", path.string() + " is another's" + what);
            if (path.parent_path() == "./" + kBook && path.extension() == ".vcf" &&
                entry.file_size() > 0) {
                live.push_back(CPABContact::FileNameToContactId(path.filename()).ToNumber());
            }
        }
        row.Try(HaveSucceeded({StartWorker([&] { return WorkAsMailServer(live); })}),
                "the mail server is locked out" + what);
    }
    row.Note(std::to_string(kills - 1) + " kills");
}
