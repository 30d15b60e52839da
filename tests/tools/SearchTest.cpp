#include "search/Folding.h"
#include "support/ToolRun.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using ::std::string;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace
{

using CWords = std::vector<string>;

// A store whose INBOX gets messages, and a look at what a query answers.
class CSearchTest : public testing::Test
{
protected:
    string Inbox() const { return tool.StorePath() + "/example.org/alice"; }

    // Delivered so many days after 2024-01-01.
    void Deliver(const string& id, const string& from, int day = 0) const
    {
        constexpr std::time_t k2024 = 1704067200;
        const string path = Inbox() + "/cur/" + id + ":2,S";
        std::ofstream(path) << "From: " << from << "\n\nHello\n";
        const timespec time = {k2024 + day * 86400, 0};
        const timespec times[2] = {time, time};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }

    string Query(CWords words) const
    {
        words.insert(words.begin(), {"query", "--format", "aerc"});
        return tool.Run(words).out;
    }

    // The same without the cache.
    string ReadAnew(CWords words) const
    {
        words.insert(words.begin(), "--no-cache");
        return Query(words);
    }

    string IndexPath() const
    {
        const fs::path folder = tool.Folder() / "cache/contactmgr";
        for (const auto& entry : fs::directory_iterator(folder)) {
            return entry.path();
        }
        return "";
    }

    const CTool tool;
};

// Changes a file and keeps its time of writing.
void ReplaceIn(const string& path, const string& before, const string& after)
{
    const fs::file_time_type time = fs::last_write_time(path);
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    string content = text.str();
    content.replace(content.find(before), before.size(), after);
    std::ofstream(path) << content;
    fs::last_write_time(path, time);
}

// Then the times of folders count, and what is cached is used.
void WaitUntilFoldersAreOld()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
}

} // namespace

TEST(FoldingTest, WordsAreFoundWithoutCaseAccentsAndForms)
{
    static const struct
    {
        const char* words;
        const char* text;
        EMatch match;
    } kCases[] = {
        {"muller", "Jörg Müller", EMatch::kAtBeginning},
        {"mueller", "Jörg Müller", EMatch::kAtBeginning},
        {"MÜLLER", "Jörg Müller", EMatch::kAtBeginning},
        {"müller", "Jörg Mueller", EMatch::kAtBeginning},
        {"mu\xCC\x88ller", "Müller", EMatch::kAtBeginning}, // decomposed
        {"Müller", "MU\xCC\x88LLER", EMatch::kAtBeginning},
        {"jörg mul", "Müller, Jörg", EMatch::kAtBeginning},
        {"ull", "Müller", EMatch::kWithin},
        {"jorg ull", "Jörg Müller", EMatch::kWithin},
        {"mueller", "Muller", EMatch::kNone},
        {"el", "Manuel", EMatch::kWithin},
        {"michal", "Michael", EMatch::kNone},
        {"GROSS", "Groß", EMatch::kAtBeginning},
        {"groß", "Gross", EMatch::kAtBeginning},
        {"soren", "Søren", EMatch::kAtBeginning},
        {"lukasz", "Łukasz", EMatch::kAtBeginning},
        {"dorde", "Đorđe", EMatch::kAtBeginning},
        {"dvorak", "Dvořák", EMatch::kAtBeginning},
        {"σίσυφος", "ΣΊΣΥΦΟΣ", EMatch::kAtBeginning}, // final sigma
        {"иван", "ИВАН", EMatch::kAtBeginning},
        {"ｌｅｅ", "Lee", EMatch::kAtBeginning}, // full width
        {"ann@ex", "ann@example.org", EMatch::kAtBeginning},
        {"example", "ann@example.org", EMatch::kAtBeginning},
        {"ann lee", "Ann", EMatch::kNone},
        {" ", "Ann", EMatch::kAtBeginning},
        {"太郎\xE3\x80\x80山田", "山田 太郎", EMatch::kAtBeginning}, // a wide blank between
        {"\xFF", "Ann", EMatch::kNone},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(string(c.words) + " in " + c.text);
        EXPECT_EQ(CSearchWords({c.words}).Match(FoldText(c.text)), c.match);
    }
    string name, folded; // long enough for several pieces, with characters of two units
    for (int i = 0; i < 1000; ++i) {
        name += "\xC3\x86\xF0\x9F\x98\x80x";
        folded += "ae\xF0\x9F\x98\x80x";
    }
    EXPECT_EQ(FoldText(name).plain, folded);
    const CFoldedText number = FoldText("+49 (30) 55-01\n" + DigitsOf("+49 (30) 55-01"));
    EXPECT_EQ(CSearchWords({"3055"}).Match(FoldText("Ann"), number), EMatch::kWithin);
    EXPECT_EQ(CSearchWords({"30/5501 ann"}).Match(FoldText("Ann"), number), EMatch::kWithin);
    EXPECT_EQ(CSearchWords({"9999"}).Match(FoldText("Ann"), number), EMatch::kNone);
}

