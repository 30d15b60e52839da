#include "cards/Uid.h"
#include "core/ContactId.h"
#include "support/SampleCards.h"
#include "support/ToolRun.h"
#include "sync/SyncPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

#include <fcntl.h>
#include <sys/file.h>

using ::std::string;
using ::std::vector;

namespace
{

constexpr const char* kUid = "u";

// One card in a state, and what both sides have; "" is none.
vector<CSyncAction> PlanOf(const std::optional<CSyncedCard>& known, const string& ours,
                           const string& theirs)
{
    vector<COurCard> our;
    vector<CTheirCard> their;
    if (!ours.empty()) {
        our.push_back({"VCARDPAB-1", kUid, ours});
    }
    if (!theirs.empty()) {
        their.push_back({"u.vcf", {}, kUid, theirs});
    }
    return PlanSync(known ? vector{*known} : vector<CSyncedCard>(), our, their);
}

ESyncStep StepOf(const std::optional<CSyncedCard>& known, const string& ours, const string& theirs)
{
    const vector<CSyncAction> plan = PlanOf(known, ours, theirs);
    return plan.empty() ? ESyncStep::kNothing : plan.front().step;
}

CSyncedCard Known(vector<string> ours, vector<string> theirs)
{
    return {"VCARDPAB-1", kUid, "u.vcf", {}, std::move(ours), std::move(theirs)};
}

// A mailbox and a folder.
class CPair
{
public:
    CToolRun Sync(vector<string> options = {}) const
    {
        options.insert(options.begin(), {"sync", Folder()});
        return tool.Run(options);
    }
    string Folder() const { return tool.Folder() / "vdir"; }
    string File(const string& name) const { return tool.Folder().Read("vdir/" + name); }
    void Write(const string& name, const string& text) const
    {
        tool.Folder().Write("vdir/" + name, text);
    }
    void Replace(const string& name, const string& from, const string& to) const
    {
        string text = File(name);
        text.replace(text.find(from), from.size(), to);
        Write(name, text);
    }
    string Ours(const string& id) const { return tool.Run({"export", id}).out; }
    // The names of all cards of the folder.
    vector<string> Files() const
    {
        vector<string> names;
        for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
            names.push_back(entry.path().filename());
        }
        std::ranges::sort(names);
        return names;
    }

    CTool tool;
};

string Card(const string& uid, const string& lines)
{
    return "BEGIN:VCARD\r\nVERSION:3.0\r\n" + (uid.empty() ? "" : "UID:" + uid + "\r\n") + lines +
           "END:VCARD\r\n";
}

bool Contains(const string& text, const string& part)
{
    return text.find(part) != string::npos;
}

} // namespace

TEST(SyncTest, ChangeWinsOverDeletionAndTwoChangesAreAConflict)
{
    using enum ESyncStep;
    const struct
    {
        const char* what;
        std::optional<CSyncedCard> known;
        const char *ours, *theirs;
        ESyncStep step;
    } kCases[] = {
        {"as before", Known({"A"}, {"A"}), "A", "A", kNothing},
        {"as before, said in two ways", Known({"A"}, {"a"}), "A", "a", kNothing},
        {"ours changed", Known({"A"}, {"A"}), "B", "A", kOut},
        {"theirs changed", Known({"A"}, {"A"}), "A", "B", kIn},
        {"both to the same", Known({"A"}, {"A"}), "B", "B", kNothing},
        {"both", Known({"A"}, {"A"}), "B", "C", kConflict},
        {"ours deleted", Known({"A"}, {"A"}), "", "A", kRemoveFile},
        {"theirs deleted", Known({"A"}, {"A"}), "A", "", kRemoveContact},
        {"ours deleted, theirs changed", Known({"A"}, {"A"}), "", "B", kIn},
        {"theirs deleted, ours changed", Known({"A"}, {"A"}), "B", "", kOut},
        {"both deleted", Known({"A"}, {"A"}), "", "", kNothing},
        {"written there, then ours went back", Known({"A"}, {"A", "B"}), "A", "B", kOut},
        {"written here, then theirs went back", Known({"A", "B"}, {"A"}), "B", "A", kIn},
        {"written here, then theirs deleted", Known({"", "A"}, {""}), "A", "", kRemoveContact},
        {"new here", {}, "A", "", kOut},
        {"new there", {}, "", "A", kIn},
        {"new on both, the same", {}, "A", "A", kNothing},
        {"new on both", {}, "A", "B", kConflict},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(StepOf(c.known, c.ours, c.theirs), c.step);
    }
}

