#pragma once

#include "search/AddressIndex.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class CSession;

// The search for addresses that a mail client completes. A resource; after CSession::OpenContacts.
class CAddressSearch
{
public:
    explicit CAddressSearch(CSession& session) : m_session(session) {}
    CAddressSearch(const CAddressSearch&) = delete;
    CAddressSearch& operator=(const CAddressSearch&) = delete;

    // Reads what the stores have: from the file in the cache folder as far as it is up to date, if
    // `usesFile`. What cannot be read is reported.
    void Load(bool usesFile);

    struct CAnswer
    {
        const CAddressEntry* entry;
        std::string_view store; // its type
    };

    // Each address that has all the words, once; the best answers first. The address book comes
    // before the older web client's contacts, the domain and the senders; in a store, words at
    // their beginnings before others, then senders by the weight of their messages, then names,
    // with those that have none behind. An address that was found in a store before is not told
    // again; neither is the same name with the same address in one store.
    std::vector<CAnswer> Find(const CSearchWords& words) const;

private:
    CSession& m_session;
    std::optional<CAddressIndex> m_index;
    CAddressEntries m_domain;
};

// The identifier of an answer's contact.
std::string IdOf(const CAddressSearch::CAnswer& answer);

// Its name and address as a header of a message has them, in UTF-8: "Lee, Ann" <ann@example.org>.
std::string FullAddressOf(const CAddressEntry& entry);
