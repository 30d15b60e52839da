#include "pab/PABPlugin.h"

#include "pab/BookRenewal.h"
#include "support/BookFolder.h"
#include "support/FaultySystemCalls.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <numeric>
#include <thread>
#include <vector>

#include <sys/xattr.h>

namespace
{

using ContactMgr::CContactId;
using ContactMgr::CContactIdList;
using Numbers = std::set<std::uint32_t>;

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

// An address book that a mailbox has not used yet.
struct CBook : CTempFolder, CBookFolder
{
    CBook() : CBookFolder(*this / "Contacts") {}

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
        const ContactPtr contact = Open(number);
        return contact != nullptr && contact->SetProperty("FullName", name) && contact->Save();
    }

    // The same, but its process dies behind the overwriting.
    void ChangeHalfWay(std::uint32_t number, const char16_t* name)
    {
        CIntrusion calls;
        calls.name = "times";
        calls.intrude = [&] { calls.DieAt(1); };
        Change(number, name);
        calls.Bury();
    }

    std::string TextOf(std::uint32_t number) const
    {
        return Read("Contacts/" + CPABContact::ContactIdToFileName(IdOf(number)));
    }

    // Notes a creation time on the contact's file.
    void Note(std::uint32_t number, const std::string& text) const
    {
        ASSERT_EQ(setxattr(File(number).c_str(), "user.contact.btime", text.data(), text.size(), 0),
                  0);
    }
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

} // namespace

TEST(PABPluginTest, NumbersAreGivenInOrderAndNeverTwice)
{
    CBook book;
    {
        const CFaultySystemCalls calls;
        EXPECT_EQ(book.New(), 1u);
        EXPECT_LT(calls.Calls(), 200) << "waits for something, such as its own lock";
    }
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(book.path)) {
        names.insert(entry.path().filename());
    }
    EXPECT_EQ(names, (std::set<std::string>{".redo", "00000002.nxt", "80000000.vcf"}));
    EXPECT_EQ(book.New(), 2u);
    EXPECT_TRUE(book.Delete(2));
    EXPECT_EQ(book.New(), 3u);
    EXPECT_TRUE(std::filesystem::is_empty(book.File(2)));
    EXPECT_FALSE(book.Open(2));
    EXPECT_TRUE(book.Delete(2));

    // A backup came back, with its counter.
    book.Write("Contacts/" + CPABContact::ContactIdToFileName(IdOf(4)), Card(""));
    book.Write("Contacts/00000100.nxt", "");
    EXPECT_EQ(book.New(), 0u) << "used before";
    EXPECT_EQ(book.New(), 0x100u);
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
            book.Write(std::string("Contacts/") + name, "");
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
    book.Write("Contacts/notes.vcf", "x");
    book.Write("Contacts/8000000A.vcf", "x");
    std::filesystem::create_directory(book.path + "/f0000000.vcf");
    book.Delete(3); // the version is then later than those names
    EXPECT_EQ(follower.Next(), "+1 +1342177281 +2 ");
    std::filesystem::remove(book.path + "/8000000A.vcf");
    EXPECT_EQ(follower.Next(), "");

    EXPECT_TRUE(book.Change(1, u"Bob"));
    EXPECT_TRUE(book.Change(1, u"Cid"));
    EXPECT_TRUE(book.Delete(2));
    const std::uint32_t made = book.New();
    EXPECT_TRUE(book.Change(made, u"Dan"));
    EXPECT_TRUE(book.Delete(book.New()));
    EXPECT_EQ(follower.Next(), "*1 +4 -2 ");
    std::filesystem::last_write_time(book.File(1), std::filesystem::file_time_type::clock::now());
    for (const char* expected : {"*1 ", "*1 ", ""}) {
        EXPECT_EQ(follower.Next(), expected) << "a process died behind the stamp";
    }
    book.Note(1, std::to_string(FileTimeToCount(follower.version)));
    CFollower late(book);
    EXPECT_EQ(late.Next(), "+1 +4 ") << "created at the version";
    EXPECT_TRUE(book.Delete(1));
    EXPECT_EQ(late.Next(), "-1 ");
}

