#pragma once

#include <cstdint>
#include <memory>

struct _tMailServer;

// Stands for an open mail store of Maildir++ folders. Copies share the handle, which lives as long
// as anything that was opened on it; opening anew replaces it. Different threads may use one
// store through objects of their own.
//
// A location without '%' means LOCATION/%d/%n. Otherwise it is a template such as
// /var/vmail/%d/%n/Maildir, in which %d stands for the domain, %n for the mailbox name without
// its domain and %% for a percent sign; both %d and %n must occur. What stands in front of the
// first component with a '%' is the root of the store. The expanded template is the mailbox folder.
//
// Property values stand in files properties.json: the mailbox's own in the mailbox folder, the
// domain's in the folder that the first component with %d names, provided that %n comes in a later
// component, and the server-wide ones in the root.
class CMailServer
{
public:
    CMailServer();
    ~CMailServer();

    // Opens the store at a location, UTF-8; a relative one counts from the process's folder of this
    // moment. Last error 87: null, empty, or no such template;
    // 3: the root is missing or is no folder. On failure the object is closed.
    bool Open(const char* location);

    // Stands for that handle from now on; null closes.
    void Wrap(_tMailServer* server);

    // The handle, null when closed. It stays good while this object or a mailbox on it holds it.
    operator _tMailServer*() const;

    void Close();
    void Reset();

private:
    std::shared_ptr<_tMailServer> m_server;
};

// One property of a family. The type is kMailServerPropertyNumber.
struct MailServerPropertyRecord
{
    const char* name; // null ends a table
    std::uint32_t type;
    std::uint32_t flags; // 0
    std::uint32_t defaultValue;
};

inline constexpr std::uint32_t kMailServerPropertyNumber = 4;

// Makes the properties of a table known to all stores of the process: each has its default value
// wherever no property file holds it. The table is copied; a family that is registered again is
// replaced. Gives 0, or -1 with last error 87 (null argument, other type) or 8. Any thread.
int RegisterMailServerPropertyFamily(const char* family, const MailServerPropertyRecord* records);
