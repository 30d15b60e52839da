#pragma once

#include "search/AddressIndex.h"
#include "server/MailFolder.h"

#include <cstdint>
#include <string>

class CSession;

// Where the addresses of a search come from: the stores that the mailbox enables. Brings an index
// up to date with them, and reads only what has changed since the index was made. What cannot be
// read is reported, and looked at again the next time. A resource; after CSession::OpenContacts.
class CAddressSources
{
public:
    explicit CAddressSources(CSession& session);
    CAddressSources(const CAddressSources&) = delete;
    CAddressSources& operator=(const CAddressSources&) = delete;

    // Tells what the content of an index depends on: stores, folders, rules of folding.
    std::string Key() const;

    // Reads what is newer than the index. `file` gives the messages that the index was made from.
    // True if the index has changed, so that it should be written.
    bool Update(CAddressIndexFile* file, CAddressIndex* index);

    // The mailboxes of the domain, which no index keeps: their property files may change at any
    // time, and are read as fast as they could be looked at.
    CAddressEntries ReadDomain(CAddressIndex* index);

private:
    bool HasStore(std::string_view type) const;
    bool UpdateContacts(CAddressIndex* index);
    void ReadContact(CIndexedContact contact, CAddressIndex* index);
    bool UpdateOlder(CAddressIndex* index);
    bool UpdateSenders(CAddressIndexFile* file, CAddressIndex* index);
    bool WalkStore(std::string_view type, CAddressIndex* index, CAddressEntries* entries);

    CSession& m_session;
    CMailFolder m_inbox;
    std::uint32_t m_inboxError = 0; // why it could not be opened
    CMailFolder m_older;
};