TEST(PABPluginTest, AContactMadeRightBehindAVersionIsCreatedAndNotChanged)
{
    CBook book;
    CFollower follower(book);
    for (std::uint32_t round = 1; round <= 200; ++round) {
        const std::string number = std::to_string(book.New()) + ' ';
        ASSERT_EQ(follower.Next(), "+" + number);
        ASSERT_TRUE(book.Delete(round));
        ASSERT_EQ(follower.Next(), "-" + number);
    }
}

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
                EXPECT_TRUE(book.Delete(other));
            };
            ContactPtr contact(book.plugin.CreateContact(nullptr));
            const std::uint32_t made = contact->GetId().ToNumber();
            const std::string pending = std::exchange(intrusion.name, "");
            const std::string report = follower.Next();
            EXPECT_EQ(report.find("-" + std::to_string(made)), report.npos) << "not saved yet";
            intrusion.name = pending;
            EXPECT_TRUE(contact->SetProperty("FullName", u"Ann") && contact->Save());
            contact.reset();
            wasHit = intrusion.name.empty();
            intrusion.name.clear();
            follower.Next();
            EXPECT_EQ(follower.known, (Numbers{1, made})) << "the other came and went";
            EXPECT_TRUE(book.Delete(made));
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
            EXPECT_TRUE(book.Delete(deleted));
            EXPECT_TRUE(book.Change(3 - deleted, u"Bob"));
        };
        follower.Next();
        follower.Next();
        EXPECT_EQ(follower.known, Numbers{3 - deleted});
    }
}

TEST(PABPluginTest, AFirstSaveInTheMiddleOfAReportIsNoDeletion)
{
    CBook book;
    const ContactPtr contact(book.plugin.CreateContact(nullptr));
    book.New();
    CFollower follower(book);
    EXPECT_EQ(follower.Next(), "+2 ");
    // As a save does an instant before the file has a length.
    std::filesystem::last_write_time(book.File(1), std::filesystem::file_time_type::clock::now());
    CIntrusion walk;
    walk.name = "getxattr";
    walk.intrude = [&] {
        EXPECT_TRUE(contact->SetProperty("FullName", u"Ann") && contact->Save());
    };
    EXPECT_EQ(follower.Next(), "*1 ");
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
    EXPECT_TRUE(book.Delete(3));
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
        const bool isAhead = std::string_view(what) == "of the future";
        if (std::string_view(what).ends_with("attributes")) {
            const std::string text = book.TextOf(1);
            std::filesystem::remove(book.File(1));
            std::this_thread::sleep_for(std::chrono::milliseconds(20)); // a tick of its birth time
            book.Write("Contacts/80000000.vcf", text);
        } else if (!isAhead) {
            book.Note(1, "99");
        }
        std::filesystem::last_write_time(book.File(1), now + std::chrono::hours(isAhead ? 1 : -1));
        std::filesystem::last_write_time(book.path, now - std::chrono::minutes(59));
        EXPECT_EQ(CFollower(book).Next(), isAhead ? "" : "+1 ") << "one who begins";
        EXPECT_EQ(follower.Next(), isAhead ? "*1 " : "");
        EXPECT_EQ(follower.version, before);
        EXPECT_TRUE(book.Delete(1));
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
        book.Write("Contacts/other", "");
        EXPECT_EQ(follower.Next(), "");
        EXPECT_EQ(follower.version < ahead, hours == 48) << "the folder keeps what is less ahead";
        EXPECT_TRUE(book.Change(1, u"Now"));
        EXPECT_EQ(follower.Next(), "*1 ");
        EXPECT_EQ(follower.Next(), "");
    }
}

TEST(PABPluginTest, WhatTheFirstReleaseLeftUnfinishedIsCompletedOnce)
{
    CBook book;
    for (const char16_t* name : {u"Old", u"Unstamped", u"Done"}) {
        ASSERT_NE(book.New(name), 0u);
    }
    const std::string done = book.TextOf(3);
    book.ChangeHalfWay(1, u"New");
    std::filesystem::rename(book.File(1, "/.redo/"), book.File(1) + ".redo~");
    std::filesystem::remove_all(book.path + "/.redo");
    CBook().New(); // so that this thread looks for the redo folder again
    book.Note(2, "116444736000000001~");
    book.Note(3, "116444736000000001");
    CFollower follower(book), early(book);
    early.version = FileTimeFromCount(116444736000000002);
    EXPECT_EQ(early.Next(), "*2 *3 +1 ");
    follower.Next();
    for (const char* expected : {"*1 *2 ", ""}) {
        for (const std::uint32_t number : {2u, 1u, 3u}) {
            EXPECT_TRUE(book.Open(number));
        }
        EXPECT_EQ(follower.Next(), expected);
    }
    EXPECT_NE(book.TextOf(1).find("FN:New"), std::string::npos);
    EXPECT_EQ(book.TextOf(3), done);
    EXPECT_FALSE(std::filesystem::exists(book.File(1) + ".redo~"));
}

