#include "pab/PABPlugin.h"

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
#include <utility>
#include <vector>

namespace
{

using ContactMgr::CContactId;
using ContactMgr::CContactIdList;
using ContactPtr = std::unique_ptr<CContact>;

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

struct CReport
{
    FILETIME version;
    CContactIdList deleted, changed, created;

    bool Take(CPABPlugin& plugin, FILETIME since)
    {
        return plugin.ChangesSince(since, &version, &deleted, &changed, &created);
    }
    // What a caller who knew of these contacts then knows of.
    void Apply(std::set<std::uint32_t>* known) const
    {
        for (const CContactIdList* list : {&changed, &created}) {
            for (const CContactId& id : *list) {
                known->insert(id.ToNumber());
            }
        }
        for (const CContactId& id : deleted) {
            known->erase(id.ToNumber());
        }
    }
    std::string Text() const
    {
        std::set<std::string> parts;
        for (const auto& [sign, list] :
             {std::pair{'-', &deleted}, {'*', &changed}, {'+', &created}}) {
            for (const CContactId& id : *list) {
                parts.insert(sign + std::to_string(id.ToNumber()) + ' ');
            }
        }
        return std::accumulate(parts.begin(), parts.end(), std::string());
    }
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
    EXPECT_EQ(NamesIn(book.root), (std::set<std::string>{"00000002.nxt", "80000000.vcf"}));
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
        {{"80000000.vcf", "e0000000.vcf"}, 8, 9},
        {{"00000000.nxt"}, 1, 2},
        {{"7ffffffe.nxt"}, 0x7FFFFFFE, 0},
        {{"ffffffff.nxt"}, 0, 0},
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
    CReport none;
    ASSERT_TRUE(none.Take(book.plugin, FileTimeFromCount(99)));
    EXPECT_EQ(FileTimeToCount(none.version), 99u) << "no folder yet";

    book.New();
    book.New();
    book.New();
    book.plugin.DeleteContact(Number(3));
    book.temp.Write("Contacts/notes.vcf", "x");
    book.temp.Write("Contacts/8000000A.vcf", "x");
    std::filesystem::create_directory(book.root + "/f0000000.vcf");
    CReport first;
    ASSERT_TRUE(first.Take(book.plugin, {}));
    EXPECT_EQ(first.Text(), "+1 +1342177281 +2 ");
    std::filesystem::remove(book.root + "/8000000A.vcf");

    CReport quiet;
    ASSERT_TRUE(quiet.Take(book.plugin, first.version));
    EXPECT_EQ(quiet.Text(), "");

