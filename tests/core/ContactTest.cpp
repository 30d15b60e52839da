#include "core/Contact.h"

#include "mailheader/MailHeaderContact.h"
#include "pab/PABContact.h"
#include "platform/LastError.h"
#include "support/AllocationFault.h"
#include "support/ContactText.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

CContactTelList Numbers(std::initializer_list<const char*> numbers)
{
    CContactTelList list;
    for (const char* number : numbers) {
        list.AddTail(CContactTel());
        list.GetTail().SetNumber(number);
        list.GetTail().SetType(CContactTel::kFax);
    }
    return list;
}

template <class Value>
concept IsPropertyValue = requires(CPABContact& contact, Value value)
{
    contact.SetProperty("Title", value);
};

// A pointer must never pass as a truth value, nor a signed number as anything.
static_assert(IsPropertyValue<std::u16string> && IsPropertyValue<char16_t*>);
static_assert(IsPropertyValue<std::uint32_t> && IsPropertyValue<bool>);
static_assert(!IsPropertyValue<const char*> && !IsPropertyValue<std::string>);
static_assert(!IsPropertyValue<std::u16string*> && !IsPropertyValue<const wchar_t*>);
static_assert(!IsPropertyValue<int> && !IsPropertyValue<std::uint64_t>);

TEST(ContactTest, LiteralIsSetAsText)
{
    CPABContact contact;
    EXPECT_TRUE(contact.SetProperty("URL", u"http://x/"));
    EXPECT_EQ(TextOf(contact, "URL"), u"http://x/");
    EXPECT_FALSE(contact.SetProperty("URL", static_cast<const char16_t*>(nullptr)));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(ContactTest, SettingAListCopiesItWholeOrLeavesTheOldOne)
{
    CMailHeaderContact contact({});
    ASSERT_TRUE(contact.SetTelephones(Numbers({"old"})));
    CContactTelList numbers = Numbers({"1", "2", "a number too long to stand in a string"});
    const std::string whole = "16 1; 16 2; 16 a number too long to stand in a string; ";
    int failures = 0;
    for (bool isDone = false; !isDone; ++failures) {
        auto fault = std::make_unique<CAllocationFault>(failures + 1);
        isDone = contact.SetTelephones(numbers);
        fault.reset();
        EXPECT_TRUE(isDone || GetLastError() == ERROR_NOT_ENOUGH_MEMORY);
        EXPECT_EQ(TelephonesOf(contact), isDone ? whole : "16 old; ");
    }
    EXPECT_EQ(failures, 5);
    numbers.GetHead().SetNumber("changed");
    EXPECT_TRUE(contact.SetTelephones(contact.GetTelephones()));
    EXPECT_EQ(TelephonesOf(contact), whole) << "set from itself";
}

} // namespace
