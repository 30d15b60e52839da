#include "trace/Dependancy.h"

#include "server/MailServer.h"

#include <gtest/gtest.h>

namespace
{

// Writes down which hooks are called; they answer what the test says.
struct CRecordingDependancy : CDependancy<CMailServer>
{
    bool DoInitWork(CMailServer&) override { return Call('i'); }
    bool DoTermWork() override { return Call('t'); }
    void ReportInitError(CMailServer&) override { Call('e'); }
    bool Call(char hook)
    {
        calls += hook;
        return answer;
    }

    std::string calls;
    bool answer = true;
};

TEST(DependancyTest, LibraryIsStartedAndEndedOnce)
{
    CMailServer server;
    CRecordingDependancy library;
    EXPECT_TRUE(library.Term());
    library.answer = false;
    EXPECT_FALSE(library.Init(server));
    library.answer = true;
    EXPECT_TRUE(library.Init(server) && library.Init(server));
    library.answer = false;
    EXPECT_FALSE(library.Term());
    EXPECT_TRUE(library.Init(server)); // still up
    library.answer = true;
    EXPECT_TRUE(library.Term() && library.Term());
    EXPECT_EQ(library.calls, "ieitt");
}

} // namespace
