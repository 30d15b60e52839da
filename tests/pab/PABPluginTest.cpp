#include "pab/PABPlugin.h"

#include "pab/BookRenewal.h"
#include "pab/PABContact.h"
#include "pab/PABContactEnumerator.h"
#include "support/FaultySystemCalls.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <numeric>
#include <set>
#include <thread>
#include <vector>

#include <sys/xattr.h>

namespace
{

using ContactMgr::CContactId;
using ContactMgr::CContactIdList;
using ContactPtr = std::unique_ptr<CContact>;
using Numbers = std::set<std::uint32_t>;

CContactId Number(std::uint32_t number)
{
    return {CPABContact::kPluginType, number};
}

// An address book folder that a mailbox has not used yet, and its plug-in.
struct CBook
{
    CBook() : root(temp / "Contacts"), plugin(root) {}

    // Gives 0 if the contact cannot be made and saved.
    std::uint32_t New(const char16_t* name = u"Ann")
    {
        const ContactPtr contact(plugin.CreateContact(nullptr));
        const bool isSaved =
            contact != nullptr && contact->SetProperty("FullName", name) && contact->Save();
        return isSaved ? contact->GetId().ToNumber() : 0;
    }

    bool Change(std::uint32_t number, const char16_t* name)
    {
        CContact* opened = nullptr;
        const bool isOpen = plugin.OpenContact(Number(number), &opened);
        const ContactPtr contact(opened);
        return isOpen && contact->SetProperty("FullName", name) && contact->Save();
    }

    const CTempFolder temp;
    const std::string root;
    CPABPlugin plugin;
};

// Follows the changes of a book, and knows of the contacts that it was told of.
struct CFollower
{
    explicit CFollower(CBook& followed) : plugin(followed.plugin) {}

    // What the next report says: "+1 *2 -3 ", sorted; "!" and the last error if there is none.
    std::string Next()
    {
        CContactIdList deleted, changed, created;
        SetLastError(4711);
        if (!plugin.ChangesSince(version, &version, &deleted, &changed, &created)) {
            return "!" + std::to_string(GetLastError());
        }
        EXPECT_EQ(GetLastError(), 4711u) << "a success leaves it as it was";
        std::set<std::string> parts;
        for (const auto& [sign, list] :
             {std::pair{'-', &deleted}, {'*', &changed}, {'+', &created}}) {
            for (const CContactId& id : *list) {
                parts.insert(sign + std::to_string(id.ToNumber()) + ' ');
                sign == '-' ? (void)known.erase(id.ToNumber()) : (void)known.insert(id.ToNumber());
            }
        }
        return std::accumulate(parts.begin(), parts.end(), std::string());
    }

    CPABPlugin& plugin;
    FILETIME version;
    Numbers known;
};

std::set<std::string> NamesIn(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.insert(entry.path().filename());
    }
    return names;
}

std::ptrdiff_t CountersIn(const std::string& folder)
{
    const std::set<std::string> names = NamesIn(folder);
    return std::count_if(names.begin(), names.end(),
                         [](const std::string& name) { return name.ends_with(".nxt"); });
}

std::multiset<std::uint32_t> Walk(CPABContactEnumerator& enumerator)
{
    std::multiset<std::uint32_t> numbers;
    while (enumerator.MoveNext()) {
        numbers.insert(enumerator.GetCurrent()->GetId().ToNumber());
    }
    return numbers;
}

} // namespace

TEST(PABPluginTest, NumbersAreGivenInOrderAndNeverTwice)
{
    CBook book;
    {
        const CFaultySystemCalls calls;
        EXPECT_EQ(book.New(), 1u);
        EXPECT_LT(calls.Calls(), 200) << "waits for something, such as its own lock";
    }
    EXPECT_EQ(NamesIn(book.root), (std::set<std::string>{".redo", "00000002.nxt", "80000000.vcf"}));
    EXPECT_EQ(book.New(), 2u);
    EXPECT_TRUE(book.plugin.DeleteContact(Number(2)));
    EXPECT_EQ(book.New(), 3u);
    EXPECT_EQ(std::filesystem::file_size(book.root + "/40000000.vcf"), 0u);
    EXPECT_FALSE(book.plugin.OpenContact(Number(2), nullptr));
    EXPECT_TRUE(book.plugin.DeleteContact(Number(2)));
}

