#pragma once

#include "server/PropertyFile.h"
#include "server/StoreLayout.h"

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

inline namespace contactmgr_internal
{

// What stands behind the handles of the mail store; for the sources of this folder alone.

struct _tMailServer : std::enable_shared_from_this<_tMailServer>
{
    CStoreLayout layout;
    CPropertyFileCache sharedProperties;

    // The folder of one mailbox does not tell the mailbox's name: the first mailbox that is found
    // on the server gives it. False if place has another name. The case of ASCII letters does not
    // count, and place takes over the spelling of the first. Any thread.
    bool TakeName(CMailboxPlace* place);

    // The names that the mailboxes of a domain may have. False as CStoreLayout::ListNames.
    bool ListNames(std::string_view domain, std::vector<std::string>* names);

private:
    std::mutex m_nameMutex;
    std::string m_name; // of the one mailbox, empty as long as it is not known
    std::string m_domain;
};

// The property files of a domain and of its server, read at the first use. Any thread.
class CSharedProperties
{
public:
    using Files = std::array<std::shared_ptr<const CPropertyFile>, 2>;
    using Paths = std::array<std::string, 2>; // an empty path where the layout has no such file
    Files Read(CPropertyFileCache& cache, const Paths& paths);

private:
    std::mutex m_mutex;
    Files m_files;
};

struct _tMailbox
{
    std::shared_ptr<_tMailServer> server;
    CMailboxPlace place;
    std::shared_ptr<CSharedProperties> shared; // of a walk; null for a mailbox of its own

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
    explicit CMailOwnerImpl(CMailboxPlace place) : m_place(std::move(place)) {}
    const CMailboxPlace& Place() const { return m_place; }

private:
    const CMailboxPlace m_place;
};

// Where an existing mailbox lies. A mailbox that is not there as given is looked for in lower case,
// and place then has that name. False with the last errors of CMailbox::Open.
bool FindMailbox(_tMailServer* server, const char* name, const char* domain, CMailboxPlace* place);

// Whether server and names can be used at all: false with ERROR_INVALID_PARAMETER (87) or
// ERROR_INVALID_HANDLE (6).
bool CheckMailboxNames(_tMailServer* server, const char* name, const char* domain);

// The property files of a mailbox in the order in which they are searched; an empty path where the
// layout has none.
std::array<std::string, 3> PropertyFilePaths(const _tMailServer& server,
                                             const CMailboxPlace& place);

// The registered default of a number property, by its key; those of all.
struct CPropertyDefault
{
    std::string name;
    std::uint32_t value = 0;
};
std::optional<std::uint32_t> RegisteredDefault(const std::string& key);
std::vector<CPropertyDefault> RegisteredDefaults();

// Whether a mailbox's contact reads the property as text. It is empty where nobody filled it in.
bool IsContactText(std::string_view name);

} // namespace contactmgr_internal