    EXPECT_TRUE(book.Change(1, u"Bob"));
    EXPECT_TRUE(book.Change(1, u"Cid"));
    EXPECT_TRUE(book.plugin.DeleteContact(Number(2)));
    const std::uint32_t made = book.New();
    EXPECT_TRUE(book.Change(made, u"Dan"));
    EXPECT_TRUE(book.plugin.DeleteContact(Number(book.New())));
    CReport second;
    ASSERT_TRUE(second.Take(book.plugin, quiet.version));
    EXPECT_EQ(second.Text(), "*1 +4 -2 ");
}

TEST(PABPluginTest, AContactMadeRightBehindAVersionIsCreatedAndNotChanged)
{
    CBook book;
    CReport report;
    for (int round = 0; round < 200; ++round) {
        const std::string number = std::to_string(book.New());
        ASSERT_TRUE(report.Take(book.plugin, report.version));
        ASSERT_EQ(report.Text(), "+" + number + " ");
        ASSERT_TRUE(book.plugin.DeleteContact(Number(static_cast<std::uint32_t>(round + 1))));
        report.created.RemoveAll();
        ASSERT_TRUE(report.Take(book.plugin, report.version));
        ASSERT_EQ(report.Text(), "-" + number + " ");
        report.deleted.RemoveAll();
    }
}

// Does something else right before a system call of its choice.
struct CIntrusion : CSystemCalls
{
    CIntrusion() { Replace(this); }
    ~CIntrusion() override { Replace(nullptr); }
    int SetOpenAttribute(int file, const char* name, const void* value, std::size_t size) override
    {
        if (--callsLeft == 0) {
            intrude();
        }
        return CSystemCalls::SetOpenAttribute(file, name, value, size);
    }
    int callsLeft = 0;
    std::function<void()> intrude;
};

TEST(PABPluginTest, AReportInTheMiddleOfACreationLosesNothing)
{
    for (const int call : {1, 2}) { // the time noted ahead, and the one behind the last stamp
        SCOPED_TRACE(call);
        CBook book;
        ASSERT_EQ(book.New(), 1u);
        CReport before, within, behind;
        ASSERT_TRUE(before.Take(book.plugin, {}));
        CIntrusion intrusion;
        intrusion.callsLeft = call;
        intrusion.intrude = [&] {
            EXPECT_TRUE(book.Change(1, u"Bob")); // the folder is later than the stamp
            EXPECT_EQ(book.New(), 3u);
            EXPECT_TRUE(within.Take(book.plugin, before.version));
            EXPECT_TRUE(book.plugin.DeleteContact(Number(3)));
        };
        EXPECT_EQ(book.New(), 2u);
        EXPECT_NE(within.Text().find("*1 "), std::string::npos);
        ASSERT_TRUE(behind.Take(book.plugin, within.version));
        EXPECT_NE(behind.Text().find("+2 "), std::string::npos) << behind.Text();
        std::set<std::uint32_t> known;
        within.Apply(&known);
        behind.Apply(&known);
        EXPECT_EQ(known, (std::set<std::uint32_t>{1, 2})) << "3 came and went";
        CReport last;
        EXPECT_TRUE(book.plugin.DeleteContact(Number(2)));
        ASSERT_TRUE(last.Take(book.plugin, behind.version));
        EXPECT_EQ(last.Text(), "-2 ");
    }
}

TEST(PABPluginTest, WhatHappensBehindALongWalkIsLeftToTheNextReport)
{
    // Each entry takes a minute; behind the first one its contact is deleted and the other changed.
    struct CLongWalk : CSystemCalls
    {
        explicit CLongWalk(CBook& walked) : book(walked) { Replace(this); }
        ~CLongWalk() override { Replace(nullptr); }
        int Now(struct timespec* time) override
        {
            const int result = CSystemCalls::Now(time);
            time->tv_sec -= first.empty() ? 60 : 0;
            return result;
        }
        int Stat(int folder, const char* path, int flags, struct statx* status) override
        {
            const int result = CSystemCalls::Stat(folder, path, flags, status);
            if (first.empty() && std::string_view(path).ends_with(".vcf")) {
                first = path;
                const CContactId id = CPABContact::FileNameToContactId(first);
                EXPECT_TRUE(book.plugin.DeleteContact(id));
                EXPECT_TRUE(book.Change(3 - id.ToNumber(), u"Bob"));
            }
            return result;
        }
        CBook& book;
        std::string first;
    };
    CBook book;
    book.New();
    book.New();
    std::set<std::uint32_t> known;
    CReport within, behind;
    {
        const CLongWalk walk(book);
        ASSERT_TRUE(within.Take(book.plugin, {}));
    }
    within.Apply(&known);
    ASSERT_TRUE(behind.Take(book.plugin, within.version));
    behind.Apply(&known);
    EXPECT_EQ(known.size(), 1u) << within.Text() << "and then " << behind.Text();
}

// With a clock that is set.
struct CSetClock : CFaultySystemCalls
{
    int Now(struct timespec* time) override
    {
        const int result = CSystemCalls::Now(time);
        time->tv_sec += seconds;
        return result;
    }
    time_t seconds = 0;
};

TEST(PABPluginTest, OneWriterLosesNothingToAClockThatIsSetBack)
{
    CBook book;
    CSetClock clock;
    clock.seconds = 3600;
    book.New();
    book.New();
    CReport report;
    ASSERT_TRUE(report.Take(book.plugin, {}));
    clock.seconds = 0;
    const auto next = [&] {
        CReport after;
        EXPECT_TRUE(after.Take(book.plugin, report.version));
        report.version = after.version;
        return after.Text();
    };
    EXPECT_TRUE(book.Change(1, u"Bob"));
    EXPECT_EQ(next(), "*1 ");
    book.New();
    EXPECT_EQ(next(), "+3 ");
    EXPECT_TRUE(book.plugin.DeleteContact(Number(3)));
    EXPECT_EQ(next(), "-3 ");
}

TEST(PABPluginTest, ATimeSetByHandDoesNotMoveTheVersion)
{
    CBook book;
    CSetClock clock;
    book.New();
    CReport report;
    const auto now = std::filesystem::file_time_type::clock::now();
    std::filesystem::last_write_time(book.root + "/80000000.vcf", now + std::chrono::hours(1));
    clock.seconds = 20;
    ASSERT_TRUE(report.Take(book.plugin, {}));
    EXPECT_LT(std::filesystem::last_write_time(book.root), now + std::chrono::minutes(1));
}

TEST(PABPluginTest, RestoredTimesHideNoDeletion)
{
    const auto anHourAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    for (const bool isCopy : {false, true}) {
        SCOPED_TRACE(isCopy);
        CBook book;
        book.New();
        CReport before, within, behind;
        ASSERT_TRUE(before.Take(book.plugin, {}));
        const std::string file = book.root + "/80000000.vcf";
        if (isCopy) {
            const std::string text = book.temp.Read("Contacts/80000000.vcf");
            std::filesystem::remove(file);
            std::this_thread::sleep_for(std::chrono::milliseconds(20)); // a tick of its birth time
            book.temp.Write("Contacts/80000000.vcf", text);             // without its attributes
        }
        std::filesystem::last_write_time(file, anHourAgo);
        std::filesystem::last_write_time(book.root, anHourAgo);
        ASSERT_TRUE(within.Take(book.plugin, before.version));
        EXPECT_GE(within.version, before.version);
        EXPECT_TRUE(book.plugin.DeleteContact(Number(1)));
        ASSERT_TRUE(behind.Take(book.plugin, within.version));
        EXPECT_EQ(behind.Text(), "-1 ");
    }
}

TEST(PABPluginTest, AMakerWhoHangsIsToldOfAndSoIsTheDeletion)
{
    CBook book;
    CReport within, behind;
    struct CHanging : CSetClock
    {
        int Unlink(const char* path) override // the redo file, with the content in place
        {
            if (std::exchange(seconds, 20) == 0) {
                intrude();
            }
            return CSystemCalls::Unlink(path);
        }
        std::function<void()> intrude;
    } hanging;
    hanging.intrude = [&] { EXPECT_TRUE(within.Take(book.plugin, {})); };
    EXPECT_EQ(book.New(), 1u);
    EXPECT_EQ(within.Text(), "+1 ");
    EXPECT_TRUE(book.plugin.DeleteContact(Number(1)));
    ASSERT_TRUE(behind.Take(book.plugin, within.version));
    EXPECT_EQ(behind.Text(), "-1 ");
}

using Operation = std::pair<const char*, bool (*)(CBook& book)>;
const Operation kOperations[] = {
    {"create", [](CBook& book) { return book.New() != 0; }},
    {"change", [](CBook& book) { return book.Change(1, u"New"); }},
    {"delete", [](CBook& book) { return book.plugin.DeleteContact(Number(1)); }},
    {"report", [](CBook& book) { return CReport().Take(book.plugin, {}); }},
};

TEST(PABPluginTest, WhatADeadProcessLeftIsReportedAndSoIsItsDeletion)
{
    for (const auto& [what, run] : kOperations) {
        bool wasHit = true;
        for (int call = 1; wasHit; ++call) {
            CBook book;
            book.New();
            book.New();
            CReport report;
            std::set<std::uint32_t> known, there;
            ASSERT_TRUE(report.Take(book.plugin, {}));
            report.Apply(&known);
            CSetClock calls;
            calls.DieAt(call);
            run(book);
            wasHit = calls.WasHit();
            SCOPED_TRACE(std::string(what) + " at " + std::to_string(call) + ", " +
                         calls.LastHit());
            calls.Bury();
            // Asks for the folder's version first, and has a version of its own for that.
            bool isChanged = true;
            FILETIME polled = report.version;
            const auto follow = [&] {
                CPABContactEnumerator poll(book.root);
                ASSERT_TRUE(poll.Start(&polled, &isChanged));
                polled = poll.GetVersion();
                CReport next;
                ASSERT_TRUE(!isChanged || next.Take(book.plugin, report.version));
                next.Apply(&known);
                report.version = isChanged ? next.version : report.version;
            };
            follow();
            EXPECT_NE(book.New(), 0u) << "a healthy one";
            follow();
            calls.seconds = 20; // the makers of contacts are given up
            follow();
            for (std::uint32_t number = 1; number <= 4; ++number) {
                if (book.plugin.OpenContact(Number(number), nullptr)) {
                    there.insert(number);
                }
            }
            EXPECT_EQ(known, there);
            for (const std::uint32_t number : there) {
                EXPECT_TRUE(book.plugin.DeleteContact(Number(number)));
            }
            follow();
            EXPECT_EQ(known, std::set<std::uint32_t>());
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
    EXPECT_TRUE(enumerator.Start(&version, &isChanged));
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
    ASSERT_TRUE(enumerator.MoveNext());
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
