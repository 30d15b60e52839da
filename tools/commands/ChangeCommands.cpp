#include "commands/Commands.h"

#include "base/JsonForm.h"
#include "base/Session.h"
#include "base/Stores.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <utility>

using nlohmann::ordered_json;

namespace
{

struct CChangesOptions
{
    FILETIME since;
    std::optional<std::string> type;
    bool json = false;
};

struct CChanges
{
    FILETIME version;
    ContactMgr::CContactIdList deleted;
    ContactMgr::CContactIdList changed;
    ContactMgr::CContactIdList created;
};

void AppendLines(const char* kind, const ContactMgr::CContactIdList& ids, std::string* text)
{
    for (const ContactMgr::CContactId& id : ids) {
        text->append(kind).append(1, ' ').append(ToField(id.ToString())).append(1, '\n');
    }
}

std::string AsText(const CChanges& changes)
{
    std::string text;
    AppendLines("created", changes.created, &text);
    AppendLines("changed", changes.changed, &text);
    AppendLines("deleted", changes.deleted, &text);
    return text + "version " + VersionText(changes.version) + '\n';
}

ordered_json ToJson(const ContactMgr::CContactIdList& ids)
{
    ordered_json texts = ordered_json::array();
    for (const ContactMgr::CContactId& id : ids) {
        texts.push_back(id.ToString());
    }
    return texts;
}

std::string AsJson(const CChanges& changes)
{
    const ordered_json report = {{kFormatVersionName, kFormatVersion},
                                 {"version", VersionText(changes.version)},
                                 {"created", ToJson(changes.created)},
                                 {"changed", ToJson(changes.changed)},
                                 {"deleted", ToJson(changes.deleted)}};
    return report.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

bool FailChanges(CSession& session, const std::string& store)
{
    const std::string what = "changes of store '" + store + "'";
    switch (GetLastError()) {
    case ERROR_NOT_FOUND:
        return session.Report().FailureBecause(
            what, FindStore(store) == nullptr ? "no such store; take " + StoreTypes()
                                              : "it is not enabled for " + session.MailboxName());
    case ERROR_NOT_SUPPORTED:
        return session.Report().FailureBecause(what, "it keeps no changes");
    default:
        return session.Report().Failure(what);
    }
}

bool Changes(CSession& session, const CChangesOptions& options)
{
    if (!session.OpenContacts(CSession::EAccess::kRead)) {
        return false;
    }
    CContactMgr& manager = session.Manager();
    std::string type = options.type.value_or(std::string(kAddressBook));
    if (const CStoreName* const store = FindStore(type)) {
        type = store->type;
    }
    CChanges changes;
    if (!Try([&] {
            return manager.ChangesSince(type, options.since, &changes.version, &changes.deleted,
                                        &changes.changed, &changes.created);
        })) {
        return FailChanges(session, type);
    }
    Print(options.json ? AsJson(changes) : AsText(changes));
    return true;
}

struct CPollOptions
{
    FILETIME since;
    bool json = false;
};

// Starting a walk opens no contact, and only a walk knows the new version.
bool Poll(CSession& session, const CPollOptions& options)
{
    FILETIME version = options.since;
    if (!session.OpenContacts(CSession::EAccess::kRead)) {
        return false;
    }
    const std::unique_ptr<CContactPlg::CContactEnumerator> walk(
        Try([&] { return session.Manager().GetEnumerator(); }));
    bool isChanged = false;
    if (walk == nullptr ||
        !session.Patience().Try([&] { return walk->Start(&version, &isChanged); })) {
        return session.FailStart("poll " + session.MailboxName(), walk.get());
    }
    if (isChanged) {
        version = walk->GetVersion();
    }
    const std::string text = VersionText(version);
    if (options.json) {
        Print(ordered_json{
                  {kFormatVersionName, kFormatVersion}, {"changed", isChanged}, {"version", text}}
                  .dump() +
              '\n');
    } else {
        Print((isChanged ? "changed " : "unchanged ") + text + '\n');
    }
    return true;
}

} // namespace

CLI::Option* AddSince(CLI::App& command, const char* help, FILETIME* version)
{
    return command
        .add_option_function<std::string>(
            "--since",
            [version](const std::string& text) {
                if (!ParseVersion(text, version)) {
                    throw CUsageError("--since is no version: " + text);
                }
            },
            help)
        ->type_name("VERSION");
}

void AddChangeCommands(CLI::App& app, CCommands* commands)
{
    const auto changes = std::make_shared<CChangesOptions>();
    CLI::App* command = app.add_subcommand("changes", "Report what changed since a version");
    AddSince(*command, "Version of the last report; 0 for all", &changes->since)->required();
    command->add_option("--type", changes->type, "Store; the personal address book if not given")
        ->type_name("TYPE");
    command->add_flag("--json", changes->json, "As a JSON object");
    commands->push_back(
        {command, [changes](CSession& session) { return Changes(session, *changes); }});

    const auto poll = std::make_shared<CPollOptions>();
    command = app.add_subcommand("poll", "Tell whether anything is newer than a version");
    AddSince(*command, "Version of the last poll or walk", &poll->since);
    command->add_flag("--json", poll->json, "As a JSON object");
    commands->push_back({command, [poll](CSession& session) { return Poll(session, *poll); }});
}
