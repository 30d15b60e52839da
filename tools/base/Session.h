#pragma once

#include "base/Patience.h"
#include "base/Report.h"
#include "base/Text.h"
#include "core/ContactMgr.h"
#include "pab/AddressBook.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"
#include "trace/FunctionDebugging.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct CStoreName;

// What the command line says for all commands.
struct COptions
{
    std::string store;
    std::string mailbox;
    std::string domain; // of mailboxes that are given without one
    std::string book;
    bool anyMailbox = false;
    std::chrono::duration<double> wait = std::chrono::seconds(2); // for what is held
};

// One run of the tool: the mail store, the mailbox and its contacts, as far as the command has
// asked for them. What fails is reported. A resource.
class CSession
{
public:
    explicit CSession(const COptions& options) : m_options(options), m_patience(options.wait) {}
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    CReport& Report() { return m_report; }

    // The option --wait.
    CPatience& Patience() { return m_patience; }

    // Throws CUsageError if the option --store is missing.
    bool OpenStore();

    // The mailbox alone: NAME@DOMAIN, or NAME where there is a default domain.
    bool OpenMailbox(const std::string& mailbox);

    // The mailbox of the option --mailbox and its contacts. Throws CUsageError if the option is
    // missing. A damaged property file is reported: readers then continue with defaults, writers
    // stop. Writers are told if the file system is not supported.
    enum class EAccess
    {
        kRead,
        kWrite
    };
    bool OpenContacts(EAccess access);

    // Throws CUsageError if it is no such text.
    CMailboxName ParseName(const std::string& mailbox) const;

    // After OpenStore.
    _tMailServer* Server() const { return m_server; }

    // After OpenMailbox: the files of its address book.
    const CAddressBook& AddressBook() const { return *m_addressBook; }

    CMailbox& Mailbox() { return m_mailbox; }
    // The stores that the manager shows: the sum of their bits (base/Stores.h).
    std::uint32_t EnabledStores() const;

    // After OpenMailbox: NAME@DOMAIN as the mail store has it.
    std::string Owner() const { return m_name.name + '@' + m_name.domain; }

    // After OpenContacts.
    CContactMgr& Manager() { return *m_manager; }
    const std::string& MailboxName() const { return m_options.mailbox; }

    // The identifiers of all contacts in the personal address book, by their numbers.
    bool ListAddressBook(std::vector<std::string>* ids);

    // Reports as WHAT why a contact could not be made. If the library could not claim a number, it
    // tells no cause; this looks for it.
    bool FailCreation(const std::string& what);

    // Reports as WHAT ID, from the last error, why a contact was not opened, changed or deleted.
    bool FailContact(const std::string& what, const ContactMgr::CContactId& id);

    // Null if it fails, which is reported as WHAT ID. Waits for a contact that is held, as do the
    // two below.
    std::unique_ptr<CContact> OpenContact(const std::string& what, const std::string& id);

    // The same for a contact of ListAddressBook. Null without a report if it has been deleted
    // since.
    std::unique_ptr<CContact> OpenListed(const std::string& what, const std::string& id);

    // Reports as WHAT why a walk could not be made, which is then null, or not be started.
    bool FailStart(const std::string& what, const CContactPlg::CContactEnumerator* walk);

    // Deletes a contact. False if it fails, which is reported as WHAT ID.
    bool DeleteContact(const std::string& what, const ContactMgr::CContactId& id);

    // Whether the mailbox has that store. False is reported as WHAT.
    bool HasStore(const std::string& what, const CStoreName& store);

    // Tries once more what a walk did not show. Null if it cannot be shown this time either, which
    // is reported as WHAT; null without a report if it has been deleted since.
    std::unique_ptr<CContact> OpenMissed(const std::string& what,
                                         const CContactPlg::CWalkFault& fault);

    // Whether an identifier from outside may be used. One of the older web client's store names its
    // mailbox itself, and one of the mailbox directory its domain; those of others are refused.
    bool Allows(const std::string& what, const ContactMgr::CContactId& id);

    // Whether an identifier is one of the personal address book. If not, that is reported as WHAT
    // ID.
    bool IsOfAddressBook(const std::string& what, const ContactMgr::CContactId& id);

    // Why an item of a contact could not be read, from the last error.
    void ReportUnreadable(CContact& contact, const std::string& item);

private:
    CMailServerOptions ServerOptions() const { return {m_options.domain, m_options.book}; }
    bool CheckProperties();
    bool CheckAddressBook();
    void CheckFileSystem();
    std::string NotEnabled(std::string_view store) const;
    bool IsForeign(const ContactMgr::CContactId& id) const;
    std::string WhyNot(const ContactMgr::CContactId& id, std::uint32_t code) const;
    std::string WhyNotInAddressBook(const ContactMgr::CContactId& id, std::uint32_t code) const;

    const COptions& m_options;
    CReport m_report;
    CPatience m_patience;
    CMailboxName m_name;
    CMailServer m_server;
    CMailbox m_mailbox;
    std::optional<CAddressBook> m_addressBook;
    std::optional<CFunctionDebugging::CActiveMailName> m_activeName;
    std::optional<CContactMgr> m_manager;
};
