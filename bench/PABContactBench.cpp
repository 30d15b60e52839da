// What an address book operation costs, in the time of the bare calls that store as many bytes: the
// counter "times bare" is the price of locks, redo file, stamps and the record itself, and "times
// stamped" that without the stamp, against a plain overwrite whose stamp followers can trust. The
// folder is made below TMPDIR; choose the file system by it.

#include "pab/PABContact.h"
#include "pab/PABContactEnumerator.h"
#include "pab/PABPlugin.h"
#include "platform/FileStamp.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using ContactPtr = std::unique_ptr<CContact>;

constexpr std::size_t kContactBytes = 1000;
constexpr int kBareRuns = 2000;
constexpr int kWalked = 100;

class CScratch
{
public:
    CScratch() : root((std::filesystem::temp_directory_path() / "contact-bench-XXXXXX").string())
    {
        if (mkdtemp(root.data()) == nullptr) {
            std::abort();
        }
    }
    ~CScratch()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    CScratch(const CScratch&) = delete;
    CScratch& operator=(const CScratch&) = delete;

    ContactPtr New(CPABPlugin& plugin, std::size_t bytes = kContactBytes)
    {
        ContactPtr contact(plugin.CreateContact(nullptr));
        contact->SetProperty("Comment", std::u16string(bytes - 150, u'x'));
        contact->Save();
        return contact;
    }

    std::string root;
};

// Seconds for one run of the bare calls.
double BareSeconds(const std::function<void(int run)>& calls)
{
    const auto begin = std::chrono::steady_clock::now();
    for (int run = 0; run < kBareRuns; ++run) {
        calls(run);
    }
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begin;
    return spent.count() / kBareRuns;
}

// How many times as long as the other calls a run of the state takes.
benchmark::Counter Ratio(const benchmark::State& state, double otherSeconds)
{
    return {otherSeconds * static_cast<double>(state.iterations()),
            benchmark::Counter::kIsRate | benchmark::Counter::kInvert};
}

void Compare(benchmark::State& state, double bareSeconds, double runs = 1)
{
    state.counters["times bare"] = Ratio(state, bareSeconds * runs);
    state.counters["bare us"] = bareSeconds * 1e6;
}

void WriteBare(int file, std::size_t bytes = kContactBytes)
{
    const std::string text(bytes, 'x');
    if (pwrite(file, text.data(), text.size(), 0) < 0 || futimens(file, nullptr) != 0) {
        std::abort();
    }
}

void TouchBare(const std::string& path)
{
    const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    futimens(folder, nullptr);
    close(folder);
}

void WriteStamped(int file, std::size_t bytes, const std::string& folder)
{
    WriteBare(file, bytes);
    if (!StampAndMoveFolder(file, folder)) {
        std::abort();
    }
}

void ReadBare(const std::string& path)
{
    char text[kContactBytes];
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    benchmark::DoNotOptimize(pread(file, text, sizeof(text), 0));
    close(file);
}

// Of so many bytes.
void Save(benchmark::State& state)
{
    const auto bytes = static_cast<std::size_t>(state.range(0));
    CScratch scratch;
    CPABPlugin plugin(scratch.root + "/Contacts");
    const ContactPtr contact = scratch.New(plugin, bytes);
    const int file = open((scratch.root + "/bare").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const double bare = BareSeconds([&](int) {
        WriteBare(file, bytes);
        TouchBare(scratch.root);
    });
    const double stamped = BareSeconds([&](int) { WriteStamped(file, bytes, scratch.root); });
    close(file);
    for (auto _ : state) {
        contact->SetProperty("FullName", u"Ann Archer");
        if (!contact->Save()) {
            state.SkipWithError("not saved");
        }
    }
    Compare(state, bare);
    state.counters["times stamped"] = Ratio(state, stamped);
}
BENCHMARK(Save)->Arg(kContactBytes)->Arg(5 * kContactBytes)->UseRealTime();

void OpenAndRead(benchmark::State& state)
{
    CScratch scratch;
    CPABPlugin plugin(scratch.root + "/Contacts");
    const ContactMgr::CContactId id = scratch.New(plugin)->GetId();
    const std::string path = scratch.root + "/Contacts/" + CPABContact::ContactIdToFileName(id);
    const double bare = BareSeconds([&](int) { ReadBare(path); });
    for (auto _ : state) {
        CContact* contact = nullptr;
        if (!plugin.OpenContact(id, &contact)) {
            state.SkipWithError("not opened");
        }
        delete contact;
    }
    Compare(state, bare);
}
BENCHMARK(OpenAndRead)->UseRealTime();

void CreateAndSave(benchmark::State& state)
{
    CScratch scratch;
    CPABPlugin plugin(scratch.root + "/Contacts");
    const double bare = BareSeconds([&](int run) {
        const std::string path = scratch.root + "/" + std::to_string(run);
        const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        WriteBare(file);
        close(file);
        TouchBare(scratch.root);
    });
    for (auto _ : state) {
        if (scratch.New(plugin) == nullptr) {
            state.SkipWithError("not created");
        }
    }
    Compare(state, bare);
}
BENCHMARK(CreateAndSave)->UseRealTime();

void Walk(benchmark::State& state)
{
    CScratch scratch;
    const std::string root = scratch.root + "/Contacts";
    CPABPlugin plugin(root);
    std::string path;
    for (int number = 0; number < kWalked; ++number) {
        path = root + '/' + CPABContact::ContactIdToFileName(scratch.New(plugin)->GetId());
    }
    const double bare = BareSeconds([&](int) { ReadBare(path); });
    for (auto _ : state) {
        CPABContactEnumerator walk(root);
        int count = 0;
        walk.Start(nullptr, nullptr);
        while (walk.MoveNext()) {
            ++count;
        }
        if (count != kWalked) {
            state.SkipWithError("contacts are missing");
        }
    }
    Compare(state, bare, kWalked);
}
BENCHMARK(Walk)->UseRealTime();

} // namespace