TEST(PABPluginTest, TheCounterIsFoundWhateverElseLiesInTheFolder)
{
    static const struct
    {
        std::vector<const char*> files;
        std::uint32_t number, next;
    } kCases[] = {
        {{"x.nxt", "12.nxt", "0000000A.nxt", "000000010.nxt"}, 1, 2},
        {{"00000005.nxt", "00000007.nxt"}, 7, 8},
        {{"80000000.vcf", "e0000000.vcf", "f0000000 (1).vcf", "ffffffff.vcf"}, 8, 9},
        {{"00000000.nxt"}, 1, 2},
        {{"7ffffffe.nxt"}, 0x7FFFFFFE, 0},
        {{"7fffffff.nxt"}, 0, 0},
        {{"ffffffff.nxt", "80000000.nxt"}, 1, 2},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.files[0]);
        CBook book;
        for (const char* name : c.files) {
            book.temp.Write(std::string("Contacts/") + name, "");
        }
        EXPECT_EQ(book.New(), c.number);
        EXPECT_TRUE(c.number != 0 || GetLastError() == ERROR_INVALID_PARAMETER);
        EXPECT_EQ(book.New(), c.next);
    }
}

TEST(PABPluginTest, ReportsSayWhatBecameOfAContactWithinThePeriod)
{
    CBook book;
    CFollower follower(book);
    follower.version = FileTimeFromCount(99);
    EXPECT_EQ(follower.Next(), "");
    EXPECT_EQ(FileTimeToCount(follower.version), 99u) << "no folder yet";

    book.New();
    book.New();
    book.New();
    book.temp.Write("Contacts/notes.vcf", "x");
    book.temp.Write("Contacts/8000000A.vcf", "x");
    std::filesystem::create_directory(book.root + "/f0000000.vcf");
    book.plugin.DeleteContact(Number(3)); // the version is then later than those names
    EXPECT_EQ(follower.Next(), "+1 +1342177281 +2 ");
    std::filesystem::remove(book.root + "/8000000A.vcf");
    EXPECT_EQ(follower.Next(), "");

    EXPECT_TRUE(book.Change(1, u"Bob"));
    EXPECT_TRUE(book.Change(1, u"Cid"));
    EXPECT_TRUE(book.plugin.DeleteContact(Number(2)));
    const std::uint32_t made = book.New();
    EXPECT_TRUE(book.Change(made, u"Dan"));
    EXPECT_TRUE(book.plugin.DeleteContact(Number(book.New())));
    EXPECT_EQ(follower.Next(), "*1 +4 -2 ");
    std::filesystem::last_write_time(book.root + "/80000000.vcf",
                                     std::filesystem::file_time_type::clock::now());
    for (const char* expected : {"*1 ", "*1 ", ""}) {
        EXPECT_EQ(follower.Next(), expected) << "a process died behind the stamp";
    }
    const std::string noted = std::to_string(FileTimeToCount(follower.version));
    ASSERT_EQ(setxattr((book.root + "/80000000.vcf").c_str(), "user.contact.btime", noted.data(),
                       noted.size(), 0),
              0);
    CFollower late(book);
    EXPECT_EQ(late.Next(), "+1 +4 ") << "created at the version";
    EXPECT_TRUE(book.plugin.DeleteContact(Number(1)));
    EXPECT_EQ(late.Next(), "-1 ");
}

TEST(PABPluginTest, AContactMadeRightBehindAVersionIsCreatedAndNotChanged)
{
    CBook book;
    CFollower follower(book);
    for (std::uint32_t round = 1; round <= 200; ++round) {
        const std::string number = std::to_string(book.New()) + ' ';
        ASSERT_EQ(follower.Next(), "+" + number);
        ASSERT_TRUE(book.plugin.DeleteContact(Number(round)));
        ASSERT_EQ(follower.Next(), "-" + number);
    }
}

// Does something else right before a system call of its choice, and sets the clock.
struct CIntrusion : CFaultySystemCalls
{
    int Now(struct timespec* time) override
    {
        const int result = CSystemCalls::Now(time);
        time->tv_sec += seconds;
        return result;
    }
    int Begin(const char* call) override
    {
        if (call == name && --callsLeft == 0) {
            intrude();
        }
        return CFaultySystemCalls::Begin(call);
    }

    std::string name;
    int callsLeft = 1;
    std::function<void()> intrude;
    time_t seconds = 0;
};

