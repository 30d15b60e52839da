#include "server/Rfc822Address.h"

#include "platform/LastError.h"
#include "server/Utf8String.h"
#include "support/AllocationFault.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace
{

std::vector<std::string> Split(std::string_view text, char divider)
{
    std::vector<std::string> fields;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(divider, begin), text.size());
        fields.emplace_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return fields;
}

std::string DecodePercents(const std::string& text)
{
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            decoded += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            decoded += text[i];
        }
    }
    return decoded;
}

// The local part without quotes, which is what the cases tell.
std::string LocalPart(const CRfc822Address& address)
{
    const std::string_view name = address.EncodedName();
    if (!name.starts_with('"')) {
        return std::string(name);
    }
    std::string plain;
    for (std::size_t i = 1; i + 1 < name.size(); ++i) {
        i += name[i] == '\\' ? 1u : 0u;
        plain += name[i];
    }
    return plain;
}

std::string Comment(const CRfc822Address& address)
{
    std::string comment;
    EXPECT_TRUE(WideToUtf8(address.GetComment(), &comment));
    return comment;
}

// One line of tests/data/addresses.tsv; the values of several mailboxes are joined by bars.
struct CCase
{
    std::string id, form, input, expect, names, localParts, domains;
};

std::vector<CCase> LoadCases()
{
    std::vector<CCase> cases;
    std::ifstream file(CONTACTMGR_TEST_DATA "/addresses.tsv", std::ios::binary);
    std::string line;
    for (std::getline(file, line); std::getline(file, line);) {
        std::vector<std::string> fields = Split(line, '\t');
        std::transform(fields.begin(), fields.end(), fields.begin(), DecodePercents);
        cases.push_back({fields.at(0), fields.at(1), fields.at(2), fields.at(3), fields.at(4),
                         fields.at(5), fields.at(6)});
    }
    return cases;
}

TEST(Rfc822AddressTest, CasesOfTheStandardsComeOutRight)
{
    // The standards give a comment behind an address no meaning; here it is the name.
    const std::map<std::string, std::string> kCommentNames = {{"A014", "office (north)"},
                                                              {"A015", "a ) b"}};
    const std::vector<CCase> cases = LoadCases();
    ASSERT_EQ(cases.size(), 64u);
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.id + ": " + c.input);
        SetLastError(0);
        CRfc822AddressList list;
        ASSERT_EQ(list.Parse(c.input.c_str()), c.expect == "ok");
        EXPECT_EQ(GetLastError(), c.expect == "ok" ? 0 : ERROR_INVALID_DATA);
        std::string names, localParts, domains;
        for (POSITION position = list.GetHeadPosition(); position != nullptr;) {
            const std::string bar = position == list.GetHeadPosition() ? "" : "|";
            const CRfc822Address address = list.GetNext(position);
            names += bar + Comment(address);
            localParts += bar + LocalPart(address);
            domains += bar + address.EncodedDomain();
        }
        const auto commentName = kCommentNames.find(c.id);
        EXPECT_EQ(names, commentName == kCommentNames.end() ? c.names : commentName->second);
        EXPECT_EQ(localParts, c.localParts);
        EXPECT_EQ(domains, c.domains);

        const bool isOneMailbox = !domains.empty() && domains.find('|') == std::string::npos;
        CRfc822Address address;
        ASSERT_EQ(address.Parse(c.input.c_str()), isOneMailbox);
        if (isOneMailbox) {
            EXPECT_EQ(Comment(address), names);
            EXPECT_EQ(LocalPart(address), localParts);
            EXPECT_EQ(address.EncodedDomain(), domains);
        }
    }
}