TEST_F(CSearchTest, AnswersAreRankedAndEachAddressIsToldOnce)
{
    tool.Run({"new", "FullName=Zoe Annan", "--email", "zoe@a.example", "--email", "zoe@b.example"});
    tool.Run({"new", "FullName=Joanna Lee", "Organization=Müller AG", "--email", "jo@a.example",
              "--tel", "+49 30 5501"});
    tool.Run({"new", "FullName=Anna Nobody"});
    tool.Run({"new", "--email", "bare@n.example"});
    tool.Run({"new", "--email", "Ned Nash <nash@n.example>"});
    tool.Run({"new", "Organization=Nagel Ltd.", "--email", "desk@n.example"});
    tool.Run({"new", "GivenName=Nan", "Surname=Nagy", "--email", "nagy@n.example"});
    tool.Run({"new", "FullName=Nat Nail", "--email", "nail@n.example"});
    tool.Run({"mailbox", "set", "alice@example.org", "EnabledContactPlugins=15"});
    tool.Run({"mailbox", "set", "bob@example.org", "FullName=Bob Annis"});
    Deliver("1", "Ann Often <often@a.example>", 1);
    Deliver("2", "Ann Late <late@a.example>", 400);
    Deliver("3", "Ann Late <late@a.example>", 400);
    Deliver("4", "=?utf-8?q?Ann_M=C3=BCller?= <Often@a.example>", 2);
    Deliver("5", "Joann <zoe@b.example>", 3);
    Deliver("6", "Joann <joann@c.example>", 800);
    Deliver("7", "undisclosed:;", 800);
    Deliver("8", "=?utf-8?q?J=C3=BCrgen?= <j@d.example>");
    const string often = "Often@a.example\tAnn Müller\n";
    const string late = "late@a.example\tAnn Late\n";
    const std::pair<CWords, string> kCases[] = {
        {{"ann"},
         "zoe@a.example\tZoe Annan\nzoe@b.example\tZoe Annan\njo@a.example\tJoanna Lee\n"
         "bob@example.org\tBob Annis\n" +
             late + often + "joann@c.example\tJoann\n"},
        {{"ann", "a.example", "--max", "2"},
         "zoe@a.example\tZoe Annan\njo@a.example\tJoanna Lee\n"},
        {{"mueller"}, "jo@a.example\tJoanna Lee\n" + often},
        {{"often a"}, often},
        {{"juergen"}, "j@d.example\tJürgen\n"},
        {{"305501"}, "jo@a.example\tJoanna Lee\n"},
        {{"nobody"}, ""},
        {{"joann"}, "jo@a.example\tJoanna Lee\njoann@c.example\tJoann\nzoe@b.example\tJoann\n"},
        {{"n.example"},
         "desk@n.example\tNagel Ltd.\nnagy@n.example\tNan Nagy\nnail@n.example\tNat Nail\n"
         "nash@n.example\tNed Nash\nbare@n.example\t\n"},
    };
    for (const auto& [words, answers] : kCases) {
        SCOPED_TRACE(words.front());
        EXPECT_EQ(Query(words), answers);
        EXPECT_EQ(Query(words), answers) << "from the cache";
    }
    EXPECT_EQ(tool.Run({"query", "often"}).out, "1 match\nOften@a.example\tAnn Müller\tINBOX\n");
    EXPECT_EQ(tool.Run({"query", "--max", "1", "ann"}).out,
              "7 matches, the first 1\nzoe@a.example\tZoe Annan\tVCARDPAB\n");
    EXPECT_EQ(Query({"ann", "--max", "99999999999999999999"}), Query({"ann"}));
    for (const char* number : {"0", "-1", "1.5", "1x", ""}) {
        const CToolRun run = tool.Run({"query", "--max", number, "ann"});
        EXPECT_EQ(run.err, string("contactmgr: wrong usage: --max is no number from 1 on: ") +
                               number + " (see contactmgr --help)\n");
        EXPECT_EQ(run.status, 2);
    }
    EXPECT_EQ(tool.Run({"query", "--format", "xml", "ann"}).err,
              "contactmgr: wrong usage: --format takes mutt, aerc, plain or json: xml (see "
              "contactmgr --help)\n");
    EXPECT_EQ(tool.Run({"query", "--format", "plain", "often"}).out,
              "Ann Müller <Often@a.example>\n");
    EXPECT_EQ(tool.Run({"query", "--format", "json", "often"}).out,
              R"({"formatVersion":1,"address":"Often@a.example","name":"Ann Müller",)"
              R"("type":"INBOX","id":"INBOX-Ann Müller <Often@a.example>","messages":2,)"
              R"("latest":"133487136000000000"})"
              "\n");
}

