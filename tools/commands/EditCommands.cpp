#include "commands/Commands.h"

#include "base/Record.h"
#include "base/Session.h"
#include "commands/Fields.h"
#include "intake/MessageSender.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <utility>

namespace
{

struct CNewOptions
{
    CFields fields;
    std::optional<std::string> from;
    std::optional<std::string> fromMessage;
};

// Tested before the copy is made: if the library cannot copy a property, it leaves half a copy.
bool CanBeCopied(CContact& original, const CFields& fields, CSession& session)
{
    for (const CContactProperty& property : AllProperties()) {
        const std::string what = "copy " + original.GetId().ToString() + ": " + property.GetName();
        std::u16string value;
        if (!Try([&] {
                return !original.SupportsProperty(property) ||
                       original.GetProperty(property, &value);
            })) {
            return session.Report().Failure(what, "it has no such line");
        }
        if (BreaksName(property, value) && !fields.Sets(property)) {
            return session.Report().Refusal(what, kBreaksName);
        }
    }
    return true;
}

bool FillAndSave(CContact& contact, const CFields& fields, CSession& session)
{
    const std::string what = "new contact " + contact.GetId().ToString();
    return fields.ApplyTo(contact, what, session.Report()) &&
           (Try([&] { return contact.Save(); }) || session.Report().Failure(what));
}

bool Create(CContact* original, const CFields& fields, CSession& session)
{
    std::unique_ptr<CContact> contact(
        Try([&] { return session.Manager().CreateContact(original); }));
    if (contact == nullptr) {
        return session.FailCreation("new contact in " + session.MailboxName());
    }
    const ContactMgr::CContactId id = contact->GetId();
    if (!FillAndSave(*contact, fields, session)) {
        contact.reset();
        session.Manager().DeleteContact(id);
        return false;
    }
    Print(id.ToString() + '\n');
    return true;
}

// What was asked for is there already. Fields are not set: who has more than the sender's name to
// say about a contact that is there says it to `set`.
bool TellKnown(const std::string& id, const CFields& fields, CSession& session)
{
    Print(id + '\n');
    if (fields.IsEmpty()) {
        session.Report().Note("new", "the sender is in the address book already, as " + id);
        return true;
    }
    return session.Report().Refusal("new", "the sender is in the address book already, as " + id +
                                               "; the fields were not set");
}

bool New(CSession& session, CNewOptions& options)
{
    const bool isAccepted = options.fields.Read(session.Report());
    if (isAccepted && options.fields.IsEmpty() && !options.from && !options.fromMessage) {
        throw CUsageError("new wants a field or --from");
    }
    std::unique_ptr<CContact> original;
    if (isAccepted && options.fromMessage) {
        original = ReadMessageSender(*options.fromMessage, session);
    }
    if (!isAccepted || (options.fromMessage && original == nullptr) ||
        !session.OpenContacts(CSession::EAccess::kWrite)) {
        return false;
    }
    CContactMgr::FlushEachChange();
    if (options.fromMessage) {
        const std::string known = FindAddressOf(*original, session);
        if (!known.empty()) {
            return TellKnown(known, options.fields, session);
        }
    }
    if (options.from) {
        original = session.OpenContact("copy", *options.from);
        if (original == nullptr || !CanBeCopied(*original, options.fields, session)) {
            return false;
        }
    }
    return Create(original.get(), options.fields, session);
}

struct CSetOptions
{
    std::string id;
    CFields fields;
};

bool Set(CSession& session, CSetOptions& options)
{
    const bool isAccepted = options.fields.Read(session.Report());
    if (isAccepted && options.fields.IsEmpty()) {
        throw CUsageError("set wants a field");
    }
    if (!isAccepted || !session.OpenContacts(CSession::EAccess::kWrite)) {
        return false;
    }
    CContactMgr::FlushEachChange();
    const std::unique_ptr<CContact> contact = session.OpenContact("set", options.id);
    if (contact != nullptr && contact->IsReadOnly()) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return session.FailContact("set", options.id);
    }
    const std::string what = "set " + options.id;
    return contact != nullptr && options.fields.ApplyTo(*contact, what, session.Report()) &&
           (Try([&] { return contact->Save(); }) || session.Report().Failure(what));
}

bool Delete(CSession& session, const std::vector<std::string>& ids)
{
    if (!session.OpenContacts(CSession::EAccess::kWrite)) {
        return false;
    }
    CContactMgr::FlushEachChange();
    for (const std::string& text : ids) {
        session.DeleteContact("delete", text);
    }
    return true;
}

} // namespace

void AddEditCommands(CLI::App& app, CCommands* commands)
{
    const auto created = std::make_shared<CNewOptions>();
    CLI::App* command = app.add_subcommand("new", "Create a contact and print its identifier");
    command->add_option("--from", created->from, "Start with a copy of this contact")
        ->type_name("ID")
        ->excludes(command
                       ->add_option("--from-message", created->fromMessage,
                                    "Start with the sender of a message in a file; - is standard "
                                    "input")
                       ->type_name("FILE"));
    created->fields.AddTo(*command);
    commands->push_back({command, [created](CSession& session) { return New(session, *created); }});

    const auto set = std::make_shared<CSetOptions>();
    command = app.add_subcommand("set", "Change a contact");
    command->add_option("ID", set->id, "Identifier of the contact")->required();
    set->fields.AddTo(*command);
    commands->push_back({command, [set](CSession& session) { return Set(session, *set); }});

    const auto ids = std::make_shared<std::vector<std::string>>();
    command = app.add_subcommand("delete", "Delete contacts");
    command->add_option("ID", *ids, "Identifiers of the contacts")->required();
    commands->push_back({command, [ids](CSession& session) { return Delete(session, *ids); }});
}