TEST(Rfc822AddressTest, TextBeyondTheGrammarIsRefusedAndChangesNothing)
{
    static const struct
    {
        const char *what, *text;
    } kCases[] = {
        {"second at sign", "a@b@c"},
        {"dot at the end", "a@b."},
        {"word behind the address", "a@b c"},
        {"word behind the angle", "<a@b> c"},
        {"text around a literal", "a@x[y]"},
        {"open literal", "a@[192.0.2.7"},
        {"dot in front of a name", ". Pia <a@b>"},
        {"quoted string joined to an atom", "\"a\"b@c"},
        {"angle in an angle", "<<a@b>>"},
        {"route without a domain", "<,:a@b>"},
        {"route without a colon", "<@r a@b>"},
        {"brackets in a name", "Pia [home] <a@b>"},
        {"local part alone", "pia"},
        {"comment never closed", "a@b (((x)"},
        {"backslash at the end", "a@b (x\\"},
        {"line break that folds nothing", "Pia\r\nLund <a@b>"},
        {"line break at the end", "a@b\r\n"},
        {"carriage return in a comment", "a@b (x\ry)"},
        {"control character in quotes", "\"a\x01\" <a@b>"},
        {"quoted control character", "\"a\\\x7F\" <a@b>"},
        {"Latin-1 in the local part", "m\xFCller@b"},
        {"cut UTF-8 in the domain", "a@b\xC3"},
        {"Latin-1 in quotes in the local part", "\"m\xFCller\"@b"},
        {"group that is never closed", "Crew: a@b"},
        {"semicolon without a group", "a@b;"},
        {"group in a group", "Crew: Team: a@b;;"},
        {"word behind a group", "Crew: a@b; c@d"},
        {"only commas", ",,"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        SetLastError(0);
        CRfc822Address address;
        ASSERT_TRUE(address.Parse("Ann <ann@example.org>"));
        EXPECT_FALSE(address.Parse(c.text));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
        EXPECT_STREQ(address.RawFullAddress(), "Ann <ann@example.org>");
        CRfc822AddressList list;
        ASSERT_TRUE(list.Parse("ann@example.org"));
        EXPECT_FALSE(list.Parse(c.text));
        EXPECT_FALSE(list.IsEmpty());
    }
}

TEST(Rfc822AddressTest, DisplayNamesReadAsTheirWriterMeantThem)
{
    static const struct
    {
        const char *what, *text, *comment;
    } kCases[] = {
        {"quotes beside atoms", "\"Pia\" K. \"L, und\" <a@b.c>", "Pia K. L, und"},
        {"encoded word beside quotes", "=?utf-8?q?P=C3=ADa?= \"=?utf-8?q?x?=\" <a@b.c>",
         "P\xC3\xAD"
         "a =?utf-8?q?x?="},
        {"encoded word in a comment behind", "a@b.c (=?utf-8?q?P=C3=ADa?=)",
         "P\xC3\xAD"
         "a"},
        {"first of two comments, without its blanks", "a@b.c ( x ) (y)", "x"},
        {"comment only behind the address", "(w) a(x)@(y)b(v).c(z)", "z"},
        {"comment does not outdo a name", "Pia <a@b.c> (x)", "Pia"},
        {"padding in a word that is not the last", "=?utf-8?B?w6E=?= =?UTF-8?b?w6E?= <a@b.c>",
         "\xC3\xA1\xC3\xA1"},
        {"character cut by two words", "=?utf-8?q?=C3?= =?utf-8?q?=A1_x?= <a@b.c>", "\xC3\xA1 x"},
        {"neighbours in two charsets", "=?utf-8?q?=C3=A1?= =?latin1?q?=E1?= <a@b.c>",
         "\xC3\xA1\xC3\xA1"},
        {"no encoded word", "=?utf-8?x?a?= =?q?a?= =?utf-8?q?a?=b =? <a@b.c>",
         "=?utf-8?x?a?= =?q?a?= =?utf-8?q?a?=b =?"},
        {"quotes and blanks inside an encoded word", "=?utf-8?q?\"P=C3=ADa K. L\"?= B <a@b.c>",
         "P\xC3\xAD"
         "a K. L B"},
        {"text joined to an encoded word", "=?utf-8?q?a b?=c <a@b.c>", "=?utf-8?q?a b?=c"},
        {"dot inside an encoded word", "=?utf-8?q?K._L?= <a@b.c>", "K. L"},
        {"line break and zero from an encoded word", "=?utf-8?q?x=0D=0Ay?= <a@b.c>", "x  y"},
        {"bytes that are no UTF-8", "M\xFCller <a@b.c>", "M\xEF\xBF\xBDller"},
        {"fold that ends in LF alone", "Pia\n Lund <a@b.c>", "Pia Lund"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        CRfc822Address address;
        ASSERT_TRUE(address.Parse(c.text));
        EXPECT_EQ(Comment(address), c.comment);
        EXPECT_STREQ(address.RawAddress(), "a@b.c");
    }
}

TEST(Rfc822AddressTest, FullAddressParsesToTheSameAddressAndComment)
{
    const std::u16string kComments[] = {u"",
                                        u"Ann",
                                        u"Ann Lee",
                                        u"Ann  Lee",
                                        u"John Q. Public",
                                        u"Lee, Ann",
                                        u"  Ann  Lee  ",
                                        u"   ",
                                        u" ",
                                        u"a\"b\\c",
                                        u"\\",
                                        u"\"",
                                        u"(a) [b] <c@d>; e:",
                                        u"((",
                                        u"=?utf-8?q?x?=",
                                        u"=?utf-8?q?x?= =?utf-8?q?y?=",
                                        u"P\u00EDa =?utf-8?q?x?=",
                                        u"P\u00EDa",
                                        u"\u5C71\u7530 \u00A0",
                                        u"\U0001F600",
                                        u"word\ttab",
                                        u".",
                                        u"-",
                                        u"@",
                                        std::u16string(5000, u'\u00FC')};
    const char* const kAddresses[] = {"ann@example.org", "\"a b\\\"@\"@[192.0.2.7]", "\"\"@b",
                                      "\"  \"@b",
                                      "p\xC3\xAD"
                                      "a@b\xC3\xBC"
                                      "cher.example"};
    for (const char* const plain : kAddresses) {
        for (const std::u16string& comment : kComments) {
            CRfc822Address address;
            ASSERT_TRUE(address.Parse(plain));
            ASSERT_TRUE(address.SetComment(comment.c_str()));
            ASSERT_STREQ(address.RawAddress(), plain);
            CRfc822Address again;
            ASSERT_TRUE(again.Parse(address.RawFullAddress())) << address.RawFullAddress();
            EXPECT_STREQ(again.RawAddress(), plain);
            EXPECT_EQ(again.GetComment(), comment) << address.RawFullAddress();
            EXPECT_STREQ(again.RawFullAddress(), address.RawFullAddress());
            // The encoded form is ASCII and says the same to a reader of mail headers.
            const std::string encoded = address.EncodedComment();
            EXPECT_TRUE(std::all_of(encoded.begin(), encoded.end(), [](char c) { return c >= 0; }));
            ASSERT_TRUE(again.Parse((encoded + " <a@b>").c_str())) << encoded;
            EXPECT_EQ(again.GetComment(), comment) << encoded;
            EXPECT_EQ(address.HasComment(), !encoded.empty());
        }
    }
}

TEST(Rfc822AddressTest, CommentKeepsControlCharactersButStaysOneLineInAddresses)
{
    CRfc822Address address;
    ASSERT_TRUE(address.Parse("ann@example.org"));
    ASSERT_TRUE(address.SetComment(u"Ann\r\nBcc: x"));
    EXPECT_STREQ(address.RawFullAddress(), "\"Ann  Bcc: x\" <ann@example.org>");
    EXPECT_STREQ(address.EncodedComment(), "\"Ann  Bcc: x\"");
    EXPECT_FALSE(address.SetComment(u"\xD83D"));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
    EXPECT_EQ(address.GetComment(), std::u16string(u"Ann\r\nBcc: x"));
    ASSERT_TRUE(address.SetComment(u"Lee"));
    EXPECT_STREQ(address.RawFullAddress(), "Lee <ann@example.org>");
    EXPECT_STREQ(address.EncodedComment(), "Lee");
}

TEST(Rfc822AddressTest, NameAndDomainMakeAnAddressThatParses)
{
    static const struct
    {
        const char *what, *name, *domain, *raw;
    } kCases[] = {
        {"plain", "ann", "example.org", "ann@example.org"},
        {"blank and quote", "a \"b\"", "example.org", "\"a \\\"b\\\"\"@example.org"},
        {"at sign", "a@b", "c", "\"a@b\"@c"},
        {"dots that need quotes", ".a..b.", "c", "\".a..b.\"@c"},
        {"literal", "a", "[IPv6:2001:db8::7]", "a@[IPv6:2001:db8::7]"},
        {"UTF-8", "\xC3\xA4", "\xC3\xB6.example", "\xC3\xA4@\xC3\xB6.example"},
        {"empty name", "", "c", nullptr},
        {"line break in the name", "a\nb", "c", nullptr},
        {"Latin-1 name", "\xE4", "c", nullptr},
        {"empty domain", "a", "", nullptr},
        {"at sign in the domain", "a", "b@c", nullptr},
        {"blank in the domain", "a", "b c", nullptr},
        {"angle in the domain", "a", "b>", nullptr},
        {"two dots in the domain", "a", "b..c", nullptr},
        {"Latin-1 domain", "a", "\xE4", nullptr},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        SetLastError(0);
        CRfc822Address address;
        ASSERT_EQ(address.SetDomain(c.domain) && address.SetName(c.name), c.raw != nullptr);
        if (c.raw == nullptr) {
            EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
            continue;
        }
        EXPECT_STREQ(address.RawAddress(), c.raw);
        CRfc822Address parsed;
        ASSERT_TRUE(parsed.Parse(c.raw));
        EXPECT_STREQ(parsed.RawAddress(), c.raw);
        EXPECT_EQ(LocalPart(parsed), c.name);
        EXPECT_STREQ(parsed.EncodedDomain(), c.domain);
    }
}

TEST(Rfc822AddressTest, ExhaustedMemoryFailsAndChangesNothing)
{
    CRfc822Address address;
    ASSERT_TRUE(address.Parse("Ann <ann@a.long.domain.example.org>"));
    const std::string before = address.RawFullAddress();
    bool wasHit = true;
    for (int number = 1; wasHit; ++number) {
        SetLastError(0);
        bool parsed = false;
        {
            const CAllocationFault fault(number);
            parsed = address.Parse("\"Lee, Robert\" =?utf-8?q?B=C3=B6b?= <\"b b\"@[192.0.2.7]>");
            wasHit = fault.WasHit();
        }
        ASSERT_EQ(parsed, !wasHit);
        EXPECT_EQ(GetLastError(), wasHit ? ERROR_NOT_ENOUGH_MEMORY : 0);
        EXPECT_EQ(address.RawFullAddress() == before, wasHit);
    }
}

TEST(Rfc822AddressTest, LongHostileTextEndsSoon)
{
    constexpr std::size_t kSize = 300'000;
    const auto repeat = [](std::string_view part) {
        std::string text;
        while (text.size() < kSize) {
            text += part;
        }
        return text;
    };
    static const struct
    {
        const char *what, *before, *part, *behind;
        bool isValid;
    } kCases[] = {
        {"nested comments", "", "(", "", false},
        {"comments in a row", "", "(x)", "a@b", true},
        {"words", "", "a ", "<a@b>", true},
        {"dots", "a", ".a", "@b", true},
        {"encoded words", "", "=?utf-8?q?a?= ", "<a@b>", true},
        {"open encoded words", "", "=?utf-8?q?a ", "<a@b>", true},
        {"quotes", "", "\"\"", " <a@b>", true},
        {"route", "<", "@a,", "@a:a@b>", true},
        {"folds", "", "\n ", "a@b", true},
        {"open quotes", "\"", "\\\"", "", false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const std::string text = c.before + repeat(c.part) + c.behind;
        CRfc822Address address;
        EXPECT_EQ(address.Parse(text.c_str()), c.isValid);
        EXPECT_EQ(CRfc822AddressList().Parse(text.c_str()), c.isValid);
    }
    EXPECT_TRUE(CRfc822AddressList().Parse(repeat("a@b,").c_str()));
}

} // namespace