TEST_F(CSearchTest, WhatChangesIsAnswered)
{
    const CWords all = {"e"};
    const auto expectSame = [&](const char* what) {
        const string anew = ReadAnew(all);
        EXPECT_EQ(Query(all), anew) << what;
        EXPECT_EQ(Query(all), anew) << what;
        return anew;
    };
    tool.Run({"new", "FullName=Eve", "--email", "eve@a.example"});
    tool.Run({"new", "FullName=Ernie", "--email", "ernie@a.example"});
    for (int i = 0; i < 20; ++i) {
        Deliver("m" + std::to_string(i), "Sender <s" + std::to_string(i % 7) + "@e.example>", i);
    }
    EXPECT_NE(expectSame("at first").find("ernie"), string::npos);
    WaitUntilFoldersAreOld();
    expectSame("settled");
    // A file that changes where nobody looks shows that the cache is used.
    Deliver("m3", "Unseen <unseen@e.example>");
    EXPECT_EQ(Query({"unseen"}), "");
    EXPECT_NE(ReadAnew({"unseen"}), "");
    fs::rename(Inbox() + "/cur/m3:2,S", Inbox() + "/cur/n3:2,RS");
    EXPECT_NE(expectSame("another message").find("unseen"), string::npos);
    tool.Run({"set", "VCARDPAB-1", "FullName=Evelyn"});
    EXPECT_NE(expectSame("changed").find("Evelyn"), string::npos);
    tool.Run({"delete", "VCARDPAB-2"});
    EXPECT_EQ(expectSame("deleted").find("ernie"), string::npos);
    std::ofstream(Inbox() + "/Contacts/80000000.vcf", std::ios::app) << "\n";
    expectSame("touched by hand");
    WaitUntilFoldersAreOld();
    expectSame("settled again");
    const string card = Inbox() + "/Contacts/80000000.vcf";
    fs::copy_file(card, card + ".old");
    fs::last_write_time(card + ".old", fs::last_write_time(card));
    ReplaceIn(card + ".old", "Evelyn", "Eleven");
    fs::rename(card + ".old", card);
    EXPECT_NE(expectSame("restored with its old time and size").find("Eleven"), string::npos);
    fs::rename(Inbox() + "/cur", Inbox() + "/before");
    fs::create_directory(Inbox() + "/cur");
    Deliver("m1", "Another <another@e.example>");
    EXPECT_NE(expectSame("another folder, the same message id").find("another"), string::npos);
    fs::remove(Inbox() + "/cur/m1:2,S");
    Deliver("z", "Fresh <fresh@e.example>");
    EXPECT_NE(expectSame("delivered").find("fresh"), string::npos);
    std::ofstream(Inbox() + "/cur/y:2,") << "BZh91AY&SY";
    EXPECT_EQ(tool.Run({"query", "fresh"}).status, 1);
    EXPECT_EQ(tool.Run({"query", "fresh"}).err,
              "contactmgr: query: messages that are stored as bzip2 are not read: 1\n");
    fs::remove(Inbox() + "/cur/y:2,");
    fs::rename(Inbox() + "/cur", Inbox() + "/own");
    fs::create_directory_symlink(tool.StorePath() + "/example.org/bob/cur", Inbox() + "/cur");
    EXPECT_EQ(tool.Run({"query", "eve"}).err,
              "contactmgr: query: store INBOX: access denied (5)\n");
    tool.Run({"mailbox", "set", "alice@example.org", "EnabledContactPlugins=1"});
    EXPECT_EQ(expectSame("a store less"), "eve@a.example\tEleven\n");
}

