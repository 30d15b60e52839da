#include "directory/ContentLine.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using DirectoryUtils::CContentLine;
using DirectoryUtils::CContentLines;
using DirectoryUtils::CParameters;
using DirectoryUtils::CParameterValues;

// A derived line that counts those alive.
class CCountedLine : public CContentLine
{
public:
    explicit CCountedLine(const char* name) : CContentLine(name) { ++s_alive; }
    ~CCountedLine() override { --s_alive; }
    static inline int s_alive = 0;
};

TEST(ContentLinesTest, FindGoesThroughAllLinesOfANameInAnyCase)
{
    CContentLines lines;
    CContentLines others;
    others.AddTail(new CContentLine("X"));
    const POSITION elsewhere = others.AddHead(new CContentLine("X"));
    EXPECT_EQ(lines.Find("PROFILE"), nullptr);
    EXPECT_EQ(lines.Find("X", elsewhere), nullptr);

    const POSITION first = lines.AddTail(new CContentLine("profile"));
    lines.AddTail(new CContentLine("PROFILES"));
    const POSITION last = lines.AddTail(new CContentLine("Profile"));
    EXPECT_EQ(lines.Find("PROFILE"), first);
    EXPECT_EQ(lines.Find("pRoFiLe", first), last);
    EXPECT_EQ(lines.Find("PROFILE", last), nullptr);
    EXPECT_EQ(lines.Find("PROFIL"), nullptr);
}

TEST(ContentLinesTest, TheListDestroysWhatIsInItAndOnlyUnlinksWhatIsRemoved)
{
    CCountedLine::s_alive = 0;
    CContentLine* removed = nullptr;
    {
        CContentLines lines;
        lines.AddTail(new CCountedLine("A"));
        removed = lines.GetHead();
        lines.AddTail(new CCountedLine("B"));
        lines.RemoveAt(lines.GetHeadPosition());
        EXPECT_EQ(CCountedLine::s_alive, 2);

        CContentLines replacement;
        replacement.AddTail(new CCountedLine("C"));
        lines = std::move(replacement);
        EXPECT_EQ(lines.GetCount(), 1U);
        EXPECT_EQ(CCountedLine::s_alive, 2);
    }
    EXPECT_EQ(CCountedLine::s_alive, 1);
    delete removed;
    EXPECT_EQ(CCountedLine::s_alive, 0);
}

TEST(CParametersTest, SetAtTakesTheValuesOverAndFreesNoneThatItReplaces)
{
    const std::size_t before = CMemoryDebugging::LiveBlocks();
    CParameterValues* replaced = new CParameterValues;
    {
        CParameters parameters;
        CParameterValues* found = nullptr;
        ASSERT_TRUE(parameters.SetAt("TYPE", replaced));
        EXPECT_FALSE(parameters.Lookup("type", found));
        ASSERT_TRUE(parameters.SetAt("TYPE", new ("File.cpp", 7, CDummy()) CParameterValues));
        ASSERT_TRUE(parameters.Lookup("TYPE", found));
        EXPECT_NE(found, replaced);
        EXPECT_FALSE(parameters.SetAt("OTHER", nullptr));
        EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before + 2);
    }
    EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before + 1);
    delete replaced;
}

// So many names that a walk for each of them would take minutes.
TEST(CParametersTest, ACopySharesNothingAndFindsEachOfManyNames)
{
    constexpr int kCount = 100000;
    std::string line;
    for (int i = 0; i < kCount; ++i) {
        line += "P" + std::to_string(i) + "=" + std::to_string(i) + (i + 1 < kCount ? ";" : ":");
    }
    CParameters source;
    int position = 0;
    while (source.Extract(line, &position)) {
    }
    ASSERT_EQ(position, static_cast<int>(line.size()));
    const CParameters copy(source);
    CParameterValues* values = nullptr;
    for (int i = 0; i < kCount; ++i) {
        const std::string number = std::to_string(i);
        ASSERT_TRUE(source.Lookup("P" + number, values));
        values->RemoveAll();
        ASSERT_TRUE(copy.Lookup("P" + number, values));
        ASSERT_EQ(values->GetHead(), std::u16string(number.begin(), number.end()));
    }
    EXPECT_FALSE(copy.Lookup("P" + std::to_string(kCount), values));
    source.RemoveAll();
    EXPECT_FALSE(source.Lookup("P1", values));
}

} // namespace
