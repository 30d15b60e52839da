#include "commands/Commands.h"

#include "base/Record.h"
#include "base/Session.h"
#include "base/Stores.h"
#include "base/Table.h"
#include "base/Text.h"
#include "base/Walk.h"
#include "search/ContactTexts.h"
#include "views/Rows.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace
{

struct CListOptions
{
    std::vector<std::string> words;
    const CStoreName* store = nullptr; // null for all
    bool isByName = false;
    FILETIME since;
    bool json = false;
};

// Reads of a contact what the options want, which is little as a rule. Nothing if it lacks a word.
std::optional<CRow> ListRow(CContact& contact, CSession& session, const CListOptions& options,
                            const CSearchWords& words)
{
    CRecordReader reader(contact, session);
    CRow row;
    if (options.json || options.isByName || !words.IsEmpty()) {
        const CRecord record = reader.ReadAll();
        if (!Matches(record, words)) {
            return std::nullopt;
        }
        row.key = KeyOfName(ShownName(record));
        row.json = options.json ? ToJson(record) : "";
    }
    if (!options.isByName) {
        row.key = KeyOfNumber(contact);
    }
    if (!options.json) {
        row.fields = {contact.GetId().ToString(),
                      ToUtf8(reader.Property(CContactProperty("FullName"))), reader.FirstAddress()};
    }
    return row;
}

bool List(CSession& session, const CListOptions& options)
{
    if (!session.OpenContacts(CSession::EAccess::kRead) ||
        (options.store != nullptr && !session.HasStore("list", *options.store))) {
        return false;
    }
    const CSearchWords words(options.words);
    std::vector<CRow> rows;
    const bool isWhole = Walk(session, "list", &options.since, [&](CContact& contact) {
        if (options.store != nullptr && contact.GetPluginType() != options.store->type) {
            return;
        }
        if (auto row = ListRow(contact, session, options, words)) {
            rows.push_back(std::move(*row));
        }
    });
    PrintRows(std::move(rows), CTable({"ID", "NAME", "ADDRESS"}, 0), options.json);
    return isWhole;
}

void AddList(CLI::App& app, CCommands* commands)
{
    const auto list = std::make_shared<CListOptions>();
    CLI::App* const command = app.add_subcommand("list", "List the contacts of all stores");
    AddWords(*command, &list->words);
    command
        ->add_option_function<std::string>(
            "--type",
            [list](const std::string& text) {
                list->store = FindStore(text);
                if (list->store == nullptr) {
                    throw CUsageError("no such store: " + text + "; take " + StoreTypes() +
                                      ", or a name: " + StoreNames());
                }
            },
            "Only the contacts of this store: " + StoreNames() + ", or its type")
        ->type_name("TYPE");
    command
        ->add_option_function<std::string>(
            "--sort",
            [list](const std::string& text) {
                if (text != "name" && text != "id") {
                    throw CUsageError("--sort takes name or id: " + text);
                }
                list->isByName = text == "name";
            },
            "name, or id if not given: the address book by its numbers, then the other stores")
        ->type_name("ORDER");
    AddSince(*command, "Nothing unless something is newer", &list->since);
    command->add_flag("--json", list->json, "One JSON object a line");
    commands->push_back({command, [list](CSession& session) { return List(session, *list); }});
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
        Print(StyleOfOutput().isAligned ? ToLines(card) : ToUtf8(card));
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
    AddList(app, commands);

    const auto show = std::make_shared<CShowOptions>();
    CLI::App* const command = app.add_subcommand("show", "Show one contact");
    command->add_option("ID", show->id, "Identifier of the contact")->required();
    command->add_flag("--json", show->json, "As a JSON object");
    commands->push_back({command, [show](CSession& session) { return Show(session, *show); }});
}
