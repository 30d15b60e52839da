#include "commands/Commands.h"

#include "base/JsonForm.h"
#include "base/Record.h"
#include "base/Session.h"
#include "edit/ContactEdit.h"
#include "edit/ContactMerge.h"
#include "search/Duplicates.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using nlohmann::ordered_json;

namespace
{

constexpr std::size_t kShownNames = 3;

CPerson ReadPerson(CContact& contact, CSession& session)
{
    CRecordReader record(contact, session);
    CPerson person;
    person.name = ToUtf8(record.Property(CContactProperty("FullName")));
    if (person.name.empty()) {
        const std::string first = ToUtf8(record.FirstName());
        const std::string last = ToUtf8(record.LastName());
        person.name = first + (first.empty() || last.empty() ? "" : " ") + last;
    }
    for (const CContactEmail& email : contact.GetEmails()) {
        person.addresses.emplace_back(email.GetAddress().RawAddress());
    }
    for (const CContactTel& telephone : contact.GetTelephones()) {
        person.telephones.push_back(ToUtf8(std::string_view(telephone.GetNumber())));
    }
    return person;
}

const char* NameOf(ESameness sameness)
{
    return sameness == ESameness::kAddress     ? "address"
           : sameness == ESameness::kTelephone ? "telephone"
                                               : "name";
}

// The people of an address book, and who of them look like one.
class CPeople
{
public:
    bool Read(CSession& session)
    {
        std::vector<std::string> ids;
        if (!session.ListAddressBook(&ids)) {
            return false;
        }
        for (std::string& id : ids) {
            const std::unique_ptr<CContact> contact = session.OpenListed("duplicates", id);
            if (contact != nullptr) {
                m_people.push_back(ReadPerson(*contact, session));
                m_ids.push_back(std::move(id));
            }
        }
        return true;
    }

    void PrintDuplicates(bool isJson) const
    {
        for (const CDuplicates& group : FindDuplicates(m_people)) {
            Print((isJson ? AsJson(group) : AsText(group)) + '\n');
        }
    }

private:
    // The identifiers as `merge` takes them, and a few of the names.
    std::string AsText(const CDuplicates& group) const
    {
        std::string ids;
        std::string names;
        std::vector<std::string_view> shown;
        for (const std::size_t member : group.members) {
            ids.append(ids.empty() ? "" : " ").append(m_ids[member]);
            const std::string& name = m_people[member].name;
            if (!name.empty() && shown.size() <= kShownNames &&
                std::ranges::find(shown, name) == shown.end()) {
                names.append(shown.empty() ? "" : ", ")
                    .append(shown.size() < kShownNames ? name : "...");
                shown.emplace_back(name);
            }
        }
        return std::string(NameOf(group.sameness)) + '\t' + ToField(std::string_view(group.value)) +
               '\t' + ids + '\t' + ToField(std::string_view(names));
    }

    std::string AsJson(const CDuplicates& group) const
    {
        ordered_json contacts = ordered_json::array();
        for (const std::size_t member : group.members) {
            contacts.push_back({{"id", m_ids[member]}, {"name", m_people[member].name}});
        }
        const ordered_json object = {{kFormatVersionName, kFormatVersion},
                                     {"same", NameOf(group.sameness)},
                                     {"value", group.value},
                                     {"contacts", std::move(contacts)}};
        return object.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    }

    std::vector<CPerson> m_people;
    std::vector<std::string> m_ids;
};

bool Duplicates(CSession& session, bool isJson)
{
    CPeople people;
    if (!session.OpenContacts(CSession::EAccess::kRead) || !people.Read(session)) {
        return false;
    }
    people.PrintDuplicates(isJson);
    return true;
}

struct CMergeOptions
{
    std::vector<std::string> ids;
    bool isDryRun = false;
};

} // namespace

void AddPeopleCommands(CLI::App& app, CCommands* commands)
{
    const auto isJson = std::make_shared<bool>(false);
    CLI::App* command = app.add_subcommand(
        "duplicates", "Name contacts of the address book that look like one person");
    command->add_flag("--json", *isJson, "One JSON object a line");
    commands->push_back(
        {command, [isJson](CSession& session) { return Duplicates(session, *isJson); }});

    const auto merge = std::make_shared<CMergeOptions>();
    command = app.add_subcommand("merge", "Join contacts into the first and delete the others");
    command->add_option("ID", merge->ids, "Identifiers of the contacts")->required();
    command->add_flag("--dry-run", merge->isDryRun, "Show the joined contact and change nothing");
    commands->push_back({command, [merge](CSession& session) {
                             return MergeContacts(session, merge->ids, merge->isDryRun);
                         }});

    const auto id = std::make_shared<std::string>();
    command = app.add_subcommand("edit", "Edit a contact as a vCard in VISUAL or EDITOR");
    command->add_option("ID", *id, "Identifier of the contact")->required();
    commands->push_back({command, [id](CSession& session) { return EditContact(session, *id); }});
}
