#include "text/Rfc822Address.h"

#include "platform/LastError.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

// One row of tests/data/addresses.json: each address in its full form, none where it is refused.
TEST(Rfc822AddressTest, CasesComeOutRightAndARefusalChangesNothing)
{
    using Addresses = std::vector<std::string>;
    std::ifstream file(CONTACTMGR_TEST_DATA "/addresses.json");
    const nlohmann::json cases = nlohmann::json::parse(file);
    ASSERT_EQ(cases.size(), 84u);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.dump());
        const std::string input = c["input"];
        const bool isValid = !c["addresses"].is_null();
        const Addresses expected = isValid ? Addresses(c["addresses"]) : Addresses{"ann@x.y"};
        CRfc822Address address;
        CRfc822AddressList list;
        ASSERT_TRUE(address.Parse("Ann <ann@x.y>") && list.Parse("ann@x.y"));
        SetLastError(0);
        EXPECT_EQ(list.Parse(input.c_str()), isValid);
        EXPECT_EQ(GetLastError(), isValid ? 0 : ERROR_INVALID_DATA);
        Addresses read;
        for (POSITION position = list.GetHeadPosition(); position != nullptr;) {
            read.emplace_back(list.GetNext(position).RawFullAddress());
        }
        EXPECT_EQ(read, expected);
        const bool isOne = isValid && expected.size() == 1;
        EXPECT_EQ(address.Parse(input.c_str()), isOne);
        EXPECT_EQ(address.RawFullAddress(), isOne ? expected[0] : "Ann <ann@x.y>");
    }
}

TEST(Rfc822AddressTest, BytesThatAreNoUtf8AreRefusedInAnAddressAndReplacedInAComment)
{
    CRfc822Address address;
    EXPECT_FALSE(address.Parse("m\xFCller@b"));
    EXPECT_TRUE(address.Parse("M\xFCller <a@b.c>"));
    EXPECT_EQ(address.GetComment(), std::u16string(u"M\uFFFDller"));
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
}

// RFC 2047, 2 and 5.
TEST(Rfc822AddressTest, EncodedWordsAreShortAndCutNoCharacter)
{
    for (std::size_t shift = 0; shift < 4; ++shift) {
        const std::u16string comment = std::u16string(shift, u'x') + std::u16string(60, u'\u20AC');
        CRfc822Address address;
        EXPECT_TRUE(address.SetComment(comment.c_str()));
        std::istringstream words(address.EncodedComment());
        std::u16string decoded;
        for (std::string word; words >> word; decoded += address.GetComment()) {
            EXPECT_LE(word.size(), 75u);
            EXPECT_TRUE(address.Parse((word + " <a@b>").c_str()));
        }
        EXPECT_EQ(decoded, comment);
    }
}

TEST(Rfc822AddressTest, NameAndDomainMakeAnAddressThatParses)
{
    static const struct
    {
        const char *name, *domain, *raw;
    } kCases[] = {
        {"a \"b\"", "example.org", "\"a \\\"b\\\"\"@example.org"},
        {".a..b@", "[192.0.2.7]", "\".a..b@\"@[192.0.2.7]"},
        {"\u00E4", "\u00F6.example", "\u00E4@\u00F6.example"},
        {"a", "[]", "a@[]"},
        {"", "c", nullptr},
        {"a\nb", "c", nullptr},
        {"\xE4", "c", nullptr},
        {"a", "", nullptr},
        {"a", "b@c", nullptr},
        {"a", "b..c", nullptr},
        {"a", "\xE4", nullptr},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::string(c.name) + ", " + c.domain);
        CRfc822Address address;
        ASSERT_EQ(address.SetDomain(c.domain) && address.SetName(c.name), c.raw != nullptr);
        if (c.raw == nullptr) {
            EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
            continue;
        }
        EXPECT_STREQ(address.RawAddress(), c.raw);
        EXPECT_TRUE(address.Parse(c.raw));
        EXPECT_STREQ(address.RawAddress(), c.raw);
    }
}
