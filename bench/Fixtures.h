#pragma once

#include "Pair.h"
#include "core/ContactId.h"
#include "pab/PABPlugin.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"
#include "support/TempFolder.h"

#include <memory>
#include <string>
#include <vector>

// What the operations work on. Where it cannot be made, the program ends with a message: a
// measure of something else would be wrong.

// Ends the program with the last error, unless it is true.
void Require(bool isTrue, const char* what);

// The cards of bench/make_corpus.py, from the folder that CONTACTMGR_BENCH_CORPUS names.
const std::vector<std::string>& Cards(bool hasPhotos);

// The messages of the same folder. Each is cut behind 6,000 bytes, which have its header.
const std::vector<std::string>& Messages();

// An address book in a folder of its own, made by the library.
class CBook
{
public:
    explicit CBook(const CShape& shape);

    std::unique_ptr<CContact> Create();
    std::unique_ptr<CContact> Open(std::size_t index);
    std::string FileName(std::size_t index) const;

    const std::string path;
    CPABPlugin plugin;
    std::vector<ContactMgr::CContactId> ids; // of those that are there

private:
    std::size_t m_created = 0;
    const bool m_hasPhotos;
};

// Books of equal shapes are one, which stays until the program ends. Contacts of it may be saved,
// but none is made or deleted.
std::shared_ptr<CBook> SharedBook(const CShape& shape);

// The file of an older contact's message, with its flags. Numbers begin with 1.
std::string OlderName(std::size_t number);

// A folder for the floors, beside the books.
std::string NewFolder(const char* name);

// The mail store of one domain. alice@example.org has all four stores; in each so many contacts.
class CStore
{
public:
    struct CCounts
    {
        std::size_t book = 0;
        std::size_t older = 0;
        std::size_t mailboxes = 0;
        std::size_t senders = 0;
    };
    explicit CStore(const CCounts& counts);

    std::string AlicePath() const { return root + "/example.org/alice"; }

    const std::string root;
    CMailServer server;
    CMailbox alice;

private:
    void AddMailboxes(std::size_t count);
    void AddOlderContacts(std::size_t count) const;
    void AddMessages(std::size_t count) const;
};

// Reads what a list of contacts shows: the full name and the first address.
void ReadNames(CContact& contact);
