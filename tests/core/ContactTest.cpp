#include "core/Contact.h"

#include "pab/PABContact.h"
#include "platform/LastError.h"
#include "support/ContactText.h"

#include <gtest/gtest.h>

namespace
{

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

} // namespace
