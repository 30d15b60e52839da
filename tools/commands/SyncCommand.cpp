#include "commands/Commands.h"

#include "base/Session.h"
#include "sync/Sync.h"

#include <CLI/CLI.hpp>

#include <memory>

void AddSyncCommand(CLI::App& app, CCommands* commands)
{
    const auto options = std::make_shared<CSyncOptions>();
    CLI::App* command = app.add_subcommand(
        "sync", "Bring the address book and a folder of vCards to the same state");
    command->add_option("DIR", options->folder, "The folder (vdir), one card in a file")
        ->required();
    command
        ->add_option("--state", options->statePath,
                     "Where to keep what the next run needs; beside DIR if not given")
        ->type_name("FILE");
    command->add_flag("--force-delete", options->acceptsEmpty,
                      "Also take it for deleted if one side has nothing left");
    command->add_flag("--dry-run", options->isDryRun,
                      "Print what would be done, and change nothing");
    commands->push_back({command, [options](CSession& session) {
                             return session.OpenContacts(CSession::EAccess::kWrite) &&
                                    Sync(session, *options);
                         }});
}