TEST(PABPluginTest, RenewalCompletesWhatWasCutShortAndDropsWhatLiesOverARestoredFile)
{
    CBook book;
    for (const std::uint32_t number : {1u, 2u, 3u}) {
        ASSERT_EQ(book.New(u"Old"), number);
        const std::string copy = "cp -a '" + book.path + "'/*.vcf '" + book.Path() + "'";
        ASSERT_EQ(std::system(copy.c_str()), 0);
        book.ChangeHalfWay(number, u"New");
    }
    std::filesystem::rename(book / "c0000000.vcf", book.File(3));
    std::filesystem::rename(book.File(2, "/.redo/"), book.File(2) + ".redo~");
    CBookRenewal renewal;
    EXPECT_TRUE(RenewAddressBook(book.path, &renewal));
    EXPECT_EQ(renewal.completed, (std::vector<std::string>{"40000000.vcf", "80000000.vcf"}));
    EXPECT_EQ(renewal.dropped, std::vector<std::string>{"c0000000.vcf"});
    for (const std::uint32_t number : {1u, 2u, 3u}) {
        const bool isNew = book.TextOf(number).find("FN:New") != std::string::npos;
        EXPECT_EQ(isNew, number != 3) << number;
    }
}

using Operation = std::pair<const char*, bool (*)(CBook& book)>;
const Operation kOperations[] = {
    {"create", [](CBook& book) { return book.New() != 0; }},
    {"change", [](CBook& book) { return book.Change(1, u"New"); }},
    {"delete", [](CBook& book) { return book.Delete(1); }},
    {"report", [](CBook& book) { return CFollower(book).Next() == "+1 +2 "; }},
};

// Lets one call of the operation fail, or the process die there. False once it makes fewer.
bool SweepOperation(const Operation& operation, int call, bool isDying)
{
    const auto& [what, run] = operation;
    CBook book;
    book.New();
    book.New();
    CFollower follower(book);
    EXPECT_EQ(follower.Next(), "+1 +2 ");
    // A version of the same step of the system's clock may hide a deletion cut short (I5).
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    CIntrusion calls;
    isDying ? calls.DieAt(call) : calls.FailAt(call, EIO);
    SetLastError(ERROR_SUCCESS);
    const bool isGood = run(book);
    const bool wasHit = calls.WasHit();
    SCOPED_TRACE(std::string(what) + (isDying ? " dies at " : " fails at ") + std::to_string(call) +
                 ", " + calls.LastHit());
    EXPECT_TRUE(isDying || calls.OpenFiles() == 0);
    EXPECT_TRUE(isDying || isGood || GetLastError() == ERROR_IO_DEVICE) << GetLastError();
    calls.Bury();
    EXPECT_TRUE(isDying || isGood || run(book)) << "another try";
    // Asks for the folder's version first, and has a version of its own for that.
    bool isChanged = true;
    FILETIME polled = follower.version;
    const auto follow = [&] {
        CPABContactEnumerator poll(book.path);
        EXPECT_TRUE(poll.Start(&polled, &isChanged));
        polled = poll.GetVersion();
        EXPECT_NE((isChanged ? follower.Next() : "")[0], '!');
    };
    follow();
    if (std::string_view(what) == "delete" && std::filesystem::is_empty(book.File(1))) {
        EXPECT_EQ(follower.known, Numbers{2}) << "hears of it in a quiet store too";
    }
    EXPECT_NE(book.New(), 0u) << "a healthy one";
    follow();
    follow();
    Numbers there;
    for (std::uint32_t number = 1; number <= 5; ++number) {
        if (book.Open(number)) {
            there.insert(number);
        }
    }
    EXPECT_TRUE(there.contains(2));
    EXPECT_EQ(follower.known, there);
    EXPECT_EQ(book.Counters(), 1);
    for (const std::uint32_t number : there) {
        EXPECT_TRUE(book.Delete(number));
    }
    follow();
    EXPECT_EQ(follower.known, Numbers());
    follow();
    follow();
    EXPECT_FALSE(isChanged) << "never comes to rest";
    return wasHit;
}

TEST(PABPluginTest, WhatAFailedCallOrADeadProcessLeftIsReportedAndSoIsItsDeletion)
{
    for (const Operation& operation : kOperations) {
        for (const bool isDying : {false, true}) {
            for (int call = 1; SweepOperation(operation, call, isDying); ++call) {
            }
        }
    }
}

