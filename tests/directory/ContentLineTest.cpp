#include "directory/ContentLine.h"
#include "platform/LastError.h"
#include "support/AllocationFault.h"

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

// Texts that need the heap, and more parameters than a walk looks up.
struct CLongRecords
{
    static constexpr const char* kLine = "a-long-group-of-a-line.A;A-LONG-NAME=\"a long value\":v";

    CLongRecords()
    {
        for (int i = 0; i < 16; ++i) {
            parameters.FindOrAdd("P" + std::to_string(i))->AddTail(u"a ^ long value");
        }
    }

    CParameters parameters;
    CContentLine line{"", "A", parameters, std::u16string(300, u'x')};
    std::unique_ptr<CParameterValues> values{new CParameterValues};
    std::string group, name, text = "before";
    std::u16string value;
    CParameters parsed;
    CUtf8String out;
};

TEST(ContentLineTest, ExhaustedMemoryIsACodeAndAddsNothing)
{
    static const struct
    {
        const char* what;
        std::size_t added; // parameters
        bool (*run)(CLongRecords& r);
    } kCases[] = {
        {"parse", 0,
         [](CLongRecords& r) {
             return CContentLine::Parse(r.kLine, &r.group, &r.name, &r.parsed, &r.value);
         }},
        {"line as text", 0, [](CLongRecords& r) { return r.line.ToString(&r.out); }},
        {"fold", 0, [](CLongRecords& r) { return r.line.AppendFolded(&r.text, 75); }},
        {"extract", 1,
         [](CLongRecords& r) {
             int position = 25;
             return !r.parameters.Extract(r.kLine, &position) && position > 0;
         }},
        {"parameters as text", 0, [](CLongRecords& r) { return r.parameters.ToString(&r.out); }},
        {"find or add", 1, [](CLongRecords& r) { return r.parameters.FindOrAdd("Q") != nullptr; }},
        {"set", 1,
         [](CLongRecords& r) {
             return r.parameters.SetAt("Q", r.values.get()) && r.values.release() != nullptr;
         }},
    };
    for (const auto& c : kCases) {
        bool wasHit = true;
        for (int number = 1; wasHit; ++number) {
            SCOPED_TRACE(testing::Message() << c.what << ", " << number);
            CLongRecords records;
            bool isDone = false;
            {
                const CAllocationFault fault(number);
                isDone = c.run(records);
                wasHit = fault.WasHit();
            }
            EXPECT_NE(isDone, wasHit);
            EXPECT_TRUE(wasHit || number > 1) << "nothing was allocated";
            if (wasHit) {
                EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
                EXPECT_EQ(records.text, "before");
                records.parameters.FindOrAdd("R");
                EXPECT_TRUE(c.run(records)) << "another try";
                EXPECT_EQ(records.parameters.GetCount(), 17 + c.added);
            }
        }
    }
}

} // namespace
