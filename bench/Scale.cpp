// What one of many servers of a large mail service carries: a store of many mailboxes, of which a
// part has a small address book, and polls, saves and walks of mailboxes taken at random. Prints
// one JSON object. bench/scale.md.in tells what the figures are used for.
//
// Usage: contactmgr_scale FOLDER MAILBOXES       FOLDER is empty and stays

#include "Clock.h"
#include "CountingCalls.h"
#include "Fixtures.h"
#include "core/ContactMgr.h"
#include "platform/FileTime.h"
#include "server/MailStoreAdmin.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>

#include <malloc.h>
#include <sys/stat.h>

namespace
{

constexpr std::size_t kMailboxesOfADomain = 1000;
constexpr std::size_t kMailboxesWithoutBook = 19; // for each one with
constexpr std::size_t kContactsOfABook = 20;
constexpr std::size_t kKeptManagers = 2000;

using CEnumerator = CContactPlg::CContactEnumerator;

// What files and folders take.
struct CDisk
{
    void Add(const std::filesystem::path& path)
    {
        struct stat status = {};
        Require(lstat(path.c_str(), &status) == 0, path.c_str());
        bytes += 512 * static_cast<double>(status.st_blocks);
        ++inodes;
    }

    double bytes = 0;
    double inodes = 0;
};

// A mailbox that is open, with its contacts.
struct COpenMailbox
{
    COpenMailbox(_tMailServer* server, const std::string& name, const std::string& domain)
    {
        Require(mailbox.Open(server, name.c_str(), domain.c_str()), "a mailbox is not opened");
        manager = std::make_unique<CContactMgr>(mailbox);
        walk.reset(manager->GetEnumerator());
    }

    COpenMailbox(const COpenMailbox&) = delete; // the manager refers to the mailbox
    COpenMailbox& operator=(const COpenMailbox&) = delete;

    std::size_t Walk() const
    {
        std::size_t count = 0;
        Require(walk->Start(nullptr, nullptr), "a walk does not begin");
        for (; walk->MoveNext(); ++count) {
            ReadNames(*walk->GetCurrent());
        }
        return count;
    }

    CMailbox mailbox;
    std::unique_ptr<CContactMgr> manager;
    std::unique_ptr<CEnumerator> walk;
};

class CScale
{
public:
    CScale(std::string folder, std::size_t count) : m_folder(std::move(folder)), m_count(count)
    {
        RegisterMailServerPropertyFamilies();
        Require(m_server.Open(m_folder.c_str()), "the store is not opened");
    }

    void LayOut()
    {
        const double begin = Seconds(CLOCK_MONOTONIC);
        for (std::size_t number = 0; number < m_count; ++number) {
            Require(CreateMailbox(m_server, Name(number).c_str(), Domain(number).c_str()),
                    "a mailbox is not made");
        }
        const double middle = Seconds(CLOCK_MONOTONIC);
        for (std::size_t book = 0; book < Books(); ++book) {
            FillBook(book);
        }
        const double end = Seconds(CLOCK_MONOTONIC);
        std::printf("{\"mailboxes\": %zu, \"books\": %zu, \"contacts_of_a_book\": %zu,\n", m_count,
                    Books(), kContactsOfABook);
        std::printf(" \"mailbox_us\": %.1f, \"book_us\": %.1f,\n",
                    1e6 * (middle - begin) / static_cast<double>(m_count),
                    1e6 * (end - middle) / static_cast<double>(Books()));
        PrintDisk();
    }

    void Operate()
    {
        FILETIME now;
        GetSystemTimeAsFileTime(&now);
        std::printf(" \"operations\": [\n");
        Measure("open a mailbox", 20000, [&] { OpenAny(); });
        Measure("open a mailbox and poll", 20000, [&] { Poll(*OpenAny().walk, now); });
        Measure("open a mailbox and report changes", 5000, [&] { Report(OpenWithBook(), now); });
        Measure("open a mailbox and walk", 2000, [&] {
            Require(OpenWithBook().Walk() == kContactsOfABook, "contacts are missing");
        });
        Measure("open a mailbox, change and save", 2000, [&] { Save(OpenWithBook()); });
        PollKept();
        std::printf("]}\n");
    }

private:
    static std::string Name(std::size_t number) { return "user" + std::to_string(number); }
    static std::string Domain(std::size_t number)
    {
        return "domain" + std::to_string(number / kMailboxesOfADomain) + ".example";
    }
    std::size_t Books() const { return m_count / (kMailboxesWithoutBook + 1); }
    // Each mailbox with a book lies between the ones without.
    std::size_t NumberWithBook() { return (kMailboxesWithoutBook + 1) * Any(Books()); }
    std::size_t Any(std::size_t count) { return m_random() % count; }

    COpenMailbox Open(std::size_t number) { return {m_server, Name(number), Domain(number)}; }
    COpenMailbox OpenAny() { return Open(Any(m_count)); }
    COpenMailbox OpenWithBook() { return Open(NumberWithBook()); }

