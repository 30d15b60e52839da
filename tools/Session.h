#pragma once

#include "Report.h"
#include "Text.h"
#include "core/ContactMgr.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"
#include "trace/FunctionDebugging.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

// What the command line says for all commands.
struct COptions
{
    std::string store;
    std::string mailbox;
    bool anyMailbox = false;
};

// One run of the tool: the mail store, the mailbox, and the address book on them, opened as a
// command asks for them. Reports what fails. A resource.
class CSession
{
public:
    explicit CSession(const COptions& options) : m_options(options) {}
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    CReport& Report() { return m_report; }

    // Throw CUsageError where the option is missing.
    bool OpenStore();

    // The mailbox with its address book. A damaged property file is reported; one who only reads
    // goes on with what the library makes of it, one who writes does not. One who writes is told of
    // a file system that the address book does not support.
    enum class EAccess
    {
        Read,
        Write
    };
    bool OpenAddressBook(EAccess access);

    // The mailbox alone; NAME@DOMAIN.
    bool OpenMailbox(const std::string& mailbox);

    // After OpenStore.
    _tMailServer* Server() const { return m_server; }

    // After OpenAddressBook.
    CContactMgr& Manager() { return *m_manager; }
    CMailbox& Mailbox() { return m_mailbox; }
    // After OpenMailbox: the folder of the mailbox, and that of the address book in it. False as
    // the mailbox leaves it.
    bool MailboxFolder(std::string* path);
    bool AddressBookFolder(std::string* path);
    const std::string& MailboxName() const { return m_options.mailbox; }

    // The identifiers of the personal address book, in order, as its files have them: a walk passes
    // over contacts that are held, damaged or may not be written, and a report of changes holds
    // back those in the making. None of them may be lost silently.
    bool ListAddressBook(std::vector<std::string>* ids);

    // Reports as WHAT that a contact could not be made. Where no number could be claimed the
    // library says no more than that; what stands in the way of it is found out here.
    bool FailCreation(const std::string& what);

    // Null where it fails, which is reported as WHAT ID.
    std::unique_ptr<CContact> OpenContact(const std::string& what, const std::string& id);

    // The same for a contact of ListAddressBook. Null, without a word, where it has been deleted
    // since.
    std::unique_ptr<CContact> OpenListed(const std::string& what, const std::string& id);

    // Whether an identifier from outside may be used. One of the older web client's store names its
    // mailbox itself, and one of the mailbox directory its domain; those of others are refused.
    bool Allows(const std::string& what, const ContactMgr::CContactId& id);

    // Why an item of a contact could not be read, from the last error.
    void ReportUnreadable(CContact& contact, const std::string& item);

    // The same for a mailbox: names the file and the line where a property file is damaged.
    void ReportPropertyFault(const std::string& what, const char* name, const char* domain);

private:
    bool CheckProperties();
    void CheckFileSystem();
    bool IsForeign(const ContactMgr::CContactId& id) const;

    const COptions& m_options;
    CReport m_report;
    CMailboxName m_name;
    CMailServer m_server;
    CMailbox m_mailbox;
    std::optional<CFunctionDebugging::CActiveMailName> m_activeName;
    std::optional<CContactMgr> m_manager;
};
