#include "core/ContactProperties.h"

#include "platform/LastError.h"
#include "support/AllocationFault.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

std::string Join(const CContactPropertyList& list)
{
    std::string names;
    for (POSITION position = list.GetHeadPosition(); position != nullptr;) {
        names += list.GetNext(position).GetName();
        names += ' ';
    }
    return names;
}

constexpr const char* kAllNames =
    "Comment FileAs FullName GivenName HTMLComment Jobtitle Manager MiddleInitial Nickname "
    "Organization OrgUnit Suffix Surname Title URL WssVersion WssReplicationId ";

TEST(ContactPropertiesTest, ListIsAppendedInTheOrderOfCopying)
{
    CContactPropertyList list;
    EXPECT_TRUE(CContactProperties::Instance().GetList(list));
    EXPECT_EQ(Join(list), kAllNames);
    EXPECT_TRUE(CContactProperties::Instance().GetList(list));
    EXPECT_EQ(Join(list), std::string(kAllNames) + kAllNames);
}

TEST(ContactPropertiesTest, ListStaysWholeWhenMemoryIsExhausted)
{
    CContactPropertyList list;
    ASSERT_TRUE(CContactProperties::Instance().GetList(list));
    int failures = 0;
    for (bool isDone = false; !isDone;) {
        SetLastError(0);
        const CAllocationFault fault(failures + 1);
        isDone = CContactProperties::Instance().GetList(list);
        if (!isDone) {
            EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
            ++failures;
        }
    }
    EXPECT_GE(failures, 17);
    EXPECT_EQ(Join(list), std::string(kAllNames) + kAllNames);
}

TEST(ContactPropertiesTest, NamesCompareWithoutAsciiCaseOnly)
{
    static const struct
    {
        const char *what, *left, *right;
        bool areEqual;
    } kCases[] = {
        {"other case", "givenNAME", "GivenName", true},
        {"one begins the other", "Given", "GivenName", false},
        {"empty", "", "GivenName", false},
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
