#include "support/ContentLines.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace
{

// A line that a reader may drop: no colon, a parameter without "=", or old bytes that are no UTF-8.
// No other fault stands in these files.
bool IsMalformed(const std::string& line)
{
    std::u16string wide;
    std::istringstream head(line.substr(0, line.find(':')));
    std::string part;
    bool named = static_cast<bool>(std::getline(head, part, ';'));
    while (named && std::getline(head, part, ';')) {
        named = part.find('=') != part.npos;
    }
    return !named || line.find(':') == line.npos || !Utf8ToWide(line, &wide);
}

TEST(RealCardsTest, WhatIsWrittenOnceIsWrittenTheSameForEver)
{
    std::size_t good = 0;
    for (const auto& file : std::filesystem::directory_iterator(CONTACTMGR_TEST_DATA "/vcards")) {
        std::ifstream text(file.path(), std::ios::binary);
        for (std::string line, next; std::getline(text, line);) {
            while (text.peek() == ' ' || text.peek() == '\t') {
                std::getline(text, next);
                line.erase(line.find_last_not_of('\r') + 1).append(next, 1);
            }
            line.erase(line.find_last_not_of('\r') + 1);
            SCOPED_TRACE(file.path().string() + ": " + line.substr(0, 200));
            CParsedLine read;
            if (!read.Parse(line)) {
                EXPECT_TRUE(IsMalformed(line));
                continue;
            }
            ++good;
            CParsedLine again;
            ASSERT_TRUE(again.Parse(LineText(read.Line())));
            EXPECT_EQ(again.group, read.group);
            EXPECT_EQ(again.value, read.value);
            EXPECT_EQ(LineText(again.Line()), LineText(read.Line()));
            EXPECT_EQ(Keep(Keep(read).text).text, Keep(read).text);
        }
    }
    EXPECT_GT(good, 150U);
}

} // namespace