TEST(SyncTest, RunGoesOnWhereOneHasDied)
{
    vector<std::optional<CSyncedCard>> states = {std::nullopt};
    for (const char* const digest : {"A", "a"}) {
        states.emplace_back(Known({"A"}, {digest}));
    }
    for (const auto& known : states) {
        for (const string ours : {"", "A", "B"}) {
            for (const string theirs : {"", "A", "a", "C"}) {
                SCOPED_TRACE((known ? known->theirs.back() : "new") + ' ' + ours + ' ' + theirs);
                const vector<CSyncAction> plan = PlanOf(known, ours, theirs);
                if (plan.empty()) {
                    continue;
                }
                const ESyncStep step = plan.front().step;
                const bool isOut = step == ESyncStep::kOut || step == ESyncStep::kRemoveFile ||
                                   step == ESyncStep::kConflict;
                const bool isIn = step == ESyncStep::kIn || step == ESyncStep::kRemoveContact;
                const CSyncedCard pending = PendingCard(plan.front());
                // Nothing was written; then: it was; then: somebody has changed the other side, or
                // the side that was written.
                EXPECT_EQ(StepOf(pending, ours, theirs),
                          step == ESyncStep::kConflict ? ESyncStep::kOut : step);
                EXPECT_EQ(StepOf(pending, isIn ? theirs : ours, isOut ? ours : theirs),
                          ESyncStep::kNothing);
                if (isOut) {
                    EXPECT_EQ(StepOf(pending, "X", theirs), ESyncStep::kOut);
                    EXPECT_EQ(StepOf(pending, ours, "X"),
                              ours.empty() ? ESyncStep::kIn : ESyncStep::kConflict);
                }
                if (isIn) {
                    EXPECT_EQ(StepOf(pending, ours, "X"), ESyncStep::kIn);
                    EXPECT_EQ(StepOf(pending, "X", theirs),
                              theirs.empty() ? ESyncStep::kOut : ESyncStep::kConflict);
                }
            }
        }
    }
}

TEST(SyncTest, ContactWithoutUidTakesTheOneThatItsCardCameBackWith)
{
    const auto plan =
        PlanSync({}, {{"VCARDPAB-1", "derived", "A", false}, {"VCARDPAB-2", "stored", "A", true}},
                 {{"a.vcf", {}, "theirs", "A"}});
    ASSERT_EQ(plan.size(), 2U);
    EXPECT_EQ(plan[0].step, ESyncStep::kOut); // "stored": another card that says the same
    EXPECT_EQ(plan[1].step, ESyncStep::kIn);
    EXPECT_EQ(plan[1].ours->id, "VCARDPAB-1");
}

TEST(SyncTest, ChangesOfBothSidesMeet)
{
    const CPair pair;
    pair.tool.Run({"new", "FullName=Ann", "--tel", "work=1"});
    pair.Write(
        "bob.vcf",
        Card("b",
             "FN:Bob\r\nitem1.TEL;TYPE=work;X-OWN=1:2\r\nitem1.X-ABLABEL:Boat\r\nTEL;HOME:5\r\n"));
    pair.Write("cy.vcf", "BEGIN:VCARD\nVERSION:4.0\nFN:Cy\nTEL;PREF=1;VALUE=uri:tel:3\nEND:VC\n "
                         "ARD\nno END:VCARD\n");
    pair.Write("old.vcf", "BEGIN:VCARD\nVERSION:2.1\nFN:Old\nTEL;HOME;CELL:4\nEND:VCARD\n");
    pair.Write(".hidden.vcf", "x");
    const string ann = DerivedUid("alice@example.org", "VCARDPAB-1") + ".vcf";
    const CToolRun first = pair.Sync();
    EXPECT_EQ(first.err, "");
    EXPECT_EQ(std::ranges::count(first.out, '\n'), 4) << first.out;
    EXPECT_TRUE(Contains(first.out, "out created VCARDPAB-1 " + ann)) << first.out;
    EXPECT_TRUE(Contains(pair.File("cy.vcf"), "TEL;PREF=1;VALUE=uri:tel:3\nUID:"));
    EXPECT_EQ(pair.Sync().out, "");

    // A change here keeps what only their file can hold.
    string bob;
    for (const char* const id : {"VCARDPAB-2", "VCARDPAB-3", "VCARDPAB-4"}) {
        bob = Contains(pair.Ours(id), "FN:Bob") ? id : bob;
    }
    pair.tool.Run({"set", bob, "Nickname=B"});
    pair.Replace(ann, "work:1", "work:11");
    EXPECT_EQ(std::ranges::count(pair.Sync().out, '\n'), 2);
    EXPECT_TRUE(Contains(pair.File("bob.vcf"), "item1.TEL;TYPE=work;X-OWN=1:2\r\n"));
    EXPECT_TRUE(Contains(pair.File("bob.vcf"), "\nTEL;TYPE=HOME:5\r\n"));
    EXPECT_TRUE(Contains(pair.File("bob.vcf"), "NICKNAME:B"));
    EXPECT_TRUE(Contains(pair.Ours("VCARDPAB-1"), "TEL;TYPE=work:11"));
    EXPECT_EQ(pair.Sync().out, "");

    // Both changed: both cards are there, on both sides.
    pair.tool.Run({"set", bob, "Nickname=Ours"});
    pair.Replace("bob.vcf", "NICKNAME:B", "NICKNAME:Theirs");
    EXPECT_EQ(pair.Sync({"--dry-run"}).out, "both conflict " + bob + " bob.vcf\n");
    const CToolRun conflict = pair.Sync();
    EXPECT_TRUE(Contains(conflict.out, "both conflict " + bob + " bob.vcf VCARDPAB-5\n"));
    EXPECT_TRUE(Contains(pair.File("bob.vcf"), "NICKNAME:Ours"));
    EXPECT_TRUE(Contains(pair.Ours("VCARDPAB-5"), "NICKNAME:Theirs"));
    EXPECT_EQ(pair.Files().size(), 6U);
    EXPECT_EQ(pair.Sync().out, "");

    // A file may get another name; one that is gone takes its contact along.
    std::filesystem::rename(pair.Folder() + "/bob.vcf", pair.Folder() + "/robert.vcf");
    std::filesystem::remove(pair.Folder() + '/' + ann);
    pair.tool.Run({"delete", "VCARDPAB-5"});
    const CToolRun deletions = pair.Sync();
    EXPECT_TRUE(Contains(deletions.out, "in deleted VCARDPAB-1 " + ann + '\n')) << deletions.out;
    EXPECT_TRUE(Contains(deletions.out, "out deleted ")) << deletions.out;
    EXPECT_EQ(pair.Files(), (vector<string>{".hidden.vcf", "cy.vcf", "old.vcf", "robert.vcf"}));

    // Without the state, all is recognized.
    std::filesystem::remove(pair.tool.Folder() / ".vdir.contactmgr-sync");
    EXPECT_EQ(pair.Sync().out, "");
    EXPECT_EQ(pair.Files().size(), 4U);
}

