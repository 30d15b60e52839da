#include "core/ContactProperties.h"
#include "pab/PABContact.h"
#include "platform/LastError.h"
#include "server/Rfc822Address.h"
#include "support/AllocationFault.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

constexpr const char* kFile = "80000000.vcf";

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
    const std::string card = SampleCard(500);
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
    const std::string card = SampleCard(400);
    CDamagedFile file;
    for (std::size_t at = 0; at < card.size(); ++at) {
        SCOPED_TRACE(at);
        std::string changed = card;
        changed[at] = static_cast<char>(changed[at] ^ 1 << at % 8);
        file.Check(changed);
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
    static const struct
    {
        const char *before, *part, *behind;
        std::size_t count;        // of the parts in the larger text
        std::size_t bytesForByte; // of memory for one of the text
        bool isAddress = false;
    } kCases[] = {
        {"NOTE:", "x", "\n", 10'000'000, 7},       {"NOTE:", "a fold of text\n ", "\n", 100'000, 7},
        {"X", ";P=v", ":x\n", 100'000, 60},        {"TEL;TYPE=v", ",v", ":1\n", 100'000, 60},
        {"", "A:\n", "", 1'000'000, 150},          {"", "\r\n", "", 1'000'000, 7},
        {"", "N:a;b\n", "", 100'000, 150},         {"", "EMAIL:a@b.c\n", "", 100'000, 60},
        {"a@b.c ", "()", "", 1'000'000, 7, true},  {"", "\"a\" b ", "<a@b.c>", 250'000, 20, true},
        {"g:", "a@b.c,", ";", 250'000, 100, true},
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
            EXPECT_TRUE(c.isAddress ? CRfc822AddressList().Parse(text.c_str())
                                    : CPABContact().FromString(Card(text)));
            blocks[isWhole] = count.Blocks();
            bytes[isWhole] = count.PeakBytes();
        }
        // Text that doubles its room makes steps.
        EXPECT_LE(blocks[1], blocks[0] * 4 + 100);
        EXPECT_LE(bytes[1], bytes[0] * 8);
        EXPECT_LE(bytes[1], size * c.bytesForByte);
    }
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
