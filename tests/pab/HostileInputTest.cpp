#include "core/ContactProperties.h"
#include "pab/PABContact.h"
#include "platform/LastError.h"
#include "server/Rfc822Address.h"
#include "support/AllocationFault.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>

namespace
{

constexpr const char* kFile = "80000000.vcf";

// All of it takes minutes; a choice of it runs with every build.
bool IsLongForm()
{
    return std::getenv("CONTACTMGR_LONG_TESTS") != nullptr;
}

std::string Card(const std::string& lines)
{
    return "BEGIN:VCARD\r\n" + lines + "END:VCARD\r\n";
}

// One line of each kind, quoting, escapes and folds, and as many notes as fill the size.
std::string SampleCard(std::size_t size)
{
    std::string lines =
        "VERSION:3.0\r\nN:Lee;Ann;B.;Dr.;Jr.\r\nFN:Ann \xc3\xa9 Lee\r\n"
        "EMAIL;TYPE=internet,pref;X-COMMENT=\"Lee, ^'A^'\":ann@example.org\r\n"
        "TEL;TYPE=work:+1 555 0100\r\nitem1.ADR;TYPE=home:;;1 Main St\\, b;T;;1;\r\n"
        "IMPP;TYPE=HOME:xmpp:a@example.org\r\nX-LARKMERE-WSSVERSION:41\r\n";
    while (lines.size() < size) {
        lines += "NOTE;LANGUAGE=en:one\\, two\\n\r\n \xf0\x9d\x84\x9e and a fold\r\n";
    }
    return Card(lines);
}

// The file opens, and is then saved, and opens again; or it is refused and stays as it is.
class CDamagedFile
{
public:
    void Check(const std::string& content)
    {
        m_folder.Write(kFile, content);
        if (!SaveIfItOpens()) {
            ++refused;
            EXPECT_EQ(m_folder.Read(kFile), content);
        } else {
            ++opened;
            EXPECT_TRUE(CPABContact().Open(m_folder.Path().c_str(), 1));
        }
    }

    int opened = 0, refused = 0;

private:
    bool SaveIfItOpens() const
    {
        CPABContact contact;
        if (!contact.Open(m_folder.Path().c_str(), 1)) {
            return false;
        }
        EXPECT_TRUE(contact.SetProperty("Nickname", u"Annie") && contact.Save());
        return true;
    }

    const CTempFolder m_folder;
};

} // namespace