TEST(SyncTest, SampleCardsComeInOnceAndStayAsTheyAre)
{
    const CPair pair;
    std::size_t count = 0;
    for (const string& card : SampleCards()) {
        pair.Write(std::to_string(++count) + ".vcf", card);
    }
    ASSERT_GT(count, 20U);
    const CToolRun first = pair.Sync();
    EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(first.out, '\n')), count) << first.err;
    // With the state lost the digests alone tell that both sides agree.
    std::filesystem::remove(pair.tool.Folder() / ".vdir.contactmgr-sync");
    EXPECT_EQ(pair.Sync().out, "");
    EXPECT_EQ(pair.Files().size(), count);
}

TEST(SyncTest, WhatCannotBeReadIsNamedAndLeftAloneOnBothSides)
{
    const string good = Card("g", "FN:Good\r\n");
    const struct
    {
        const char *what, *text, *err;
    } kCases[] = {
        {"no card", "hello", "no vCard in it; left alone"},
        {"empty", "", "no vCard in it"},
        {"cut short", "BEGIN:VCARD\r\nFN:Good\r\n", "no END:VCARD"},
        {"5.0", "BEGIN:VCARD\r\nVERSION:5.0\r\nFN:G\r\nEND:VCARD\r\n", "version 5.0"},
        {"two cards", "BEGIN:VCARD\nFN:a\nEND:VCARD\nBEGIN:VCARD\nFN:b\nEND:VCARD\n", "two vCards"},
        {"no UTF-8", "BEGIN:VCARD\nFN:\xFF\nEND:VCARD\n", "no UTF-8"},
        {"another's UID", "BEGIN:VCARD\nUID:k\nFN:Twin\nEND:VCARD\n", "has the UID of keep.vcf"},
        {"group",
         "BEGIN:VCARD\nVERSION:3.0\nUID:x\nX-ADDRESSBOOKSERVER-KIND:group\nFN:All\nEND:VCARD\n",
         "a group of contacts"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CPair pair;
        pair.Write("keep.vcf", Card("k", "FN:Keep\r\n"));
        pair.Write("x.vcf", good);
        pair.Sync();
        pair.Write("x.vcf", c.text);
        const CToolRun run = pair.Sync();
        EXPECT_TRUE(Contains(run.err, c.err)) << run.err;
        EXPECT_EQ(run.status, string(c.what) == "group" ? 0 : 1);
        EXPECT_EQ(pair.File("x.vcf"), c.text);
        EXPECT_EQ(pair.Files().size(), 2U);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(std::ranges::count(pair.tool.Run({"list"}).out, '\n'), 2);
        pair.Write("x.vcf", good);
        EXPECT_EQ(pair.Sync().err, "");
        EXPECT_EQ(std::ranges::count(pair.tool.Run({"list"}).out, '\n'), 2);
    }
}

TEST(SyncTest, SideThatIsNotThereDeletesNothing)
{
    const CPair pair;
    pair.tool.Run({"new", "FullName=Ann"});
    pair.Sync();
    const string away = pair.tool.Folder() / "away";
    std::filesystem::rename(pair.Folder(), away);
    EXPECT_TRUE(Contains(pair.Sync().err, "the folder is missing, and had 1 cards"));
    std::filesystem::create_directory(pair.Folder());
    EXPECT_TRUE(Contains(pair.Sync().err, "the folder is empty, and had 1 cards"));
    EXPECT_EQ(pair.tool.Run({"list"}).out, "VCARDPAB-1\tAnn\t\n");
    std::filesystem::remove(pair.Folder());
    std::filesystem::rename(away, pair.Folder());
    EXPECT_EQ(pair.Sync().err, "");

    const string book = pair.tool.StorePath() + "/example.org/alice/Contacts";
    std::filesystem::rename(book, away);
    EXPECT_TRUE(Contains(pair.Sync().err, "the address book is empty, and had 1 cards"));
    EXPECT_EQ(pair.Files().size(), 1U);
    std::filesystem::remove_all(book);
    std::filesystem::rename(away, book);

    // One run at a time; and not for another mailbox.
    const int folder = open(pair.Folder().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(flock(folder, LOCK_EX), 0);
    EXPECT_TRUE(Contains(pair.Sync().err, "another run is at work there (32)"));
    close(folder);
    const CToolRun other = pair.Sync({"--mailbox", "bob@example.org"});
    EXPECT_TRUE(Contains(other.err, "it is of mailbox alice@example.org")) << other.err;
    std::filesystem::remove(pair.Folder() + '/' + pair.Files().front());
    EXPECT_EQ(pair.Sync({"--force-delete"}).status, 0);
    EXPECT_EQ(pair.tool.Run({"list"}).out, "");
}

TEST(SyncTest, LinkThatLeadsNowhereAndStateOfAnotherFolderDeleteNothing)
{
    namespace fs = std::filesystem;
    const CPair pair;
    pair.tool.Run({"new", "FullName=Ann"});
    pair.tool.Run({"new", "FullName=Bob"});
    const string state = pair.tool.Folder() / "state";
    pair.Sync({"--state", state});
    const string file = pair.Folder() + '/' + pair.Files().front();
    const string away = pair.tool.Folder() / "away.vcf";
    fs::rename(file, away + ".not-there");
    fs::create_symlink(away, file);
    EXPECT_TRUE(Contains(pair.Sync({"--state", state}).err, "left alone"));
    fs::rename(away + ".not-there", file);

    const CToolRun other = pair.tool.Run({"sync", pair.tool.StorePath(), "--state", state});
    EXPECT_TRUE(Contains(other.err, "it is of folder")) << other.err;
    EXPECT_EQ(std::ranges::count(pair.tool.Run({"list"}).out, '\n'), 2);

    // Nobody else reads what is written, and a file that is written again keeps its mode.
    EXPECT_EQ(fs::status(file).permissions() & fs::perms::others_all, fs::perms::none);
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    pair.tool.Run({"set", "VCARDPAB-1", "Nickname=A"});
    pair.tool.Run({"set", "VCARDPAB-2", "Nickname=B"});
    EXPECT_EQ(pair.Sync({"--state", state}).err, "");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST(SyncTest, ContactThatSomebodyHoldsWaits)
{
    const CPair pair;
    pair.tool.Run({"new", "FullName=Ann"});
    pair.Sync();
    const string file = pair.Files().front();
    const string path = pair.tool.StorePath() + "/example.org/alice/Contacts/80000000.vcf";
    pair.tool.Run({"set", "VCARDPAB-1", "Nickname=A"});
    const int held = open(path.c_str(), O_RDWR);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    std::filesystem::remove(pair.Folder() + '/' + file);
    pair.Write("new.vcf", Card("n", "FN:New\r\n"));
    const CToolRun run = pair.Sync({"--wait", "0"});
    EXPECT_TRUE(Contains(run.err, "sync VCARDPAB-1")) << run.err;
    EXPECT_FALSE(Contains(run.out, "VCARDPAB-1 ")) << run.out;
    close(held);
    EXPECT_TRUE(Contains(pair.Sync().out, "out created VCARDPAB-1 "));
    EXPECT_TRUE(Contains(pair.File(file), "NICKNAME:A"));
}
