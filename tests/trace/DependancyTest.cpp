#include "trace/Dependancy.h"

#include "server/ServerDependancies.h"
#include "support/TestMailStore.h"

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

TEST(DependancyTest, TheServersLibrariesStartWithAnOpenServerAlone)
{
    CTestMailStore store;
    CMailServer closed;
    CPigeonryDependancy pigeonry;
    CParishDependancy parish;
    CSatchelDependancy satchel("test");
    EXPECT_FALSE(pigeonry.Init(closed) || parish.Init(closed) || satchel.Init(closed));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_TRUE(pigeonry.Init(store.server) && parish.Init(store.server) &&
                satchel.Init(store.server));
    EXPECT_TRUE(pigeonry.Term() && parish.Term() && satchel.Term());
}

} // namespace
