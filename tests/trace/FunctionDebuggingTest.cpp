#include "trace/FunctionDebugging.h"

#include "platform/LastError.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Lines = std::vector<std::string>;

// Collects what scopes report, without the thread's number in front.
class FunctionDebuggingTest : public testing::Test
{
protected:
    FunctionDebuggingTest()
    {
        CFunctionDebugging::SetSink([this](std::string_view line) {
            const CFunctionDebugging untraced("Sink");
            m_lines.emplace_back(line.substr(line.find(' ') + 1));
        });
    }
    ~FunctionDebuggingTest() override
    {
        CFunctionDebugging::TurnOff();
        CFunctionDebugging::SetSink(nullptr);
    }

    Lines m_lines;
};

TEST_F(FunctionDebuggingTest, RulesChooseScopesAndBitsAndMalformedOnesLeaveTheOldOnes)
{
    constexpr int kRefused = 4; // what the rules of before give
    static const struct
    {
        const char *rules, *scope;
        int bits;
    } kCases[] = {
        {"*:*:*:*:65535", "CPABContact::Save", 38},
        {"*:*:*:*:0x24", "CPABContact::Save", 36},
        {"CPABContact:*:*:*:2", "CPABContact::Save", 2},
        {"CPABContact:*:*:*:2", "CContactMgr::Save", 0},
        {"*:*ab:*:*:2", "aabab", 2},
        {"*:Save:*:*:2", "A::B::Save", 2},
        {":Save:*:*:2", "Save", 2},
        {"*:Save:*:*:2; *:S*:*:*:4\r\n\n*:Load:*:*:32", "Save", 6},
        {"", "", kRefused},
        {" ; ", "", kRefused},
        {"*:*:*:7", "", kRefused},
        {"*:*:*:*:*:7", "", kRefused},
        {"*:*:*:*:0x", "", kRefused},
        {"*:*:*:*:7a", "", kRefused},
        {"*:*:*:*:4294967296", "", kRefused},
        {"*:*:*:*:2;*", "", kRefused},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::string(c.rules) + " " + c.scope);
        ASSERT_TRUE(CFunctionDebugging::SetEventCaptureRules("*:*:*:*:4"));
        SetLastError(0);
        EXPECT_EQ(CFunctionDebugging::SetEventCaptureRules(c.rules), c.bits != kRefused);
        EXPECT_EQ(GetLastError(), c.bits != kRefused ? 0 : ERROR_INVALID_PARAMETER);
        const CFunctionDebugging scope(c.scope);
        EXPECT_EQ((scope.DebugParameters() != 0 ? 2 : 0) |
                      (scope.DebugReturnValues() != 0 ? 4 : 0) |
                      (scope.DebugLargeBuffers() != 0 ? 32 : 0),
                  c.bits);
    }
}

TEST_F(FunctionDebuggingTest, EventsAreOneLineEachWithNestingAndMailName)
{
    ASSERT_TRUE(CFunctionDebugging::TurnOn());
    SetLastError(1234);
    {
        const CFunctionDebugging outer("CContactMgr::OpenContact");
        const CFunctionDebugging::CActiveMailName mailName("ann", "example.org");
        const CFunctionDebugging inner("CPABContact::GetProperty");
        inner.Parameters(1, "PropertyName", "a\r\n\"b\\");
        inner.ReturnValues(1, 1, "pValue", std::string("x"), "beyond the count", "y");
    }
    EXPECT_EQ(GetLastError(), 1234u);
    EXPECT_EQ(
        m_lines,
        (Lines{"> CContactMgr::OpenContact", "ann@example.org   > CPABContact::GetProperty",
               R"(ann@example.org     ? CPABContact::GetProperty PropertyName="a\x0D\x0A\"b\\")",
               R"(ann@example.org     = CPABContact::GetProperty result=1 pValue="x")",
               "ann@example.org   < CPABContact::GetProperty", "< CContactMgr::OpenContact"}));
}

TEST_F(FunctionDebuggingTest, LongValuesAreCutAtACharacterUnlessAskedFor)
{
    const std::string value =
        std::string(CFunctionDebugging::kLargeBufferBytes - 1, 'x') + "\u00E4";
    for (const char* const rules : {"*:*:*:*:2", "*:*:*:*:34"}) {
        ASSERT_TRUE(CFunctionDebugging::SetEventCaptureRules(rules));
        CFunctionDebugging("f").Parameters(1, "v", value);
    }
    EXPECT_EQ(m_lines, (Lines{"? f v=\"" + value.substr(0, value.size() - 2) + "\"... (257 bytes)",
                              "? f v=\"" + value + "\""}));
}

TEST_F(FunctionDebuggingTest, RulesChangeWhileOtherThreadsTrace)
{
    std::atomic<int> running{2};
    const auto trace = [&running] {
        for (int i = 0; i < 5000; ++i) {
            const CFunctionDebugging scope("CPABContact::Save");
        }
        --running;
    };
    std::thread first(trace), second(trace);
    for (int i = 0; running > 0; ++i) {
        CFunctionDebugging::SetEventCaptureRules(i % 2 == 0 ? "CPAB*:*:*:*:3" : nullptr);
    }
    first.join();
    second.join();
    // Each scope that reported its entry reported its exit, whatever the rules had become.
    EXPECT_EQ(std::count(m_lines.begin(), m_lines.end(), "> CPABContact::Save"),
              std::count(m_lines.begin(), m_lines.end(), "< CPABContact::Save"));
}

} // namespace
