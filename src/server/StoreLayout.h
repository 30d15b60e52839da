#pragma once

#include "server/MailServer.h"
#include "server/MailboxPlace.h"
#include "server/PathTemplate.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

inline namespace contactmgr_internal
{

// Where a store keeps what: the location of CMailServer::Open, taken apart. Names that are passed
// in are plain. A value.
class CStoreLayout
{
public:
    // False with ERROR_INVALID_PARAMETER (87) for a location or options that cannot be used, and
    // with ERROR_PATH_NOT_FOUND (3) where the folder that the store stands in is missing. Fault()
    // then says what is wrong.
    bool Parse(const char* location, const CMailServerOptions& options);

    // What was wrong with the location or the options, such as "the location has no %n".
    const std::string& Fault() const { return m_fault; }

    // Whether the location is the folder of one mailbox, which is no template.
    bool IsOneMailbox() const { return m_folders.IsFixed(); }
    bool IsOfSystemUsers() const { return m_folders.StartsAtHome(); }

    // Where a mailbox of that name would lie. False with ERROR_INVALID_PARAMETER (87): such a
    // mailbox would take the place of a property file, or the name makes no path;
    // ERROR_PATH_NOT_FOUND (3): it has another domain than the store, or no user of the system has
    // the name. *fault, if any, then says which.
    bool Locate(std::string_view name, std::string_view domain, CMailboxPlace* place,
                std::string* fault = nullptr) const;

    // The folders of the property files of the server and of a domain; empty for none.
    std::string ServerPath() const;
    std::string DomainPath(std::string_view domain) const;

    // The names for which something lies in the store. False with ERROR_PATH_NOT_FOUND (3): the
    // store has no such domain; other codes: it cannot be listed. *fault, if any, then says why.
    // Not for the folder of one mailbox.
    bool ListNames(std::string_view domain, std::vector<std::string>* names,
                   std::string* fault = nullptr) const;

private:
    bool ParseLocation(std::string_view location);
    bool ParseDriver(std::string_view location);
    bool ParseSetting(std::string_view setting);
    bool ParseBook(std::string_view book);
    bool ParseTemplate(std::string_view what, std::string_view text, CPathTemplate* made);
    bool CheckRoots();
    bool HasOtherDomain(std::string_view domain) const;
    std::string OtherDomainText() const;
    bool NeedsHome() const;
    CMailboxPlace Fill(const CTemplateNames& names) const;
    bool TakesPropertyFile(const CTemplateNames& names) const;
    bool Refuse(std::string fault);

    CPathTemplate m_folders;
    std::optional<CPathTemplate> m_inbox; // where it is not the folder of the mail folders
    std::optional<CPathTemplate> m_book;
    EFolderLayout m_layout = EFolderLayout::kUnknown;
    std::string m_defaultDomain;
    std::string m_fault;
};

} // namespace contactmgr_internal
