#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// A store of contacts: the type that its identifiers begin with, the name that the command line has
// for it, and its bit in the property EnabledContactPlugins.
struct CStoreName
{
    std::string_view type;
    std::string_view name;
    std::uint32_t bit;
};

inline constexpr std::string_view kAddressBook = "VCARDPAB";
inline constexpr std::string_view kOlderWebClient = "TRELLISV7";
inline constexpr std::string_view kMailboxDirectory = "UserStore";
inline constexpr std::string_view kSenders = "INBOX";

inline constexpr CStoreName kStores[] = {{kAddressBook, "personal", 1},
                                         {kOlderWebClient, "older", 2},
                                         {kMailboxDirectory, "domain", 4},
                                         {kSenders, "senders", 8}};

// The store of that type or name, without regard to case; null without one.
const CStoreName* FindStore(std::string_view text);

// "VCARDPAB, TRELLISV7, UserStore or INBOX", each with that ending.
std::string StoreTypes(std::string_view ending = {});

// "personal, older, domain or senders".
std::string StoreNames();
