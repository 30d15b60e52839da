#pragma once

#include "trace/Dependancy.h"

#include <string>
#include <utility>

class CMailServer;

inline namespace contactmgr_internal
{

// Mailboxes. Wants an open server: last error 6 otherwise, here and below.
class CPigeonryDependancy : public CDependancy<CMailServer>
{
public:
    bool DoInitWork(CMailServer& server) override;
    bool DoTermWork() override;
};

// Domains.
class CParishDependancy : public CDependancy<CMailServer>
{
public:
    bool DoInitWork(CMailServer& server) override;
    bool DoTermWork() override;
};

// Folders and stored messages; starts the MIME library, which then lasts as long as the process.
class CSatchelDependancy : public CDependancy<CMailServer>
{
public:
    explicit CSatchelDependancy(std::string name) : m_name(std::move(name)) {}
    bool DoInitWork(CMailServer& server) override;
    bool DoTermWork() override;

private:
    std::string m_name;
};

struct _tDomain;

// Stands for a domain. No store opens one.
class CDomain
{
public:
    void Close() { Reset(); }
    void Reset() { m_domain = nullptr; }

private:
    _tDomain* m_domain = nullptr;
};

} // namespace contactmgr_internal
