#pragma once

#include "platform/Descriptor.h"
#include "search/Folding.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// All that a search for addresses looks at, and the file in the user's cache folder that keeps it
// from one run to the next. The file is never needed: what it does not have is read from the
// stores, and a file that is damaged, of another version or of another mailbox counts as none.

// One address of a contact or of a sender. A value; the texts are views, which the index keeps.
struct CAddressEntry
{
    std::string_view id; // of the contact
    std::string_view address;
    std::string_view name;
    CFoldedView first;  // `name` in front; all names, nickname, organisation, and this address
    CFoldedView second; // telephone numbers and postal addresses
    // Of a sender: the messages, when the last one came (as FILETIME), and how much they weigh
    // together: one that is 90 days older weighs half as much.
    std::uint64_t messages = 0;
    std::uint64_t latest = 0;
    double weight = 0;
};
using CAddressEntries = std::vector<CAddressEntry>;

// A file of the address book as it was when its addresses were read.
struct CIndexedContact
{
    std::uint32_t number = 0;
    std::uint64_t written = 0;
    std::uint64_t changed = 0; // 0: may change again without a trace
    std::uint64_t size = 0;
    std::size_t addresses = 0; // how many of the entries are its own

    bool IsSame(const CIndexedContact& file) const
    {
        return number == file.number && written == file.written && changed == file.changed &&
               changed != 0 && size == file.size;
    }
};

// A sender as messages name it. One that has no address is the compression, `name`, of messages
// that are not read.
struct CIndexedSender
{
    std::string_view address;
    std::string_view name;
    CFoldedView folded; // both
};

struct CIndexedMessage
{
    static constexpr std::size_t kNoSender = static_cast<std::size_t>(-1);

    std::string_view id;
    std::size_t sender = kNoSender;
    std::uint64_t received = 0;
};

// A resource: entries are views of it.
class CAddressIndex
{
public:
    CAddressIndex() = default;
    CAddressIndex(const CAddressIndex&) = delete;
    CAddressIndex& operator=(const CAddressIndex&) = delete;

    // Keeps a text as long as the index.
    std::string_view Keep(std::string text) { return m_texts.emplace_back(std::move(text)); }
    CFoldedView Keep(CFoldedText text)
    {
        return {Keep(std::move(text.plain)), Keep(std::move(text.expanded))};
    }

    // The address book. The entries stand in the order of their contacts.
    std::vector<CIndexedContact> contacts;
    CAddressEntries contactAddresses;

    // The older web client's folder, and by what a change of it can be told; empty: not known.
    std::string olderSignature;
    CAddressEntries olderAddresses;

    // INBOX: by what a change of it can be told, by what another folder in its place can be told,
    // who wrote, and how many messages are stored in which compression that is not read.
    std::string inboxSignature;
    std::string inboxIdentity;
    CAddressEntries senderAddresses;
    std::map<std::string, std::size_t> passedOver;

    // The messages of INBOX by their ids. Read from the file only when somebody asks.
    std::vector<CIndexedSender> senders;
    std::vector<CIndexedMessage> messages;

private:
    std::deque<std::string> m_texts;
};

// The file of one index. A resource.
class CAddressIndexFile
{
public:
    // The key tells all that the content depends on. With an empty one, and without a home or cache
    // folder of the user's own, there is no file: then Read reads nothing and Write does nothing.
    explicit CAddressIndexFile(std::string key);
    CAddressIndexFile(const CAddressIndexFile&) = delete;
    CAddressIndexFile& operator=(const CAddressIndexFile&) = delete;

    // Fills all of a new index but the messages. After false the index is not to be used.
    bool Read(CAddressIndex* index);

    // After Read: the messages. After false the index has none.
    bool ReadMessages(CAddressIndex* index);

    // Puts a new file in place of the old one, in one step. A failure leaves the old one.
    void Write(const CAddressIndex& index) const;

private:
    const std::string m_key;
    std::string m_path; // empty: no file
    CDescriptor m_file;
    std::uint64_t m_messagesBegin = 0;
    std::uint64_t m_messagesSize = 0;
    std::uint64_t m_messagesChecksum = 0;
};
