#include "commands/Commands.h"

#include "base/Record.h"
#include "base/Session.h"
#include "base/Walk.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <utility>

namespace
{

std::string ListLine(CContact& contact, CSession& session)
{
    CRecordReader record(contact, session);
    return ToField(contact.GetId().ToString()) + '\t' +
           ToField(record.Property(CContactProperty("FullName"))) + '\t' +
           ToField(record.FirstAddress()) + '\n';
}

struct CListOptions
{
    FILETIME since;
    bool json = false;
};

bool List(CSession& session, const CListOptions& options)
{
    return session.OpenContacts(CSession::EAccess::kRead) &&
           Walk(session, "list", &options.since, [&](CContact& contact) {
               Print(options.json ? ToJson(CRecordReader(contact, session).ReadAll()) + '\n'
                                  : ListLine(contact, session));
           });
}

struct CShowOptions
{
    std::string id;
    bool json = false;
};

bool Show(CSession& session, const CShowOptions& options)
{
    if (!session.OpenContacts(CSession::EAccess::kRead)) {
        return false;
    }
    const std::unique_ptr<CContact> contact = session.OpenContact("show", options.id);
    if (contact == nullptr) {
        return false;
    }
    CRecordReader reader(*contact, session);
    if (options.json) {
        Print(ToJson(reader.ReadAll()) + '\n');
        return true;
    }
    std::u16string card;
    if (Try([&] { return contact->ToString(&card); })) {
        Print(ToUtf8(card));
        return true;
    }
    if (GetLastError() != ERROR_NOT_SUPPORTED) {
        return session.Report().Failure("show " + options.id);
    }
    Print(ToText(reader.ReadAll()));
    return true;
}

} // namespace

void AddReadCommands(CLI::App& app, CCommands* commands)
{
    const auto list = std::make_shared<CListOptions>();
    CLI::App* command = app.add_subcommand("list", "List the contacts of all stores");
    AddSince(*command, "Nothing unless something is newer", &list->since);
    command->add_flag("--json", list->json, "One JSON object a line");
    commands->push_back({command, [list](CSession& session) { return List(session, *list); }});

    const auto show = std::make_shared<CShowOptions>();
    command = app.add_subcommand("show", "Show one contact");
    command->add_option("ID", show->id, "Identifier of the contact")->required();
    command->add_flag("--json", show->json, "As a JSON object");
    commands->push_back({command, [show](CSession& session) { return Show(session, *show); }});
}