    void FillBook(std::size_t book)
    {
        const std::size_t number = (kMailboxesWithoutBook + 1) * book;
        CPABPlugin plugin(m_folder + '/' + Domain(number) + '/' + Name(number) + "/Contacts");
        for (std::size_t index = 0; index < kContactsOfABook; ++index) {
            const std::unique_ptr<CContact> contact(plugin.CreateContact(nullptr));
            Require(contact != nullptr &&
                        contact->FromString(Cards(false)[Any(Cards(false).size())]) &&
                        contact->Save(),
                    "a contact is not made");
        }
    }

    static void Poll(CEnumerator& walk, const FILETIME& version)
    {
        bool isChanged = true;
        Require(walk.Start(&version, &isChanged) && !isChanged, "a poll tells a change");
    }

    static void Report(const COpenMailbox& open, const FILETIME& since)
    {
        FILETIME version;
        ContactMgr::CContactIdList ids;
        Require(open.manager->ChangesSince("VCARDPAB", since, &version, &ids, &ids, &ids) &&
                    ids.IsEmpty(),
                "a report tells a change");
    }

    void Save(const COpenMailbox& open)
    {
        const ContactMgr::CContactId id("VCARDPAB",
                                        static_cast<std::uint32_t>(1 + Any(kContactsOfABook)));
        CContact* opened = nullptr;
        Require(open.manager->OpenContact(id, &opened), "a contact is not opened");
        const std::unique_ptr<CContact> contact(opened);
        contact->SetProperty("Nickname", u"Annie");
        Require(contact->Save(), "a contact is not saved");
    }

    // A server that keeps its mailboxes open, as for clients that stay connected.
    void PollKept()
    {
        FILETIME now;
        GetSystemTimeAsFileTime(&now);
        std::vector<std::unique_ptr<COpenMailbox>> kept;
        kept.reserve(kKeptManagers);
        const std::size_t before = mallinfo2().uordblks;
        for (std::size_t run = 0; run < kKeptManagers; ++run) {
            const std::size_t number = Any(m_count);
            kept.push_back(std::make_unique<COpenMailbox>(m_server, Name(number), Domain(number)));
            Poll(*kept.back()->walk, now);
        }
        const std::size_t bytes = (mallinfo2().uordblks - before) / kKeptManagers;
        std::size_t next = 0;
        Measure(
            "poll a mailbox that is open", 20000,
            [&] { Poll(*kept[next++ % kKeptManagers]->walk, now); }, bytes);
    }

    // Of one domain, whose mailboxes are like all others.
    void PrintDisk() const
    {
        CDisk mailboxes;
        CDisk books;
        for (const auto& entry :
             std::filesystem::recursive_directory_iterator(m_folder + '/' + Domain(0))) {
            const bool isOfBook = entry.path().native().find("/Contacts") != std::string::npos;
            (isOfBook ? books : mailboxes).Add(entry.path());
        }
        const auto count = static_cast<double>(std::min(m_count, kMailboxesOfADomain));
        const double bookCount = count / (kMailboxesWithoutBook + 1);
        std::printf(" \"mailbox_bytes\": %.0f, \"mailbox_inodes\": %.2f,\n",
                    mailboxes.bytes / count, mailboxes.inodes / count);
        std::printf(" \"book_bytes\": %.0f, \"book_inodes\": %.2f,\n", books.bytes / bookCount,
                    books.inodes / bookCount);
    }

    void Measure(const char* what, std::size_t runs, const std::function<void()>& work,
                 std::size_t keptBytes = 0)
    {
        const CCountingCalls calls;
        std::vector<double> times;
        const double begin = Seconds(CLOCK_THREAD_CPUTIME_ID);
        for (std::size_t run = 0; run < runs; ++run) {
            const double start = Seconds(CLOCK_MONOTONIC);
            work();
            times.push_back(Seconds(CLOCK_MONOTONIC) - start);
        }
        const double spent = Seconds(CLOCK_THREAD_CPUTIME_ID) - begin;
        std::sort(times.begin(), times.end());
        const auto each = static_cast<double>(runs);
        std::printf("  %s{\"name\": \"%s\", \"us\": %.2f, \"median_us\": %.2f, \"p99_us\": %.2f, "
                    "\"calls\": %.2f, \"kept_bytes\": %zu}\n",
                    m_isFirst ? "" : ",", what, 1e6 * spent / each, 1e6 * times[runs / 2],
                    1e6 * times[runs * 99 / 100], static_cast<double>(calls.Count()) / each,
                    keptBytes);
        m_isFirst = false;
    }

    const std::string m_folder;
    const std::size_t m_count;
    CMailServer m_server;
    std::mt19937_64 m_random{1};
    bool m_isFirst = true;
};

} // namespace

int main(int count, char** arguments)
{
    Require(count == 3, "usage: contactmgr_scale FOLDER MAILBOXES");
    CScale scale(arguments[1], std::strtoul(arguments[2], nullptr, 10));
    scale.LayOut();
    scale.Operate();
    return 0;
}
