#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Whether a mailbox or domain name is a plain path component that identifiers can carry: see
// CMailbox. Sets no last error.
bool IsPlainName(const char* name);

// Whether a path leads to a folder. False with last error 3 where it leads nowhere or to something
// else, and with what kept it from being looked at.
bool IsFolder(const std::string& path);

// Where a store keeps what: the location of CMailServer::Open, taken apart. Names that are passed
// in are plain. A value.
class CStoreLayout
{
public:
    // False with last error 87: null, empty, or a template that lacks %d or %n or holds another %.
    bool Parse(const char* location);

    const std::string& Root() const { return m_root; }
    std::string MailboxPath(std::string_view name, std::string_view domain) const;

    // The folder of the domain's own properties; empty where the template gives it none.
    std::string DomainPath(std::string_view domain) const;

    // All folders from below the root down to the mailbox folder, for whoever makes them.
    std::vector<std::string> PathsDown(std::string_view name, std::string_view domain) const;

    // The folder whose entries stand for the mailboxes of a domain, and the mailbox that one entry
    // stands for; empty for none.
    std::string EntriesPath(std::string_view domain) const;
    std::string NameOfEntry(const std::string& entry, std::string_view domain) const;

private:
    std::string PathUpTo(std::size_t count, std::string_view name, std::string_view domain) const;

    std::string m_root;
    std::vector<std::string> m_components; // below the root, not expanded
    std::size_t m_nameIndex = 0;           // of the first component with %n
    std::size_t m_domainIndex = 0;         // and with %d
};