TEST(PABPluginTest, AReportInTheMiddleOfACreationLosesNothing)
{
    // The calls outside the lock that the stamps are given under.
    for (const char* name : {"open", "rename", "setxattr", "link", "write", "unlink"}) {
        bool wasHit = true;
        for (int call = 1; wasHit; ++call) {
            SCOPED_TRACE(name + std::to_string(call));
            CBook book;
            ASSERT_EQ(book.New(), 1u);
            CFollower follower(book);
            EXPECT_EQ(follower.Next(), "+1 ");
            CIntrusion intrusion;
            intrusion.name = name;
            intrusion.callsLeft = call;
            intrusion.intrude = [&] {
                intrusion.name.clear();
                EXPECT_TRUE(book.Change(1, u"Bob"));
                const std::uint32_t other = book.New();
                follower.Next();
                EXPECT_TRUE(book.plugin.DeleteContact(Number(other)));
            };
            const std::uint32_t made = book.New();
            wasHit = intrusion.name.empty();
            intrusion.name.clear();
            follower.Next();
            EXPECT_EQ(follower.known, (Numbers{1, made})) << "the other came and went";
            EXPECT_TRUE(book.plugin.DeleteContact(Number(made)));
            follower.Next();
            EXPECT_EQ(follower.known, Numbers{1});
        }
    }
}

TEST(PABPluginTest, WhatHappensBehindALongWalkIsLeftToTheNextReport)
{
    for (const std::uint32_t deleted : {1u, 2u}) { // one of them comes first in the walk
        CBook book;
        book.New();
        book.New();
        CFollower follower(book);
        CIntrusion walk;
        walk.seconds = -60;
        walk.name = "getxattr"; // with the times of the first entry read
        walk.intrude = [&] {
            walk.seconds = 0;
            EXPECT_TRUE(book.plugin.DeleteContact(Number(deleted)));
            EXPECT_TRUE(book.Change(3 - deleted, u"Bob"));
        };
        follower.Next();
        follower.Next();
        EXPECT_EQ(follower.known, Numbers{3 - deleted});
    }
}

TEST(PABPluginTest, OneWriterLosesNothingToAClockThatIsSetBack)
{
    CBook book;
    CFollower follower(book);
    CIntrusion clock;
    clock.seconds = 3600;
    book.New();
    book.New();
    EXPECT_EQ(follower.Next(), "+1 +2 ");
    clock.seconds = 0;
    EXPECT_TRUE(book.Change(1, u"Bob"));
    EXPECT_EQ(follower.Next(), "*1 ");
    book.New();
    EXPECT_EQ(follower.Next(), "+3 ");
    EXPECT_TRUE(book.plugin.DeleteContact(Number(3)));
    EXPECT_EQ(follower.Next(), "-3 ");
}

TEST(PABPluginTest, TimesSetByHandNeitherHideADeletionNorMoveTheVersion)
{
    const auto now = std::filesystem::file_time_type::clock::now();
    for (const char* what : {"restored", "restored without attributes", "of the future"}) {
        SCOPED_TRACE(what);
        CBook book;
        book.New();
        CFollower follower(book);
        EXPECT_EQ(follower.Next(), "+1 ");
        const FILETIME before = follower.version;
        const std::string file = book.root + "/80000000.vcf";
        const bool isAhead = std::string_view(what) == "of the future";
        if (std::string_view(what).ends_with("attributes")) {
            const std::string text = book.temp.Read("Contacts/80000000.vcf");
            std::filesystem::remove(file);
            std::this_thread::sleep_for(std::chrono::milliseconds(20)); // a tick of its birth time
            book.temp.Write("Contacts/80000000.vcf", text);
        } else if (!isAhead) {
            ASSERT_EQ(setxattr(file.c_str(), "user.contact.btime", "99", 2, 0), 0);
        }
        std::filesystem::last_write_time(file, now + std::chrono::hours(isAhead ? 1 : -1));
        std::filesystem::last_write_time(book.root, now - std::chrono::minutes(59));
        EXPECT_EQ(CFollower(book).Next(), isAhead ? "" : "+1 ") << "one who begins";
        EXPECT_EQ(follower.Next(), isAhead ? "*1 " : "");
        EXPECT_EQ(follower.version, before);
        EXPECT_TRUE(book.plugin.DeleteContact(Number(1)));
        EXPECT_EQ(follower.Next(), "-1 ");
        follower.version = FileTimeFromCount(100);
        EXPECT_EQ(follower.Next(), std::string_view(what) == "restored" ? "-1 " : "");
    }
}

