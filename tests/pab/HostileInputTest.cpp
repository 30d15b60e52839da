#include "pab/PABContact.h"
#include "platform/LastError.h"
#include "support/AllocationFault.h"
#include "support/ContactText.h"
#include "support/TempFolder.h"
#include "text/Rfc822Address.h"

#include <gtest/gtest.h>

#include <string>

constexpr const char* kFile = "80000000.vcf";

TEST(HostileInputTest, AZeroByteEndsNothing)
{
    using namespace std::string_literals;
    const CTempFolder folder;
    const std::string lines = "NOTE;X=a\0b:c\0d\r\n"s;
    folder.Write(kFile, Card(lines + "FN:e\0f\r\nEMAIL;X-COMMENT=g\0h:a@b.c\r\n"s));
    CPABContact contact;
    ASSERT_TRUE(contact.Open(folder.Path().c_str(), 1));
    EXPECT_EQ(contact.GetEmails().GetHead().GetAddress().GetComment(), u"g\uFFFDh"s);
    ASSERT_TRUE(contact.FromString(folder.Read(kFile)) && contact.Save());
    EXPECT_EQ(contact.GetEmails().GetHead().GetAddress().GetComment(), u"e\uFFFDf"s);
    EXPECT_NE(folder.Read(kFile).find(lines + "FN:e\0f\r\n"s), std::string::npos);
}

TEST(HostileInputTest, WorkAndMemoryGrowNoFasterThanTheText)
{
    static const struct
    {
        const char *before, *part, *behind;
        std::size_t count;        // of the parts in the larger text
        std::size_t bytesForByte; // of memory for one of the text
        bool isAddress = false;
    } kCases[] = {
        {"NOTE:", "x", "\n", 10'000'000, 7},
        {"NOTE:", "a fold of text\n ", "\n", 100'000, 7},
        {"X", ";P=v", ":x\n", 100'000, 60},
        {"TEL;TYPE=v", ",v", ":1\n", 100'000, 60},
        {"", "A:\n", "", 1'000'000, 150},
        {"", "\r\n", "", 1'000'000, 7},
        {"", "N:a;b\n", "", 100'000, 150},
        {"", "EMAIL:a@b.c\n", "", 100'000, 60},
        {"a@b.c ", "()", "", 1'000'000, 7, true},
        {"", "\"a\" b ", "<a@b.c>", 250'000, 20, true},
        {"g:", "a@b.c,", ";", 250'000, 100, true},
        {"a", ".a", "@b", 200'000, 60, true},
        {"", "=?utf-8?q?a?= ", "<a@b>", 50'000, 20, true},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::string(c.before) + c.part);
        std::size_t blocks[2] = {}, bytes[2] = {}, size = 0;
        for (const int isWhole : {0, 1}) {
            std::string text = c.before;
            for (std::size_t part = 0; part < (isWhole ? c.count : c.count / 4); ++part) {
                text += c.part;
            }
            text += c.behind;
            size = text.size();
            const CAllocationCount count;
            CPABContact contact;
            std::u16string written;
            EXPECT_TRUE(c.isAddress ? CRfc822AddressList().Parse(text.c_str())
                                    : contact.FromString(Card(text)) && contact.ToString(&written));
            blocks[isWhole] = count.Blocks();
            bytes[isWhole] = count.PeakBytes();
        }
        // Text that doubles its room makes steps.
        EXPECT_LE(blocks[1], blocks[0] * 4 + 100);
        EXPECT_LE(bytes[1], bytes[0] * 8);
        EXPECT_LE(bytes[1], size * c.bytesForByte);
    }
}

TEST(HostileInputTest, ATextOfTooManyLinesIsRefusedWithLittleMemory)
{
    std::string lines;
    for (std::size_t line = 0; line < 5 * CPABContact::kMaxLines; ++line) {
        lines += "a\n";
    }
    const std::string card = Card(lines);
    CPABContact contact;
    const CAllocationCount count;
    EXPECT_FALSE(contact.FromString(card));
    EXPECT_EQ(GetLastError(), ERROR_FILE_TOO_LARGE);
    EXPECT_LE(count.PeakBytes(), 300'000'000u);
}

TEST(HostileInputTest, WhatOpenWouldRefuseIsNotSaved)
{
    const CTempFolder folder;
    CPABContact contact;
    ASSERT_TRUE(contact.Create(folder.Path().c_str(), 1));
    // REV, the counter and the folds come on top.
    ASSERT_TRUE(contact.FromString(
        Card("NOTE:" + std::string(CPABContact::kMaxFileBytes - 100, 'x') + "\n")));
    EXPECT_FALSE(contact.Save());
    EXPECT_EQ(GetLastError(), ERROR_FILE_TOO_LARGE);
    EXPECT_EQ(folder.Read(kFile), "");
}
