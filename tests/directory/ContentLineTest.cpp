#include "directory/ContentLine.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace
{

using DirectoryUtils::CContentLine;
using DirectoryUtils::CContentLines;
using DirectoryUtils::CParameters;
using DirectoryUtils::CParameterValues;

TEST(ContentLinesTest, FindGoesThroughAllLinesOfANameInAnyCase)
{
    CContentLines lines;
    EXPECT_EQ(lines.Find("PROFILE"), nullptr);
    const POSITION first = lines.AddTail(new CContentLine("profile"));
    lines.AddTail(new CContentLine("PROFILES"));
    const POSITION last = lines.AddTail(new CContentLine("Profile"));
    EXPECT_EQ(lines.Find("PROFILE"), first);
    EXPECT_EQ(lines.Find("pRoFiLe", first), last);
    EXPECT_EQ(lines.Find("PROFILE", last), nullptr);
}

TEST(ContentLinesTest, TheListDestroysWhatIsInItAndOnlyUnlinksWhatIsRemoved)
{
    const std::size_t before = CMemoryDebugging::LiveBlocks();
    const auto lineCount = [before] { return CMemoryDebugging::LiveBlocks() - before; };
    const std::unique_ptr<CContentLine> removed(new CContentLine("A"));
    {
        CContentLines lines;
        lines.AddTail(removed.get());
        lines.AddTail(new CContentLine("B"));
        lines.RemoveAt(lines.GetHeadPosition());
        EXPECT_EQ(lineCount(), 2U);

        CContentLines replacement;
        replacement.AddTail(new CContentLine("C"));
        lines = std::move(replacement);
        EXPECT_EQ(lines.GetCount(), 1U);
        EXPECT_EQ(lineCount(), 2U);
    }
    EXPECT_EQ(lineCount(), 1U);
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