TEST(PABPluginTest, AVersionOfAClockThatWasFarAheadIsLeftAgain)
{
    for (const int hours : {2, 48}) {
        SCOPED_TRACE(hours);
        CBook book;
        book.New();
        CFollower follower(book);
        CIntrusion clock;
        clock.seconds = hours * 3600;
        EXPECT_TRUE(book.Change(1, u"Ahead"));
        follower.Next();
        const FILETIME ahead = follower.version;
        clock.seconds = 0;
        // Names that change set the folder's time by the system's own clock.
        book.temp.Write("Contacts/other", "");
        EXPECT_EQ(follower.Next(), "");
        EXPECT_EQ(follower.version < ahead, hours == 48) << "the folder keeps what is less ahead";
        EXPECT_TRUE(book.Change(1, u"Now"));
        EXPECT_EQ(follower.Next(), "*1 ");
        EXPECT_EQ(follower.Next(), "");
    }
}

TEST(PABPluginTest, AFailedReportGivesTheCodeOfTheCallThatFailed)
{
    CBook book;
    book.New();
    book.New();
    CFaultySystemCalls calls;
    for (const int call : {1, 2, 3, 4, 5, 7}) { // the folder's time, its listing, and both entries
        SetLastError(ERROR_SUCCESS);
        calls.FailAt(call, EIO);
        EXPECT_EQ(CFollower(book).Next(), "!" + std::to_string(ERROR_IO_DEVICE)) << call;
    }
}

TEST(PABPluginTest, WhatTheFirstReleaseLeftUnfinishedIsCompletedOnce)
{
    CBook book;
    for (const char16_t* name : {u"Old", u"Unstamped", u"Done"}) {
        ASSERT_NE(book.New(name), 0u);
    }
    const auto file = [&](const char* name) { return book.root + '/' + name; };
    const std::string done = book.temp.Read("Contacts/c0000000.vcf");
    {
        CIntrusion calls; // dies behind the overwriting
        calls.name = "times";
        calls.intrude = [&] { calls.DieAt(1); };
        book.Change(1, u"New");
        calls.Bury();
    }
    std::filesystem::rename(file(".redo/80000000.vcf"), file("80000000.vcf.redo~"));
    std::filesystem::remove_all(file(".redo"));
    CBook().New(); // so that this thread looks for the redo folder again
    for (const char* name : {"40000000.vcf", "c0000000.vcf"}) {
        std::string note = "116444736000000001";
        note += name[0] == '4' ? "~" : "";
        ASSERT_EQ(setxattr(file(name).c_str(), "user.contact.btime", note.data(), note.size(), 0),
                  0);
    }
    CFollower follower(book), early(book);
    early.version = FileTimeFromCount(116444736000000002);
    EXPECT_EQ(early.Next(), "*2 *3 +1 ");
    follower.Next();
    for (const char* expected : {"*1 *2 ", ""}) {
        for (const std::uint32_t number : {2u, 1u, 3u}) {
            EXPECT_TRUE(book.plugin.OpenContact(Number(number), nullptr));
        }
        EXPECT_EQ(follower.Next(), expected);
    }
    EXPECT_NE(book.temp.Read("Contacts/80000000.vcf").find("New"), std::string::npos);
    EXPECT_EQ(book.temp.Read("Contacts/c0000000.vcf"), done);
    EXPECT_FALSE(std::filesystem::exists(file("80000000.vcf.redo~")));
}

TEST(PABPluginTest, RenewalCompletesWhatWasCutShortAndDropsWhatLiesOverARestoredFile)
{
    CBook book;
    const auto file = [&](const char* name) { return book.root + '/' + name; };
    for (const std::uint32_t number : {1u, 2u, 3u}) {
        ASSERT_EQ(book.New(u"Old"), number);
        const std::string copy = "cp -a '" + book.root + "'/*.vcf '" + book.temp.Path() + "'";
        ASSERT_EQ(std::system(copy.c_str()), 0);
        CIntrusion calls; // dies behind the overwriting
        calls.name = "times";
        calls.intrude = [&] { calls.DieAt(1); };
        book.Change(number, u"New");
        calls.Bury();
    }
    std::filesystem::rename(book.temp / "c0000000.vcf", file("c0000000.vcf"));
    std::filesystem::rename(file(".redo/40000000.vcf"), file("40000000.vcf.redo~"));
    CBookRenewal renewal;
    EXPECT_TRUE(RenewAddressBook(book.root, &renewal));
    EXPECT_EQ(renewal.completed, (std::vector<std::string>{"40000000.vcf", "80000000.vcf"}));
    EXPECT_EQ(renewal.dropped, std::vector<std::string>{"c0000000.vcf"});
    for (const char* name : {"80000000.vcf", "40000000.vcf", "c0000000.vcf"}) {
        const bool isNew =
            book.temp.Read(std::string("Contacts/") + name).find("FN:New") != std::string::npos;
        EXPECT_EQ(isNew, name[0] != 'c') << name;
    }
}