TEST(HostileInputTest, ACutContactIsRefusedAndStaysAsItIs)
{
    const std::string card = SampleCard(IsLongForm() ? 20'000 : 500);
    CDamagedFile file;
    for (std::size_t size = 0; size < card.size(); ++size) {
        SCOPED_TRACE(size);
        file.Check(card.substr(0, size));
    }
    // What lacks but the last line end is whole.
    EXPECT_EQ(file.opened, 2);
}

TEST(HostileInputTest, AContactWithAChangedByteOpensOrStaysAsItIs)
{
    const std::string card = SampleCard(IsLongForm() ? 900 : 400);
    CDamagedFile file;
    for (std::size_t at = 0; at < card.size(); ++at) {
        // One bit, or every other value.
        for (int change = IsLongForm() ? 1 : 1 << at % 8; change < 256;
             change += IsLongForm() ? 1 : 256) {
            SCOPED_TRACE(testing::Message() << "byte " << at << " changed by " << change);
            std::string changed = card;
            changed[at] = static_cast<char>(changed[at] ^ change);
            file.Check(changed);
        }
    }
    EXPECT_GT(file.opened, 100);
    EXPECT_GT(file.refused, 10);
}

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
    const auto repeated = [](const std::string& text, std::size_t count) {
        std::string all;
        while (count-- > 0) {
            all += text;
        }
        return all;
    };
    const auto reads = [](const std::string& lines) {
        CPABContact contact;
        return contact.FromString(Card(lines));
    };
    const auto parses = [](const std::string& text) {
        CRfc822AddressList list;
        return list.Parse(text.c_str());
    };
    const struct
    {
        const char* what;
        std::size_t count; // of the larger text
        std::function<std::string(std::size_t count)> text;
        std::function<bool(const std::string& text)> run;
        std::size_t bytesForByte; // of memory for one of the text
    } kCases[] = {
        {"one line", 10'000'000,
         [&](std::size_t count) { return "NOTE:" + std::string(count, 'x') + "\n"; }, reads, 7},
        {"one folded line", 100'000,
         [&](std::size_t count) { return "NOTE:" + repeated("a fold of text\n ", count) + "\n"; },
         reads, 7},
        {"parameters", 100'000,
         [&](std::size_t count) {
             std::string line = "X";
             while (count-- > 0) {
                 line += ";P" + std::to_string(count) + "=v";
             }
             return line + ":x\n";
         },
         reads, 60},
        {"values of one parameter", 100'000,
         [&](std::size_t count) { return "X" + repeated(";P=v", count) + ":x\n"; }, reads, 60},
        {"values of one list", 100'000,
         [&](std::size_t count) { return "TEL;TYPE=" + repeated("v,", count) + "v:1\n"; }, reads,
         60},
        {"short lines", 1'000'000, [&](std::size_t count) { return repeated("A:\n", count); },
         reads, 150},
        {"empty lines", 1'000'000, [&](std::size_t count) { return repeated("\r\n", count); },
         reads, 7},
        {"names", 100'000, [&](std::size_t count) { return repeated("N:a;b\n", count); }, reads,
         150},
        {"addresses", 100'000, [&](std::size_t count) { return repeated("EMAIL:a@b.c\n", count); },
         reads, 60},
        {"nested comments", 1'000'000,
         [&](std::size_t count) {
             return "a@b.c " + std::string(count, '(') + std::string(count, ')');
         },
         parses, 7},
        {"words", 250'000,
         [&](std::size_t count) { return repeated("\"a\" b ", count) + "<a@b.c>"; }, parses, 20},
        {"members of a group", 250'000,
         [&](std::size_t count) { return "g:" + repeated("a@b.c,", count) + ";"; }, parses, 100},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        std::size_t blocks[2] = {}, bytes[2] = {};
        std::size_t size = 0;
        for (const std::size_t part : {std::size_t{4}, std::size_t{1}}) {
            const std::string text = c.text(c.count / part);
            const CAllocationCount count;
            EXPECT_TRUE(c.run(text));
            blocks[part == 1] = count.Blocks();
            bytes[part == 1] = count.PeakBytes();
            size = text.size();
        }
        // Text that doubles its room makes steps.
        EXPECT_LE(blocks[1], blocks[0] * 4 + 100);
        EXPECT_LE(bytes[1], bytes[0] * 8);
        EXPECT_LE(bytes[1], size * c.bytesForByte);
        if (IsLongForm()) {
            std::printf("%-24s %9zu bytes %9zu blocks %11zu peak %.1f\n", c.what, size, blocks[1],
                        bytes[1], double(bytes[1]) / double(size));
        }
    }
}

TEST(HostileInputTest, WhatOpenWouldRefuseIsNotSaved)
{
    if (!IsLongForm()) {
        GTEST_SKIP() << "writes out the largest texts";
    }
    std::string lines;
    for (std::size_t count = 2; count < CPABContact::kMaxLines; ++count) {
        lines += "A:\n";
    }
    const struct
    {
        const char* what;
        std::string text; // accepted; REV, the counter and the folds come on top
    } kCases[] = {
        {"bytes", Card("NOTE:" + std::string(CPABContact::kMaxFileBytes - 100, 'x') + "\n")},
        {"lines", Card(lines)},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTempFolder folder;
        folder.Write(kFile, Card("NOTE:old\n"));
        {
            CPABContact contact;
            ASSERT_TRUE(contact.Open(folder.Path().c_str(), 1));
            ASSERT_TRUE(contact.FromString(c.text));
            EXPECT_FALSE(contact.Save());
            EXPECT_EQ(GetLastError(), ERROR_FILE_TOO_LARGE);
        }
        EXPECT_EQ(folder.Read(kFile), Card("NOTE:old\n"));
    }
}
