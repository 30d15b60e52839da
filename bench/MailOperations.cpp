#include "Bare.h"
#include "Fixtures.h"
#include "core/ContactMgr.h"
#include "mailheader/MailHeaderContactEnumerator.h"
#include "platform/FileTime.h"
#include "trellisv7/TrellisV7ContactEnumerator.h"
#include "trellisv7/TrellisV7Plugin.h"
#include "userstore/UserStoreContactEnumerator.h"

#include <array>
#include <functional>
#include <unordered_set>

namespace
{

using CEnumerator = CContactPlg::CContactEnumerator;

constexpr std::size_t kPolls = 500;
constexpr std::size_t kHeaderBytes = 4096;
constexpr std::size_t kOlderOpened = 20;

struct CMailWork
{
    explicit CMailWork(const CStore::CCounts& counts) : store(counts) {}

    CStore store;
    std::unique_ptr<CEnumerator> walk;
    std::array<char, 65536> buffer;
};

// A whole walk; gives how many contacts it showed.
std::size_t WalkAll(CEnumerator& walk, const std::function<void(CContact&)>& read)
{
    Require(walk.Start(nullptr, nullptr), "a walk does not begin");
    std::size_t count = 0;
    for (; walk.MoveNext(); ++count) {
        read(*walk.GetCurrent());
    }
    Require(count > 0 && walk.GetFaults().empty(), "a walk is not whole");
    return count;
}

// The beginnings of all messages in a folder.
void ReadMessagesBare(const std::string& path, char* buffer, std::size_t size)
{
    const Bare::CFolder folder(path);
    Bare::CListing listing(folder.File());
    while (const char* name = listing.Next()) {
        const int file = Bare::Open(folder.File(), name, O_RDONLY);
        benchmark::DoNotOptimize(Bare::Read(file, buffer, size));
        Bare::Close(file);
    }
}

CPair WalkHeaders(const CShape& shape)
{
    const auto work = std::make_shared<CMailWork>(CStore::CCounts{.senders = shape.count});
    work->walk = std::make_unique<CMailHeaderContactEnumerator>(work->store.alice);
    CPair pair;
    pair.items = shape.count;
    pair.floor = [work] {
        ReadMessagesBare(work->store.AlicePath() + "/cur", work->buffer.data(), kHeaderBytes);
    };
    pair.library = [work] { WalkAll(*work->walk, ReadNames); };
    return pair;
}

CPair WalkOlder(const CShape& shape)
{
    const auto work = std::make_shared<CMailWork>(CStore::CCounts{.older = shape.count});
    work->walk = std::make_unique<CTrellisV7ContactEnumerator>(work->store.alice);
    CPair pair;
    pair.items = shape.count;
    pair.floor = [work] {
        ReadMessagesBare(work->store.AlicePath() + "/.Contacts/cur", work->buffer.data(),
                         work->buffer.size());
    };
    pair.library = [work] { WalkAll(*work->walk, ReadNames); };
    return pair;
}

CPair OpenOlder(const CShape& shape)
{
    const auto work = std::make_shared<CMailWork>(CStore::CCounts{.older = shape.count});
    const auto plugin = std::make_shared<CTrellisV7Plugin>(work->store.alice);
    std::vector<std::string> names;
    for (std::size_t number = 1; number <= kOlderOpened; ++number) {
        names.push_back(OlderName(number * shape.count / kOlderOpened));
    }
    CPair pair;
    pair.items = kOlderOpened;
    pair.floor = [work, names] {
        const Bare::CFolder folder(work->store.AlicePath() + "/.Contacts/cur");
        for (const std::string& name : names) {
            const int file = Bare::Open(folder.File(), name.c_str(), O_RDONLY);
            Bare::Read(file, work->buffer.data(), work->buffer.size());
            Bare::Close(file);
        }
    };
    pair.library = [plugin, names] {
        for (const std::string& name : names) {
            CContact* contact = nullptr;
            const std::string unique = name.substr(0, name.find(':'));
            Require(plugin->OpenContact("TRELLISV7-" + unique + " alice example.org", &contact),
                    "an older contact is not opened");
            ReadNames(*std::unique_ptr<CContact>(contact));
        }
    };
    return pair;
}

CPair WalkMailboxes(const CShape& shape)
{
    const auto work = std::make_shared<CMailWork>(CStore::CCounts{.mailboxes = shape.count});
    work->walk = std::make_unique<CUserStoreContactEnumerator>(work->store.alice);
    CPair pair;
    pair.items = shape.count;
    pair.floor = [work] {
        const Bare::CFolder domain(work->store.root + "/example.org");
        Bare::CListing listing(domain.File());
        while (const char* name = listing.Next()) {
            const std::string mailbox = name;
            Bare::Stat(domain.File(), (mailbox + "/cur").c_str());
            const int file =
                Bare::Open(domain.File(), (mailbox + "/properties.json").c_str(), O_RDONLY);
            Bare::Read(file, work->buffer.data(), work->buffer.size());
            Bare::Close(file);
        }
    };
    pair.library = [work] { WalkAll(*work->walk, ReadNames); };
    return pair;
}

// Polls that tell no change, beside one statx for each of the folders, which lie in alice's.
template <class MakeWalk>
CPair Poll(const std::vector<const char*>& folders, MakeWalk makeWalk)
{
    const auto work = std::make_shared<CMailWork>(
        CStore::CCounts{.book = 100, .older = 100, .mailboxes = 100, .senders = 100});
    work->walk = makeWalk(work->store.alice);
    std::vector<std::string> paths;
    for (const char* folder : folders) {
        paths.push_back(work->store.AlicePath() + folder);
    }
    FILETIME version;
    GetSystemTimeAsFileTime(&version);
    CPair pair;
    pair.items = kPolls;
    pair.floor = [paths] {
        for (std::size_t run = 0; run < kPolls; ++run) {
            for (const std::string& path : paths) {
                benchmark::DoNotOptimize(Bare::Stat(AT_FDCWD, path.c_str()));
            }
        }
    };
    pair.library = [work, version] {
        for (std::size_t run = 0; run < kPolls; ++run) {
            bool isChanged = true;
            Require(work->walk->Start(&version, &isChanged) && !isChanged, "a poll tells a change");
        }
    };
    return pair;
}

CPair PollSenders(const CShape& /*shape*/)
{
    return Poll({"/cur", "/new"}, std::make_unique<CMailHeaderContactEnumerator, CMailbox&>);
}

CPair PollOlder(const CShape& /*shape*/)
{
    return Poll({"/.Contacts/cur", "/.Contacts/new"},
                std::make_unique<CTrellisV7ContactEnumerator, CMailbox&>);
}

CPair PollAll(const CShape& /*shape*/)
{
    const auto manager = std::make_shared<std::unique_ptr<CContactMgr>>();
    CPair pair = Poll({"/Contacts", "/cur", "/new", "/.Contacts/cur", "/.Contacts/new"},
                      [&](CMailbox& mailbox) {
                          *manager = std::make_unique<CContactMgr>(mailbox);
                          return std::unique_ptr<CEnumerator>((*manager)->GetEnumerator());
                      });
    const std::function<void()> poll = pair.library;
    pair.library = [manager, poll] { poll(); };
    return pair;
}

// The walk of a manager leaves out senders that it has shown. The floor is the walk of the senders'
// store with a look into a set for each.
CPair LeaveOutShown(const CShape& shape)
{
    const auto work = std::make_shared<CMailWork>(CStore::CCounts{.senders = shape.count});
    const auto manager = std::make_shared<CContactMgr>(work->store.alice);
    const auto senders = std::make_shared<CMailHeaderContactEnumerator>(work->store.alice);
    work->walk.reset(manager->GetEnumerator());
    CPair pair;
    pair.items = shape.count;
    pair.floor = [work, senders] {
        std::unordered_set<std::string> seen;
        WalkAll(*senders, [&](CContact& contact) {
            seen.insert(contact.GetEmails().GetHead().GetAddress().RawAddress());
        });
    };
    pair.library = [work, manager] { WalkAll(*work->walk, [](CContact&) {}); };
    return pair;
}

const std::vector<CShape> kFolders = {{1000}, {10000}};
const std::vector<CShape> kLarge = {{100000}};

} // namespace

COperations MailOperations()
{
    return {
        {"poll of the senders", "poll", "statx of 2 folders", {{}}, 60, PollSenders},
        {"poll of the older client's contacts", "poll", "statx of 2 folders", {{}}, 60, PollOlder},
        {"poll of all stores", "poll", "statx of 5 folders", {{}}, 60, PollAll},
        {"header walk", "message", "open, read of 4 KiB, close", kFolders, 12, WalkHeaders},
        {"header walk", "message", "open, read of 4 KiB, close", kLarge, 4, WalkHeaders},
        {"duplicates left out",
         "message",
         "the store's own walk, and a set of addresses",
         {{10000}},
         12,
         LeaveOutShown},
        {"mailbox walk", "mailbox", "statx, and open, read, close of the properties", kFolders, 12,
         WalkMailboxes},
        {"older client's walk", "contact", "open, read, close", kFolders, 12, WalkOlder},
        {"older client's open by id", "contact", "open, read, close of the known file", kFolders,
         20, OpenOlder},
    };
}