using Operation = std::pair<const char*, bool (*)(CBook& book)>;
const Operation kOperations[] = {
    {"create", [](CBook& book) { return book.New() != 0; }},
    {"change", [](CBook& book) { return book.Change(1, u"New"); }},
    {"delete", [](CBook& book) { return book.plugin.DeleteContact(Number(1)); }},
    {"report", [](CBook& book) { return CFollower(book).Next()[0] != '!'; }},
};

TEST(PABPluginTest, WhatADeadProcessLeftIsReportedAndSoIsItsDeletion)
{
    for (const auto& [what, run] : kOperations) {
        bool wasHit = true;
        for (int call = 1; wasHit; ++call) {
            CBook book;
            book.New();
            book.New();
            CFollower follower(book);
            EXPECT_EQ(follower.Next(), "+1 +2 ");
            // A version of the same step of the system's clock may hide a deletion cut short (I5).
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            CIntrusion calls;
            calls.DieAt(call);
            run(book);
            wasHit = calls.WasHit();
            SCOPED_TRACE(std::string(what) + " at " + std::to_string(call) + ", " +
                         calls.LastHit());
            calls.Bury();
            // Asks for the folder's version first, and has a version of its own for that.
            bool isChanged = true;
            FILETIME polled = follower.version;
            const auto follow = [&] {
                CPABContactEnumerator poll(book.root);
                ASSERT_TRUE(poll.Start(&polled, &isChanged));
                polled = poll.GetVersion();
                EXPECT_NE((isChanged ? follower.Next() : "")[0], '!');
            };
            follow();
            if (std::string_view(what) == "delete" &&
                std::filesystem::file_size(book.root + "/80000000.vcf") == 0) {
                EXPECT_EQ(follower.known, Numbers{2}) << "hears of it in a quiet store too";
            }
            EXPECT_NE(book.New(), 0u) << "a healthy one";
            follow();
            follow();
            Numbers there;
            for (std::uint32_t number = 1; number <= 4; ++number) {
                if (book.plugin.OpenContact(Number(number), nullptr)) {
                    there.insert(number);
                }
            }
            EXPECT_EQ(follower.known, there);
            for (const std::uint32_t number : there) {
                EXPECT_TRUE(book.plugin.DeleteContact(Number(number)));
            }
            follow();
            EXPECT_EQ(follower.known, Numbers());
            follow();
            follow();
            EXPECT_FALSE(isChanged) << "never comes to rest";
        }
    }
}

TEST(PABPluginTest, ATemplateIsCopiedIntoTheNewContact)
{
    CBook book;
    const ContactPtr from(book.plugin.CreateContact(nullptr));
    for (const char* name :
         {"WssReplicationId", "URL", "Organization", "HTMLComment", "FullName"}) {
        ASSERT_TRUE(from->SetProperty(name, u"v"));
    }
    ASSERT_TRUE(from->SetProperty("WssVersion", u"41"));
    CContactTel telephone;
    telephone.SetType(CContactTel::kFax);
    telephone.SetNumber("1");
    CContactTelList telephones;
    telephones.AddTail(telephone);
    ASSERT_TRUE(from->SetTelephones(telephones));
    const ContactPtr copy(book.plugin.CreateContact(from.get()));
    ASSERT_NE(copy, nullptr);
    std::u16string text;
    ASSERT_TRUE(copy->ToString(&text));
    EXPECT_EQ(text, u"BEGIN:VCARD\r\nN:\r\nFN:v\r\nVERSION:3.0\r\nX-ALT-NOTE:v\r\nORG:v\r\n"
                    u"URL:v\r\nX-LARKMERE-WSSVERSION:41\r\nX-LARKMERE-WSSREPLICATIONID:v\r\n"
                    u"TEL;TYPE=fax:1\r\nEND:VCARD\r\n");
    ASSERT_TRUE(from->FromString("BEGIN:VCARD\r\nEND:VCARD\r\n"));
    EXPECT_EQ(book.plugin.CreateContact(from.get()), nullptr) << "a template without an N line";
}