TEST(PABPluginTest, ATemplateIsCopiedIntoTheNewContact)
{
    CBook book;
    const ContactPtr from(book.plugin.CreateContact(nullptr));
    ASSERT_TRUE(from->FromString("BEGIN:VCARD\r\nURL:v\r\nX-OTHER:v\r\nX-LARKMERE-WSSVERSION:41\r\n"
                                 "TEL;TYPE=fax:1\r\nN:a;b\r\nX-LARKMERE-WSSREPLICATIONID:v\r\n"
                                 "ORG:v\r\nIMPP:v\r\nADR:v\r\nEMAIL:a@b.c\r\nEND:VCARD\r\n"));
    SetLastError(4711);
    const ContactPtr copy(book.plugin.CreateContact(from.get()));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(GetLastError(), 4711u);
    std::u16string text;
    ASSERT_TRUE(copy->ToString(&text));
    EXPECT_EQ(text, u"BEGIN:VCARD\r\nN:a;b;;;\r\nFN:\r\nVERSION:3.0\r\nORG:v\r\nURL:v\r\n"
                    u"X-LARKMERE-WSSVERSION:41\r\nX-LARKMERE-WSSREPLICATIONID:v\r\n"
                    u"EMAIL:a@b.c\r\nTEL;TYPE=fax:1\r\nADR:v;;;;;;\r\nIMPP:v\r\nEND:VCARD\r\n");
    ASSERT_TRUE(from->FromString("BEGIN:VCARD\r\nEND:VCARD\r\n"));
    EXPECT_EQ(book.plugin.CreateContact(from.get()), nullptr) << "a template without an N line";
}

TEST(PABPluginTest, OpeningReplacesWhatTheCallerGivesUpOnlyOnSuccess)
{
    CBook book;
    ASSERT_TRUE(book.New() == 1u && book.New() == 2u);
    CContact* contact = nullptr;
    ASSERT_TRUE(book.plugin.OpenContact(IdOf(1), &contact));
    EXPECT_FALSE(book.plugin.OpenContact(IdOf(9), &contact));
    EXPECT_EQ(contact->GetId(), IdOf(1));
    ASSERT_TRUE(book.plugin.OpenContact(IdOf(2), &contact));
    EXPECT_TRUE(book.Open(1)) << "the first was not destroyed";
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
    for (int number = 0; number < 5; ++number) {
        book.New();
    }
    book.Delete(4);
    book.Write("Contacts/60000000.vcf", "damaged");
    book.Write("Contacts/80000000 (1).vcf", "a copy");
    book.Write("Contacts/80000000x.vcf", "another");
    const ContactPtr held = book.Open(5);
    std::string faults;
    EXPECT_EQ(book.Walk(&faults), (std::multiset<std::uint32_t>{1, 2, 3}));
    EXPECT_TRUE(faults == "VCARDPAB-5 32; VCARDPAB-6 0; " ||
                faults == "VCARDPAB-6 0; VCARDPAB-5 32; ")
        << faults;
}

TEST(PABContactEnumeratorTest, APollSaysWhetherTheFolderChanged)
{
    CBook book;
    CPABContactEnumerator enumerator(book.path);
    FILETIME version;
    const auto isChanged = [&] {
        bool changed = true;
        SetLastError(4711);
        EXPECT_TRUE(enumerator.Start(&version, &changed));
        EXPECT_EQ(GetLastError(), 4711u);
        EXPECT_EQ(enumerator.IsStarted(), changed);
        version = enumerator.GetVersion();
        return changed;
    };
    EXPECT_FALSE(isChanged() || enumerator.MoveNext()) << "no folder yet";
    const std::uint32_t number = book.New();
    book.Write("Contacts/40000000.vcf", "damaged");
    EXPECT_TRUE(isChanged() && enumerator.MoveNext());
    EXPECT_EQ(GetLastError(), 4711u) << "it may have passed over a file that does not open";
    EXPECT_FALSE(book.Open(number)) << "held while it is current";
    EXPECT_TRUE(enumerator.GetCurrent()->SetProperty("FullName", u"Changed"));
    EXPECT_FALSE(enumerator.MoveNext());
    EXPECT_TRUE(isChanged()) << "the change was saved as the walk moved on";
    version = FileTimeFromCount(FileTimeToCount(version) - 1);
    EXPECT_TRUE(isChanged());
    enumerator.Finish();
    EXPECT_FALSE(isChanged());
}
