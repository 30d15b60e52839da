#include "server/MailOwner.h"

#include "platform/LastError.h"
#include "support/TestMailStore.h"

#include <cstring>

#include <gtest/gtest.h>

namespace
{

TEST(MailOwnerTest, LocationFitsOrSaysHowMuchRoomItTakes)
{
    const CTestMailStore store;
    CMailbox mailbox = store.OpenAlice();
    CMailboxMailOwner owner;
    ASSERT_TRUE(owner.Open(mailbox));
    ASSERT_TRUE(owner.Open(mailbox)); // again on the same object
    const std::string path = store.folder / "example.org/alice";
    const auto length = static_cast<std::uint32_t>(path.size());

    std::vector<char> buffer(path.size() + 1, 'x');
    std::uint32_t size = length;
    EXPECT_FALSE(owner.GetMessageStoreLocation(buffer.data(), &size));
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, length + 1);
    EXPECT_EQ(buffer.back(), 'x');
    EXPECT_TRUE(owner.GetMessageStoreLocation(buffer.data(), &size));
    EXPECT_EQ(buffer.data(), path);
    EXPECT_EQ(size, length);

    mailbox.Close();
    EXPECT_FALSE(owner.Open(mailbox));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_FALSE(owner.GetMessageStoreLocation(buffer.data(), &size));
}

} // namespace
