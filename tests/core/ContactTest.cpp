#include "core/Contact.h"

#include "platform/LastError.h"
#include "support/AllocationFault.h"
#include "support/FakeStore.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{

// Replaces one form of SetProperty and remembers which form was called.
class CRecordingContact : public CFakeContact
{
public:
    CRecordingContact() : CFakeContact(s_store, s_entry) {}

    using CContact::SetProperty;
    bool SetProperty(const CContactProperty&, std::u16string value) override
    {
        lastText = value;
        return true;
    }

    std::u16string lastText;

private:
    static inline FakeStore s_store;
    static inline const FakeEntry s_entry;
};

CContactTelList Numbers(std::initializer_list<const char*> numbers)
{
    CContactTelList list;
    for (const char* number : numbers) {
        CContactTel tel;
        tel.SetNumber(number);
        list.AddTail(tel);
    }
    return list;
}

std::string Join(const CContactTelList& list)
{
    std::string numbers;
    for (const CContactTel& tel : list) {
        numbers += tel.GetNumber() + ' ';
    }
    return numbers;
}

template <class Value>
concept IsPropertyValue = requires(CRecordingContact& contact, Value value)
{
    contact.SetProperty("Title", value);
};

// A pointer must never pass as a truth value, nor a signed number as anything.
static_assert(IsPropertyValue<std::u16string> && IsPropertyValue<const char16_t*>);
static_assert(IsPropertyValue<char16_t*> && IsPropertyValue<std::uint32_t>);
static_assert(IsPropertyValue<bool>);
static_assert(!IsPropertyValue<const char*> && !IsPropertyValue<std::string>);
static_assert(!IsPropertyValue<std::u16string*> && !IsPropertyValue<const wchar_t*>);
static_assert(!IsPropertyValue<int> && !IsPropertyValue<std::uint64_t>);

TEST(ContactTest, LiteralIsSetAsText)
{
    CRecordingContact contact;
    EXPECT_TRUE(contact.SetProperty("Title", u"Dr."));
    EXPECT_EQ(contact.lastText, u"Dr.");
    EXPECT_TRUE(static_cast<CContact&>(contact).SetProperty("Title", u"Prof."));
    EXPECT_EQ(contact.lastText, u"Prof.");
    EXPECT_FALSE(contact.SetProperty("Title", static_cast<const char16_t*>(nullptr)));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(ContactTest, RefusesWhatAStoreDoesNotHave)
{
    FakeStore store;
    const FakeEntry entry;
    CFakeContact contact(store, entry);
    const struct
    {
        const char* what;
        std::function<bool()> call;
    } cases[] = {
        {"save", [&] { return contact.Save(); }},
        {"text", [&] { return contact.SetProperty("Title", std::u16string(u"Dr.")); }},
        {"number", [&] { return contact.SetProperty("WssVersion", 5u); }},
        {"truth value", [&] { return contact.SetProperty("Title", true); }},
        {"vCard text", [&] { return contact.FromString("BEGIN:VCARD"); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        SetLastError(0);
        EXPECT_FALSE(c.call());
        EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    }
}

TEST(ContactTest, NameNeedsAnOutput)
{
    CRecordingContact contact;
    std::u16string name = u"old";
    SetLastError(4711);
    EXPECT_FALSE(contact.GetFirstName(nullptr) || contact.GetLastName(nullptr));
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_TRUE(contact.GetFirstName(&name));
    EXPECT_EQ(name, u"");
}

TEST(ContactTest, SettingAListCopiesIt)
{
    CRecordingContact contact;
    CContactTelList numbers = Numbers({"1", "2"});
    numbers.GetHead().SetType(CContactTel::kFax);
    EXPECT_TRUE(contact.SetTelephones(numbers));
    numbers.GetHead().SetNumber("changed");
    EXPECT_EQ(Join(contact.GetTelephones()), "1 2 ");
    EXPECT_EQ(contact.GetTelephones().GetHead().GetType(), CContactTel::kFax);
    EXPECT_TRUE(contact.SetTelephones(contact.GetTelephones()));
    EXPECT_EQ(Join(contact.GetTelephones()), "1 2 ") << "set from itself";
    EXPECT_TRUE(contact.SetTelephones({}));
    EXPECT_TRUE(contact.GetTelephones().IsEmpty());
}

TEST(ContactTest, ListThatCannotBeCopiedLeavesTheOldOne)
{
    CRecordingContact contact;
    ASSERT_TRUE(contact.SetTelephones(Numbers({"old"})));
    const CContactTelList numbers = Numbers({"1", "2", "a number too long to stand in a string"});
    int failures = 0;
    for (bool isDone = false; !isDone;) {
        {
            const CAllocationFault fault(failures + 1);
            isDone = contact.SetTelephones(numbers);
        }
        if (!isDone) {
            EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
            EXPECT_EQ(Join(contact.GetTelephones()), "old ");
            ++failures;
        }
    }
    EXPECT_EQ(failures, 4);
    EXPECT_EQ(Join(contact.GetTelephones()), Join(numbers));
}

} // namespace
