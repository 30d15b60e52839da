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
        const char* what;
        std::string text;
        const char* ns;
        std::uint32_t number;
        bool numeric;
    } kCases[] = {
        {"number", "VCARDPAB-12", "VCARDPAB", 12, true},
        {"empty", "", "", 0, false},
        {"no hyphen", "VCARDPAB12", "", 0, false},
        {"hyphen in front", "-5", "", 5, true},
        {"hyphen at the end", "VCARDPAB-", "VCARDPAB", 0, true},
        {"stops at a letter", "UserStore-12abc", "UserStore", 12, false},
        {"hyphens in the local part", "INBOX-a-b", "INBOX", 0, false},
        {"stops at the second hyphen", "UserStore-5-6", "UserStore", 5, false},
        {"white space and plus sign", "A- \t\n\v\f\r+7", "A", 7, true},
        {"white space behind", "A-7 ", "A", 7, false},
        {"sign alone", "A-+", "A", 0, false},
        {"two signs", "A-+-7", "A", 0, false},
        {"minus sign wraps", "VCARDPAB--1", "VCARDPAB", kLargest, true},
        {"largest", "A-4294967295", "A", kLargest, true},
        {"one more saturates", "A-4294967296", "A", kLargest, true},
        {"saturates past 64 bits", "A-184467440737095516160", "A", kLargest, true},
        {"negative wraps to 1", "A--4294967295", "A", 1, true},
        {"negative saturates", "A--4294967296", "A", kLargest, true},
        {"a zero byte is no end", std::string("A-7\0", 4), "A", 7, false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
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