TEST(PABPluginTest, OpeningReplacesWhatTheCallerGivesUpOnlyOnSuccess)
{
    CBook book;
    ASSERT_TRUE(book.New() == 1u && book.New() == 2u);
    CContact* contact = nullptr;
    ASSERT_TRUE(book.plugin.OpenContact(Number(1), &contact));
    EXPECT_FALSE(book.plugin.OpenContact(Number(9), &contact));
    EXPECT_EQ(contact->GetId(), Number(1));
    ASSERT_TRUE(book.plugin.OpenContact(Number(2), &contact));
    EXPECT_TRUE(book.plugin.OpenContact(Number(1), nullptr)) << "the first was not destroyed";
    delete contact;
    SetLastError(ERROR_SUCCESS);
    EXPECT_FALSE(book.plugin.OpenContact(CContactId("INBOX-1"), nullptr));
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    EXPECT_FALSE(book.plugin.OpenContact(CContactId("VCARDPAB-x"), nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(PABContactEnumeratorTest, AWalkShowsEachContactThatOpensOnce)
{
    CBook book;
    CPABContactEnumerator enumerator(book.root);
    bool isChanged = true;
    FILETIME version;
    SetLastError(4711);
    EXPECT_TRUE(enumerator.Start(&version, &isChanged));
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_FALSE(isChanged || enumerator.MoveNext()) << "no folder yet";

    for (int number = 0; number < 5; ++number) {
        book.New();
    }
    book.plugin.DeleteContact(Number(4));
    book.temp.Write("Contacts/60000000.vcf", "damaged");
    book.temp.Write("Contacts/80000000 (1).vcf", "a copy");
    book.temp.Write("Contacts/80000000x.vcf", "another");
    CContact* held = nullptr;
    ASSERT_TRUE(book.plugin.OpenContact(Number(5), &held));
    ASSERT_TRUE(enumerator.Start(&version, &isChanged));
    EXPECT_TRUE(isChanged && enumerator.IsStarted());
    EXPECT_EQ(Walk(enumerator), (std::multiset<std::uint32_t>{1, 2, 3}));
    delete held;
    version = FileTimeFromCount(FileTimeToCount(enumerator.GetVersion()) - 1);
    EXPECT_TRUE(enumerator.Start(&version, &isChanged));
    EXPECT_TRUE(isChanged);
    SetLastError(4711);
    ASSERT_TRUE(enumerator.MoveNext());
    EXPECT_EQ(GetLastError(), 4711u) << "it may have passed over a file that does not open";
    const std::uint32_t number = enumerator.GetCurrent()->GetId().ToNumber();
    EXPECT_FALSE(book.plugin.OpenContact(Number(number), nullptr)) << "held while it is current";
    EXPECT_TRUE(enumerator.GetCurrent()->SetProperty("FullName", u"Changed"));
    version = enumerator.GetVersion();
    EXPECT_TRUE(enumerator.MoveNext());
    EXPECT_TRUE(enumerator.Start(&version, &isChanged));
    EXPECT_TRUE(isChanged) << "the change was saved as the walk moved on";
}

TEST(PABPluginTest, APollOfAnUnchangedFolderIsOneCall)
{
    CBook book;
    book.New();
    CPABContactEnumerator enumerator(book.root);
    ASSERT_TRUE(enumerator.Start(nullptr, nullptr));
    const FILETIME version = enumerator.GetVersion();
    ASSERT_TRUE(enumerator.Finish());
    const CFaultySystemCalls calls;
    bool isChanged = true;
    ASSERT_TRUE(enumerator.Start(&version, &isChanged));
    EXPECT_FALSE(isChanged);
    EXPECT_EQ(calls.Calls(), 1);
}

TEST(PABPluginTest, AFailedCallAnywhereLosesNoContact)
{
    for (const auto& [what, run] : kOperations) {
        bool wasHit = true;
        for (int call = 1; wasHit; ++call) {
            CBook book;
            book.New(u"Old");
            book.New(u"Other");
            CFaultySystemCalls calls;
            calls.FailAt(call, EIO);
            const bool isGood = run(book);
            wasHit = calls.WasHit();
            SCOPED_TRACE(std::string(what) + " at " + calls.LastHit());
            calls.FailAt(0, 0);
            EXPECT_EQ(calls.OpenFiles(), 0u);
            EXPECT_TRUE(book.plugin.OpenContact(Number(2), nullptr));
            EXPECT_TRUE(run(book) || isGood);
            EXPECT_EQ(CountersIn(book.root), 1);
        }
    }
}
