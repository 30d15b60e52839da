#pragma once

#include "server/PropertyFile.h"
#include "server/StoreLayout.h"

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

// What stands behind the handles of the mail store; for the sources of this folder alone.

struct _tMailServer : std::enable_shared_from_this<_tMailServer>
{
    CStoreLayout layout;
    CPropertyFileCache sharedProperties;
};

struct _tMailbox
{
    std::shared_ptr<_tMailServer> server;
    std::string name;
    std::string domain;
    std::string path;

    // The mailbox's own file, the domain's and the server's, read at the first use.
    using PropertyFiles = std::array<std::shared_ptr<const CPropertyFile>, 3>;
    const PropertyFiles& Properties() const;

private:
    mutable std::once_flag m_propertiesRead;
    mutable PropertyFiles m_properties;
};

class CMailOwnerImpl
{
public:
    explicit CMailOwnerImpl(std::string path) : m_path(std::move(path)) {}
    const std::string& Path() const { return m_path; }

private:
    const std::string m_path;
};

// The folder of an existing mailbox. False with the last errors of CMailbox::Open.
bool FindMailbox(_tMailServer* server, const char* name, const char* domain, std::string* path);

// Whether server and names can be used at all: false with 87 or 6.
bool CheckMailboxNames(_tMailServer* server, const char* name, const char* domain);

// The property files of a mailbox in the order in which they are searched; an empty path where the
// layout has none.
std::array<std::string, 3> PropertyFilePaths(const _tMailServer& server, const std::string& mailbox,
                                             const char* domain);

// The registered default of a number property, by its key.
std::optional<std::uint32_t> RegisteredDefault(const std::string& key);
