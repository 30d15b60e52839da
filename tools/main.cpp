#include "base/Session.h"
#include "commands/Commands.h"
#include "core/ContactProperties.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <new>
#include <string>

namespace
{

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct CGlobalOptions : COptions
{
    std::string traceRules;
};

void AddOptions(CLI::App& app, CGlobalOptions* options)
{
    app.add_option("--store", options->store,
                   "Mail store: a folder, a template with %d and %n, or a location as mail servers "
                   "write it (maildir:~/Maildir)")
        ->type_name("LOCATION")
        ->take_last()
        ->envname("CONTACTMGR_STORE");
    app.add_option("--mailbox", options->mailbox, "The mailbox whose address book it is")
        ->type_name("NAME@DOMAIN")
        ->take_last()
        ->envname("CONTACTMGR_MAILBOX");
    app.add_option("--domain", options->domain,
                   "The domain of mailboxes that are given without one")
        ->take_last()
        ->envname("CONTACTMGR_DOMAIN");
    app.add_option("--book", options->book,
                   "Where the address books lie, as folders Contacts, if not in the mail store")
        ->type_name("LOCATION")
        ->take_last()
        ->envname("CONTACTMGR_BOOK");
    app.add_flag("--any-mailbox", options->anyMailbox,
                 "Also take identifiers that name another mailbox or domain");
    app.add_option_function<std::string>(
           "--wait",
           [options](const std::string& text) {
               if (!ParseSeconds(text, &options->wait)) {
                   throw CUsageError("--wait is no number of seconds: " + text);
               }
           },
           "How long to try again where another program holds a contact; 2 if not given, 0 for "
           "not at all")
        ->type_name("SECONDS")
        ->take_last();
    app.add_option("--trace", options->traceRules,
                   "Trace the library on standard error: NAMESPACE:FUNCTION:NAME:DOMAIN:MASK;...")
        ->type_name("RULES");
    app.set_version_flag("--version", "contactmgr " CONTACTMGR_VERSION);
    app.footer("Exit status: 0 done, 1 something failed, 2 wrong usage.");
    app.require_subcommand(1);
    app.fallthrough();
}

// The command that was named last on the command line: "mailbox set" of "mailbox set ...".
const CLI::App& LastCommand(const CLI::App& app)
{
    const std::vector<CLI::App*> named = app.get_subcommands();
    return named.empty() ? app : LastCommand(*named.front());
}

// What the command line parser finds wrong, in one line.
std::string UsageText(const CLI::App& app, const CLI::ParseError& error)
{
    const CLI::App& command = LastCommand(app);
    const bool lacksCommand = command.get_require_subcommand_min() > 0;
    const std::vector<std::string> unknown = app.remaining(true);
    if (!unknown.empty()) {
        const bool isOption = unknown.front().starts_with("-");
        return (isOption       ? "no such option: "
                : lacksCommand ? "no such command: "
                               : "too many arguments: ") +
               unknown.front();
    }
    return lacksCommand && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr
               ? "a command is required"
               : error.what();
}

int ReportUsage(std::string_view text)
{
    CReport().Refusal("wrong usage", std::string(text) + " (see contactmgr --help)");
    return kWrongUsage;
}

void CheckArguments(int count, char** arguments)
{
    for (int i = 1; i < count; ++i) {
        ToWide(arguments[i], "argument " + std::to_string(i));
    }
}

int RunCommand(const CCommands& commands, const CGlobalOptions& options)
{
    if (!options.traceRules.empty() &&
        !CFunctionDebugging::SetEventCaptureRules(options.traceRules.c_str())) {
        throw CUsageError("no rules for --trace: " + options.traceRules);
    }
    RegisterMailServerPropertyFamilies();
    CSession session(options);
    bool isDone = true;
    for (const CCommand& command : commands) {
        if (command.app->parsed()) {
            isDone = command.run(session);
        }
    }
    FlushOutput();
    return isDone && session.Report().CountFailures() == 0 ? kDone : kFailed;
}

int Run(int count, char** arguments)
{
    CheckArguments(count, arguments);
    CGlobalOptions options;
    CCommands commands;
    CLI::App app("The contacts of a mailbox: its address book and what else the mail store knows.",
                 "contactmgr");
    AddOptions(app, &options);
    AddReadCommands(app, &commands);
    AddViewCommands(app, &commands);
    AddQueryCommand(app, &commands);
    AddEditCommands(app, &commands);
    AddPeopleCommands(app, &commands);
    AddExportCommand(app, &commands);
    AddImportCommand(app, &commands);
    AddSyncCommand(app, &commands);
    AddChangeCommands(app, &commands);
    AddMailboxCommands(app, &commands);
    try {
        app.parse(count, arguments);
    } catch (const CLI::CallForHelp&) {
        Print(app.help());
        FlushOutput();
        return kDone;
    } catch (const CLI::CallForVersion& version) {
        Print(version.what() + std::string("\n"));
        FlushOutput();
        return kDone;
    } catch (const CLI::ParseError& error) {
        return ReportUsage(UsageText(app, error));
    }
    return RunCommand(commands, options);
}

int RunAndReport(int count, char** arguments)
try {
    return Run(count, arguments);
} catch (const CUsageError& error) {
    return ReportUsage(error.what());
} catch (const CClosedPipe&) {
    return kFailed;
} catch (const COutputError& error) {
    CReport().Failure(error.what());
    return kFailed;
} catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    CReport().Failure("contactmgr");
    return kFailed;
}

} // namespace

int main(int count, char** arguments)
try {
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is a failure to write, and no end
    return RunAndReport(count, arguments);
} catch (...) {
    std::fputs("contactmgr: failed for an unknown reason\n", stderr);
    return kFailed;
}
