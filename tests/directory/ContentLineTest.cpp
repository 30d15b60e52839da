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
    CParameters source;
    for (int i = 0; i < kCount; ++i) {
        source.FindOrAdd("P" + std::to_string(i))->AddTail(u"x");
    }
    const CParameters copy(source);
    CParameterValues* values = nullptr;
    for (int i = 0; i < kCount; ++i) {
        source.FindOrAdd("P" + std::to_string(i))->RemoveAll();
        ASSERT_TRUE(copy.Lookup("P" + std::to_string(i), values));
        ASSERT_EQ(values->GetCount(), 1u);
    }
    source.RemoveAll();
    EXPECT_FALSE(source.Lookup("P1", values));
}

} // namespace
