#include "pab/PABContactEnumerator.h"
#include "trust/Trial.h"

#include <filesystem>

#include <grp.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr uid_t kMailServer = 65534; // user and group

// Kills its process at one of the library's system calls.
class CDeath : public CSystemCalls
{
public:
    explicit CDeath(int call) : m_left(call) { Replace(this); }
    ~CDeath() override { Replace(nullptr); }

protected:
    int Begin(const char* /*call*/) override { return m_left-- == 0 ? raise(SIGKILL) : 0; }

private:
    int m_left;
};

bool WorkAsRoot(const std::string& book, int death)
{
    const CDeath atCall(death);
    CPABPlugin plugin(book);
    const std::uint32_t number = New(plugin, 1, 1000);
    return number != 0 && New(plugin, 1, 200) != 0 && Change(plugin, number, 2, 20'000) &&
           Change(plugin, number, 3, 300) && plugin.DeleteContact(IdOf(number));
}

bool WorkAsMailServer(const std::string& book, const std::vector<std::uint32_t>& live)
{
    bool isDone =
        setgroups(0, nullptr) == 0 && setgid(kMailServer) == 0 && setuid(kMailServer) == 0;
    CPABPlugin plugin(book);
    CPABContactEnumerator walk(book);
    isDone = isDone && walk.Start(nullptr, nullptr);
    for (std::size_t left = live.size(); left > 0; --left) {
        isDone = isDone && walk.MoveNext();
    }
    walk.Finish();
    for (const std::uint32_t number : live) {
        isDone = isDone && Change(plugin, number, 4, 500);
    }
    const std::uint32_t made = isDone ? New(plugin, 5, 500) : 0;
    return made != 0 && plugin.DeleteContact(IdOf(made));
}

} // namespace

// Root is killed at every system call that it makes through the library.
bool TryRoot(const CTrialOptions& options)
{
    CRow row("what root made or left half done: the mail server goes on with it");
    if (geteuid() != 0) {
        row.Note("skipped: wants root");
        return row.Print();
    }
    // The path to this folder may be closed to the mail server, so both go from here.
    const std::string book = "Contacts";
    row.Try(chown(options.folder.c_str(), kMailServer, kMailServer) == 0 &&
                chmod(options.folder.c_str(), 0750) == 0 && chdir(options.folder.c_str()) == 0,
            "no folder");
    int status = SIGKILL;
    int kills = 0;
    for (; WIFSIGNALED(status); ++kills) {
        std::filesystem::remove_all(book);
        waitpid(StartWorker([&] { return WorkAsRoot(book, kills); }), &status, 0);
        const std::string what = ", root killed at " + std::to_string(kills);
        std::vector<std::uint32_t> live;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(".")) {
            const std::filesystem::path& path = entry.path();
            struct stat entryStatus = {};
            row.Try(
                lstat(path.c_str(), &entryStatus) == 0 &&
                    ((entryStatus.st_uid == kMailServer && entryStatus.st_gid == kMailServer) ||
                     path.extension() == ".new~"), // has no name yet, and the next maker drops it

                path.string() + " is another's" + what);
            if (path.parent_path() == "./" + book && path.extension() == ".vcf" &&
                entryStatus.st_size > 0) {
                live.push_back(CPABContact::FileNameToContactId(path.filename()).ToNumber());
            }
        }
        row.Try(HasSucceeded(StartWorker([&] { return WorkAsMailServer(book, live); })),
                "the mail server is locked out" + what);
    }
    row.Try(WIFEXITED(status) && WEXITSTATUS(status) == 0, "root itself failed");
    row.Note(std::to_string(kills - 1) + " kills");
    return row.Print();
}
