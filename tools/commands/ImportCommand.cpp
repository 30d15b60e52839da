#include "commands/Commands.h"

#include "intake/Importer.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace
{

struct CImportArguments
{
    std::vector<std::string> files;
    bool updates = false;
    bool skipsExisting = false;
    bool isDryRun = false;
};

bool Import(CSession& session, const CImportArguments& arguments)
{
    if (!session.OpenContacts(CSession::EAccess::kWrite)) {
        return false;
    }
    const EExisting existing = arguments.updates         ? EExisting::kUpdated
                               : arguments.skipsExisting ? EExisting::kSkipped
                                                         : EExisting::kIgnored;
    CImporter importer(session, {existing, arguments.isDryRun});
    if (!importer.Begin()) {
        return false;
    }
    for (const std::string& file : arguments.files) {
        importer.ImportFile(file);
    }
    return importer.Finish();
}

} // namespace

void AddImportCommand(CLI::App& app, CCommands* commands)
{
    const auto arguments = std::make_shared<CImportArguments>();
    CLI::App* command = app.add_subcommand(
        "import", "Make contacts from vCards, LDIF or CSV and print their identifiers");
    command->add_option("FILE", arguments->files, "Files of contacts; - is standard input")
        ->required();
    CLI::Option* const update = command->add_flag("--update", arguments->updates,
                                                  "Change the contacts that are there already");
    command
        ->add_flag("--skip-existing", arguments->skipsExisting,
                   "Leave the contacts that are there already as they are")
        ->excludes(update);
    command->add_flag("--dry-run", arguments->isDryRun,
                      "Change nothing, and print what would be done");
    commands->push_back(
        {command, [arguments](CSession& session) { return Import(session, *arguments); }});
}
