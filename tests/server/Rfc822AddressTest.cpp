#include "server/Rfc822Address.h"

#include "platform/LastError.h"
#include "server/Utf8String.h"

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace
{

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
        std::istringstream fields(line);
        CCase& c = cases.emplace_back();
        for (std::string* field :
             {&c.id, &c.form, &c.input, &c.expect, &c.names, &c.localParts, &c.domains}) {
            std::getline(fields, *field, '\t');
            *field = DecodePercents(*field);
        }
    }
    return cases;
}

TEST(Rfc822AddressTest, CasesComeOutRightAndARefusalChangesNothing)
{
    const std::vector<CCase> cases = LoadCases();
    ASSERT_EQ(cases.size(), 84u);
    for (const CCase& c : cases) {
        SCOPED_TRACE(c.id + ": " + c.input);
        const bool isValid = c.expect == "ok";
        CRfc822Address address;
        CRfc822AddressList list;
        ASSERT_TRUE(address.Parse("Ann <ann@example.org>") && list.Parse("ann@example.org"));
        SetLastError(0);
        ASSERT_EQ(list.Parse(c.input.c_str()), isValid);
        EXPECT_EQ(GetLastError(), isValid ? 0 : ERROR_INVALID_DATA);
        std::string names, localParts, domains;
        for (POSITION position = list.GetHeadPosition(); position != nullptr;) {
            const std::string bar = position == list.GetHeadPosition() ? "" : "|";
            const CRfc822Address next = list.GetNext(position);
            names += bar + Comment(next);
            localParts += bar + LocalPart(next);
            domains += bar + next.EncodedDomain();
        }
        EXPECT_EQ(names, c.names);
        EXPECT_EQ(localParts, isValid ? c.localParts : "ann");
        EXPECT_EQ(domains, isValid ? c.domains : "example.org");

        const bool isOne = isValid && !domains.empty() && domains.find('|') == std::string::npos;
        ASSERT_EQ(address.Parse(c.input.c_str()), isOne);
        EXPECT_EQ(Comment(address), isOne ? names : "Ann");
        EXPECT_EQ(LocalPart(address), isOne ? localParts : "ann");
        EXPECT_EQ(address.EncodedDomain(), isOne ? domains : "example.org");
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
        CRfc822Address parsed;
        ASSERT_TRUE(parsed.Parse(c.raw));
        EXPECT_EQ(LocalPart(parsed), c.name);
        EXPECT_STREQ(parsed.EncodedDomain(), c.domain);
    }
}

} // namespace
