#include "commands/Commands.h"

#include "base/ChangeFollower.h"
#include "base/FolderWatch.h"
#include "base/JsonForm.h"
#include "base/Session.h"
#include "base/Stores.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <chrono>
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

std::string TypeOf(const std::optional<std::string>& option)
{
    const std::string type = option.value_or(std::string(kAddressBook));
    const CStoreName* const store = FindStore(type);
    return store == nullptr ? type : std::string(store->type);
}

bool Changes(CSession& session, const CChangesOptions& options)
{
    if (!session.OpenContacts(CSession::EAccess::kRead)) {
        return false;
    }
    const std::string type = TypeOf(options.type);
    CChanges changes;
    if (!Try([&] { return ReadChanges(session.Manager(), type, options.since, &changes); })) {
        return FailChanges(session, type);
    }
    Print(options.json ? AsJson(changes) : AsText(changes));
    return true;
}

constexpr std::chrono::seconds kNetworkInterval{10};

struct CWatchOptions
{
    std::optional<FILETIME> since;
    std::optional<std::string> type;
    std::optional<unsigned> intervalSeconds;
    bool json = false;
};

// How long to wait for a change to show. Nothing for ever.
std::optional<std::chrono::milliseconds> IntervalOf(const CWatchOptions& options,
                                                    const CFolderWatch& watch)
{
    if (options.intervalSeconds) {
        return std::chrono::seconds(*options.intervalSeconds);
    }
    return watch.IsUsable() ? std::nullopt
                            : std::optional<std::chrono::milliseconds>(kNetworkInterval);
}

bool Watch(CSession& session, const CWatchOptions& options)
{
    if (!session.OpenContacts(CSession::EAccess::kRead)) {
        return false;
    }
    const std::string& folder = session.AddressBook().Folder();
    CFolderWatch watch(folder);
    watch.Renew();
    if (!watch.IsUsable() && !options.intervalSeconds) {
        session.Report().Note("watch " + folder,
                              "changes do not show here by themselves; it is looked at every " +
                                  std::to_string(kNetworkInterval.count()) + " seconds");
    }
    const std::string type = TypeOf(options.type);
    CChangeFollower follower(session, type);
    CChanges changes;
    bool isDone = Try([&] { return follower.Begin(options.since, &changes); });
    for (bool isFirst = true; isDone; isFirst = false) {
        if (isFirst || !changes.IsEmpty()) {
            Print(options.json ? AsJson(changes) : AsText(changes));
            FlushOutput();
        }
        if (watch.Wait(IntervalOf(options, watch)) == CFolderWatch::EEnd::kStop) {
            return true;
        }
        watch.Renew();
        isDone = Try([&] { return follower.Next(&changes); });
    }
    return FailChanges(session, type);
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

    const auto watch = std::make_shared<CWatchOptions>();
    command = app.add_subcommand("watch", "Print changes as they happen, until it is interrupted");
    command
        ->add_option_function<std::string>(
            "--since",
            [watch](const std::string& text) {
                if (!ParseVersion(text, &watch->since.emplace())) {
                    throw CUsageError("--since is no version: " + text);
                }
            },
            "Begin with what changed since that version; with now if not given")
        ->type_name("VERSION");
    command->add_option("--type", watch->type, "Store; the personal address book if not given")
        ->type_name("TYPE");
    command
        ->add_option("--interval", watch->intervalSeconds,
                     "Look also every so many seconds; 10 on a network file system")
        ->type_name("SECONDS")
        ->check(CLI::Range(1U, 86400U));
    command->add_flag("--json", watch->json, "Each report as a JSON object");
    commands->push_back({command, [watch](CSession& session) { return Watch(session, *watch); }});
}
