#include "commands/Commands.h"

#include "base/JsonForm.h"
#include "base/Session.h"
#include "pab/BookRenewal.h"
#include "server/MailStoreAdmin.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <limits>
#include <memory>
#include <utility>

using nlohmann::ordered_json;

namespace
{

// Owns a walk of a domain's mailboxes.
class CMailboxWalk
{
public:
    CMailboxWalk(_tMailServer* server, const std::string& domain)
        : m_walk(StartMailboxEnumeration(server, domain.c_str()))
    {}
    ~CMailboxWalk()
    {
        if (m_walk != nullptr) {
            CloseMailboxEnumeration(m_walk);
        }
    }
    CMailboxWalk(const CMailboxWalk&) = delete;
    CMailboxWalk& operator=(const CMailboxWalk&) = delete;

    bool IsOpen() const { return m_walk != nullptr; }

    // False at the end, with last error 18, and on failure.
    bool Next(std::string* name)
    {
        char text[kLongestName + 1];
        std::uint32_t size = kLongestName;
        if (FindNextMailbox(m_walk, text, &size, nullptr) == 0) {
            return false;
        }
        name->assign(text, size);
        return true;
    }

private:
    static constexpr std::uint32_t kLongestName = 255;

    _tMailboxEnumeration* m_walk;
};

bool AddMailbox(CSession& session, const std::string& mailbox)
{
    const CMailboxName name = session.ParseName(mailbox);
    if (!session.OpenStore()) {
        return false;
    }
    const char* const local = name.name.c_str();
    const char* const domain = name.domain.c_str();
    if (Try([&] { return CreateMailbox(session.Server(), local, domain); })) {
        return true;
    }
    const bool isRefused = GetLastError() == ERROR_INVALID_PARAMETER;
    return session.Report().FailureBecause(
        "add mailbox " + mailbox, isRefused ? ExplainMailbox(session.Server(), local, domain) : "");
}

struct CMailboxListOptions
{
    std::string domain;
    bool json = false;
};

std::string MailboxLine(const std::string& name, const CMailboxListOptions& options)
{
    const std::string mailbox = name + '@' + options.domain;
    if (!options.json) {
        return ToField(mailbox) + '\n';
    }
    const ordered_json object = {{kFormatVersionName, kFormatVersion},
                                 {"mailbox", mailbox},
                                 {"name", name},
                                 {"domain", options.domain}};
    return object.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

bool ListMailboxes(CSession& session, const CMailboxListOptions& options)
{
    const std::string& domain = options.domain;
    if (!session.OpenStore()) {
        return false;
    }
    SetLastError(ERROR_SUCCESS);
    CMailboxWalk walk(session.Server(), domain);
    std::string name;
    while (walk.IsOpen() && Try([&] { return walk.Next(&name); })) {
        Print(MailboxLine(name, options));
    }
    return GetLastError() == ERROR_NO_MORE_FILES ||
           session.Report().FailureBecause("list mailboxes of " + domain,
                                           ExplainDomain(session.Server(), domain.c_str()));
}

// The identifier of the contact that a file in the redo folder belongs to, or its name.
std::string RedoFileText(const std::string& name)
{
    const std::optional<ContactMgr::CContactId> id = CAddressBook::ContactOf(name);
    return id ? id->ToString() : name;
}

bool RenewMailbox(CSession& session, const std::string& mailbox)
{
    const std::string what = "renew " + mailbox;
    CBookRenewal renewal;
    if (!session.OpenMailbox(mailbox)) {
        return false;
    }
    const CAddressBook& book = session.AddressBook();
    if (!Try([&] { return RenewAddressBook(book.Folder(), &renewal) && book.Flush(); })) {
        return session.Report().Failure(what);
    }
    for (const std::string& name : renewal.completed) {
        Print("completed " + ToField(RedoFileText(name)) + '\n');
    }
    for (const std::string& name : renewal.dropped) {
        Print("dropped " + ToField(RedoFileText(name)) + '\n');
    }
    Print("renewed " + std::to_string(renewal.renewed) + '\n');
    for (const auto& [id, error] : renewal.failed) {
        SetLastError(error);
        session.Report().Failure(what + ": " + id.ToString());
    }
    return true;
}

} // namespace

void AddMailboxCommands(CLI::App& app, CCommands* commands)
{
    CLI::App* const family = app.add_subcommand("mailbox", "Lay out and describe mailboxes");
    family->require_subcommand(1);

    const auto added = std::make_shared<std::string>();
    CLI::App* command = family->add_subcommand("add", "Make a mailbox");
    command->add_option("MAILBOX", *added, "NAME@DOMAIN")->required();
    commands->push_back(
        {command, [added](CSession& session) { return AddMailbox(session, *added); }});

    const auto listed = std::make_shared<CMailboxListOptions>();
    command = family->add_subcommand("list", "List the mailboxes of a domain");
    command->add_option("DOMAIN", listed->domain, "Domain")->required();
    command->add_flag("--json", listed->json, "One JSON object a line");
    commands->push_back(
        {command, [listed](CSession& session) { return ListMailboxes(session, *listed); }});

    AddPropertyCommands(*family, commands);

    const auto renewed = std::make_shared<std::string>();
    command = family->add_subcommand(
        "renew", "After files were put back from a backup: complete or drop unfinished saves, and "
                 "let everybody who follows the address book hear of every contact");
    command->add_option("MAILBOX", *renewed, "NAME@DOMAIN")->required();
    commands->push_back(
        {command, [renewed](CSession& session) { return RenewMailbox(session, *renewed); }});
}
