#include "core/ContactId.h"

#include <gtest/gtest.h>

using ContactMgr::CContactId;

namespace
{

constexpr std::uint32_t kLargest = 0xFFFFFFFF;

TEST(ContactIdTest, TextFormSplitsAtTheFirstHyphen)
{
    static const struct
    {
        std::string text;
        const char* ns;
        std::uint32_t number;
        bool numeric;
    } kCases[] = {
        {"VCARDPAB-12", "VCARDPAB", 12, true},
        {"", "", 0, false},
        {"-5", "", 5, true},
        {"VCARDPAB-", "VCARDPAB", 0, true},
        {"UserStore-12abc", "UserStore", 12, false},
        {"INBOX-a-b", "INBOX", 0, false},
        {"UserStore-5-6", "UserStore", 5, false},
        {"A- \t\n\v\f\r+7", "A", 7, true},
        {"VCARDPAB--1", "VCARDPAB", kLargest, true},
        {"A-4294967295", "A", kLargest, true},
        {"A-4294967296", "A", kLargest, true},
        {"A--4294967295", "A", 1, true},
        {"A--4294967296", "A", kLargest, true},
        {std::string("A-7\0", 4), "A", 7, false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.text);
        const CContactId id(c.text);
        EXPECT_EQ(id.Namespace(), c.ns);
        EXPECT_EQ(id.ToNumber(), c.number);
        EXPECT_EQ(id.IsNumeric(), c.numeric);
        EXPECT_EQ(id.ToString(), c.text);
    }
    EXPECT_EQ(CContactId(static_cast<const char*>(nullptr)), CContactId());
}

TEST(ContactIdTest, ComparesTextsAndNamespacesWithCase)
{
    EXPECT_FALSE(CContactId("A-05") == CContactId("A-5"));
    EXPECT_TRUE(CContactId("A-5").SamePlugin("A-6") && CContactId("a").SamePlugin("b"));
    EXPECT_FALSE(CContactId("A-5").SamePlugin("a-5") || CContactId("A-5").SamePlugin("A2-5"));
}

} // namespace
