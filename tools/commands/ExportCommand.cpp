#include "commands/Commands.h"

#include "base/Session.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{

bool Export(CSession& session, std::vector<std::string> ids)
{
    const bool isWhole = ids.empty();
    if (!session.OpenContacts(CSession::EAccess::kRead) ||
        (isWhole && !session.ListAddressBook(&ids))) {
        return false;
    }
    for (const std::string& id : ids) {
        const std::unique_ptr<CContact> contact =
            isWhole ? session.OpenListed("export", id) : session.OpenContact("export", id);
        std::u16string card;
        if (contact == nullptr) {
            continue;
        }
        if (Try([&] { return contact->ToString(&card); })) {
            Print(ToUtf8(card));
        } else {
            session.Report().Failure("export " + id);
        }
    }
    return true;
}

} // namespace

void AddExportCommand(CLI::App& app, CCommands* commands)
{
    const auto ids = std::make_shared<std::vector<std::string>>();
    CLI::App* command = app.add_subcommand("export", "Write contacts as vCards");
    command->add_option("ID", *ids,
                        "Identifiers of the contacts; the personal address book if there are none");
    commands->push_back({command, [ids](CSession& session) { return Export(session, *ids); }});
}
