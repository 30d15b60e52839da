#include "pab/TextLines.h"
#include "support/ContentLines.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace
{

// The refused lines have no colon, a parameter without "=", or old bytes that are no UTF-8.
TEST(RealCardsTest, LinesAreReadAndWhatIsWrittenOnceStaysTheSame)
{
    std::size_t good = 0;
    std::size_t refused = 0;
    for (const auto& file : std::filesystem::directory_iterator(CONTACTMGR_TEST_DATA "/vcards")) {
        std::ifstream stream(file.path(), std::ios::binary);
        const CTextLines lines({std::istreambuf_iterator<char>(stream), {}});
        for (const std::string_view line : lines.Lines()) {
            SCOPED_TRACE(file.path().string() + ": " + std::string(line.substr(0, 200)));
            CParsedLine read, again;
            if (!read.Parse(line)) {
                ++refused;
                continue;
            }
            ++good;
            ASSERT_TRUE(again.Parse(LineText(read.Line())));
            EXPECT_EQ(again.value, read.value);
            EXPECT_EQ(LineText(again.Line()), LineText(read.Line()));
            EXPECT_EQ(Keep(Keep(read).text).text, Keep(read).text);
        }
    }
    EXPECT_EQ(good, 446u);
    EXPECT_EQ(refused, 13u);
}

} // namespace
