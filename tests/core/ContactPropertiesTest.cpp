#include "core/ContactProperties.h"

#include "support/AllocationFault.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

TEST(ContactPropertiesTest, NamesCompareWithoutAsciiCaseOnly)
{
    static const struct
    {
        const char *what, *left, *right;
        bool areEqual;
    } kCases[] = {
        {"other case", "givenNAME", "GivenName", true},
        {"one begins the other", "Given", "GivenName", false},
        {"null is empty", nullptr, "", true},
        {"32 apart, but no letters", "A[", "a{", false},
        {"not ASCII", "\xC4", "\xE4", false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(CContactProperty(c.left) == CContactProperty(c.right), c.areEqual);
        EXPECT_EQ(CContactProperty(c.right) == CContactProperty(c.left), c.areEqual);
    }
}

TEST(ContactPropertiesTest, RegistrationGivesEveryMailboxTheDefaultMask)
{
    {
        const CAllocationFault fault(1);
        EXPECT_EQ(RegisterMailServerPropertyFamilies(), 0) << "the server answered -1";
    }
    ASSERT_EQ(RegisterMailServerPropertyFamilies(), 1);
    const CTestMailStore store;
    std::uint32_t mask = 0;
    EXPECT_TRUE(store.OpenAlice().GetProperty("EnabledContactPluginsEffective", &mask));
    EXPECT_EQ(mask, 11u);
}

} // namespace