TEST_F(CSearchTest, ADamagedCacheChangesNoAnswer)
{
    tool.Run({"new", "FullName=Eve", "--email", "eve@a.example"});
    Deliver("1", "Ernie <ernie@a.example>");
    WaitUntilFoldersAreOld();
    const string answer = Query({"e"});
    const string path = IndexPath();
    std::ifstream file(path, std::ios::binary);
    const string whole{std::istreambuf_iterator<char>(file), {}};
    ASSERT_GT(whole.size(), 100U);
    for (std::size_t at = 0; at < whole.size(); at += 7) {
        string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x11);
        std::ofstream(path, std::ios::binary | std::ios::trunc) << damaged;
        ASSERT_EQ(Query({"e"}), answer) << "byte " << at;
    }
    for (const std::size_t size : {std::size_t{0}, std::size_t{39}, whole.size() - 1}) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << whole.substr(0, size);
        ASSERT_EQ(Query({"e"}), answer) << size << " bytes";
    }
    std::ofstream(path + ".AbCdEf") << "of a process that was killed";
    std::ofstream(path + ".GhIjKl") << "of one that is writing";
    fs::last_write_time(path + ".AbCdEf", fs::file_time_type::clock::now() - 2h);
    Deliver("2", "Else <else@b.example>");
    EXPECT_NE(Query({"e"}), answer);
    EXPECT_FALSE(fs::exists(path + ".AbCdEf"));
    EXPECT_TRUE(fs::exists(path + ".GhIjKl"));
    fs::remove(Inbox() + "/cur/2:2,S");
    fs::remove(path);
    fs::create_directory(path);
    EXPECT_EQ(Query({"e"}), answer) << "a folder in its place";
    fs::remove_all(tool.Folder() / "cache");
    std::ofstream(tool.Folder() / "cache") << "";
    const CToolRun run = tool.Run({"query", "--format", "aerc", "e"});
    EXPECT_EQ(run.out, answer) << "no cache folder";
    EXPECT_EQ(run.err, "");
    fs::remove(tool.Folder() / "cache");
    const string limited = "bash -c '(ulimit -f 0; exec " + string(CONTACTMGR_TEST_TOOL) +
                           " --store " + tool.StorePath() +
                           " --mailbox alice@example.org query --format aerc e) | cat > " +
                           string(tool.Folder() / "out") + "'";
    ASSERT_EQ(std::system(limited.c_str()), 0);
    EXPECT_EQ(tool.Folder().Read("out"), answer) << "a file may not grow";
}

TEST_F(CSearchTest, ManyProcessesShareTheCache)
{
    Deliver("1", "Ernie <ernie@a.example>");
    tool.Run({"new", "FullName=Eve", "--email", "eve@a.example"});
    const string command = string(CONTACTMGR_TEST_TOOL) + " --store " + tool.StorePath() +
                           " --mailbox alice@example.org ";
    const string results = tool.Folder() / "result";
    const string script = "for i in 1 2 3 4 5 6 7 8 9 10; do (for j in 1 2 3 4; do " + command +
                          "query --format aerc e || echo failed; done > " + results +
                          "$i 2>&1) & done; " + command + "set VCARDPAB-1 Nickname=x; wait";
    ASSERT_EQ(std::system(("bash -c '" + script + "'").c_str()), 0);
    const string answer = "eve@a.example\tEve\nernie@a.example\tErnie\n";
    EXPECT_EQ(ReadAnew({"e"}), answer);
    for (int i = 1; i <= 10; ++i) {
        EXPECT_EQ(tool.Folder().Read("result" + std::to_string(i)),
                  answer + answer + answer + answer);
    }
}
