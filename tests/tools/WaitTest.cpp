#include "base/Patience.h"
#include "core/ContactMgr.h"
#include "platform/FolderLock.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"
#include "support/ToolRun.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using ::std::string;

namespace
{

using CArguments = std::vector<string>;
using namespace std::chrono_literals;

// The address book of alice, in the process of the test.
struct CBook
{
    explicit CBook(const CTool& tool)
    {
        server.Open(tool.StorePath().c_str());
        mailbox.Open(server, "alice", "example.org");
        manager = std::make_unique<CContactMgr>(mailbox);
    }

    std::unique_ptr<CContact> Hold(const char* id) const
    {
        CContact* contact = nullptr;
        EXPECT_TRUE(manager->OpenContact(id, &contact));
        return std::unique_ptr<CContact>(contact);
    }

    CMailServer server;
    CMailbox mailbox;
    std::unique_ptr<CContactMgr> manager;
};

// Runs the tool, and lets go of something when it has had the time to find that held.
CToolRun RunBeside(const CTool& tool, const CArguments& arguments,
                   const std::function<void()>& letGo)
{
    std::thread other([&] {
        std::this_thread::sleep_for(300ms);
        letGo();
    });
    const CToolRun run = tool.Run(arguments);
    other.join();
    return run;
}

} // namespace

TEST(WaitTest, PatienceEndsAndIsSharedByAllCalls)
{
    CPatience patience(20ms);
    int calls = 0;
    const auto fail = [&calls](std::uint32_t code) {
        return [&calls, code] {
            ++calls;
            SetLastError(code);
            return false;
        };
    };
    EXPECT_FALSE(patience.Try(fail(ERROR_ACCESS_DENIED)));
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(patience.Try(fail(ERROR_SHARING_VIOLATION)));
    EXPECT_GT(calls, 2);
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    calls = 0;
    EXPECT_FALSE(patience.Try(fail(ERROR_LOCK_VIOLATION)));
    EXPECT_EQ(calls, 1) << "the time was over";
}

TEST(WaitTest, AContactThatIsHeldIsTriedAgainUntilTheTimeIsOver)
{
    const CTool tool;
    for (const char* name : {"a", "anne", "b"}) {
        tool.Run({"new", string("FullName=") + name, "GivenName=x", "--email",
                  name + string("@example.com")});
    }
    tool.Folder().Write("store/example.org/alice/cur/1", "From: Anne <anne@example.com>\n\n");
    const CBook book(tool);
    const string held = "VCARDPAB-2: " + tool.StorePath() +
                        "/example.org/alice/Contacts/40000000.vcf: in use by another program (32)";
    static const CArguments kCommands[] = {{"list"},
                                           {"show", "VCARDPAB-2"},
                                           {"export"},
                                           {"export", "VCARDPAB-2"},
                                           {"new", "--from", "VCARDPAB-2"},
                                           {"set", "VCARDPAB-2", "Nickname=x"},
                                           {"delete", "VCARDPAB-2"}};
    for (const CArguments& command : kCommands) {
        SCOPED_TRACE(command[0]);
        std::unique_ptr<CContact> contact = book.Hold("VCARDPAB-2");
        CArguments arguments = command;
        arguments.insert(arguments.end(), {"--wait", "0"});
        const CToolRun failed = tool.Run(arguments);
        EXPECT_EQ(failed.status, 1);
        EXPECT_NE(failed.err.find(held), string::npos) << failed.err;
        arguments.back() = "59.5";
        const CToolRun run = RunBeside(tool, arguments, [&] { contact.reset(); });
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
        if (command[0] == "list") {
            // In its place, and hiding the sender of the same address.
            EXPECT_EQ(run.out.substr(0, run.out.find("VCARDPAB-3")),
                      "VCARDPAB-1\ta\ta@example.com\n"
                      "VCARDPAB-2\tanne\tanne@example.com\n");
            EXPECT_EQ(run.out.find("INBOX"), string::npos);
        }
    }
}

TEST(WaitTest, ALockedMailFolderIsTriedAgain)
{
    const CTool tool;
    CFolderLock lock;
    ASSERT_TRUE(lock.AcquireExclusive((tool.StorePath() + "/example.org/alice").c_str()));
    for (const char* command : {"list", "poll"}) {
        EXPECT_EQ(tool.Run({command, "--wait", "0"}).status, 1);
    }
    const CToolRun run = RunBeside(tool, {"list", "--wait", "60"}, [&] { lock.Release(); });
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
}
