#include "commands/Commands.h"

#include "base/Record.h"
#include "base/Session.h"
#include "base/Walk.h"
#include "search/ContactTexts.h"
#include "views/Birthday.h"
#include "views/Rows.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{

struct CViewOptions
{
    std::vector<std::string> words;
    bool json = false;
};

using CShowContact = std::function<void(CContact&, const CRecord&, std::vector<CRow>*)>;

// Prints the rows that the contacts with these words have.
bool View(CSession& session, const std::string& what, const CViewOptions& options, CTable table,
          const CShowContact& show)
{
    const CSearchWords words(options.words);
    std::vector<CRow> rows;
    if (!session.OpenContacts(CSession::EAccess::kRead) ||
        !Walk(session, what, nullptr, [&](CContact& contact) {
            const CRecord record = CRecordReader(contact, session).ReadAll();
            if (Matches(record, words)) {
                show(contact, record, &rows);
            }
        })) {
        return false;
    }
    PrintRows(std::move(rows), std::move(table), options.json);
    return true;
}

bool Phones(CSession& session, const CViewOptions& options)
{
    return View(session, "phones", options, CTable({"NAME", "TYPES", "NUMBER", "ID"}, 3),
                [](CContact&, const CRecord& record, std::vector<CRow>* rows) {
                    for (const CRecordEntry& telephone : record.telephones) {
                        rows->push_back(RowOfTelephone(record, telephone));
                    }
                });
}

// The older web client's contacts have addresses without anything in them.
bool HasValue(const CRecordEntry& entry)
{
    return std::ranges::any_of(entry.values,
                               [](const auto& value) { return !value.second.empty(); });
}

bool Addresses(CSession& session, const CViewOptions& options)
{
    return View(session, "addresses", options, CTable({"NAME", "TYPES", "ADDRESS", "ID"}, 3),
                [](CContact&, const CRecord& record, std::vector<CRow>* rows) {
                    for (const CRecordEntry& address : record.addresses) {
                        if (HasValue(address)) {
                            rows->push_back(RowOfAddress(record, address));
                        }
                    }
                });
}

// Nothing without a birthday. A line that names no day is told.
std::optional<CBirthday> BirthdayOf(CContact& contact, CSession& session)
{
    std::u16string text;
    if (!Try([&] { return contact.ToString(&text); })) {
        if (GetLastError() != ERROR_NOT_SUPPORTED) {
            session.Report().Failure("birthdays " + contact.GetId().ToString());
        }
        return std::nullopt;
    }
    const CVCard card = ReadVCard(ToUtf8(text));
    const CVCardLine* const line = FindLine(card, "BDAY");
    if (line == nullptr || line->value.empty()) {
        return std::nullopt;
    }
    const std::optional<CBirthday> birthday = ReadBirthday(*line);
    if (!birthday) {
        session.Report().Note("birthdays " + contact.GetId().ToString(),
                              "its BDAY names no day: " + line->value);
    }
    return birthday;
}

bool Birthdays(CSession& session, const CViewOptions& options)
{
    const std::chrono::sys_days today = Today();
    return View(session, "birthdays", options, CTable({"BIRTHDAY", "NAME", "DAYS", "ID"}, 3),
                [&](CContact& contact, const CRecord& record, std::vector<CRow>* rows) {
                    if (const auto birthday = BirthdayOf(contact, session)) {
                        rows->push_back(RowOfBirthday(record, *birthday, today));
                    }
                });
}

void AddView(CLI::App& app, const char* name, const char* help,
             bool (*run)(CSession&, const CViewOptions&), CCommands* commands)
{
    const auto options = std::make_shared<CViewOptions>();
    CLI::App* const command = app.add_subcommand(name, help);
    AddWords(*command, &options->words);
    command->add_flag("--json", options->json, "One JSON object a line");
    commands->push_back(
        {command, [options, run](CSession& session) { return run(session, *options); }});
}

} // namespace

CLI::Option* AddWords(CLI::App& command, std::vector<std::string>* words)
{
    return command.add_option("WORDS", *words,
                              "Words that all stand somewhere in the names, the organisation, the "
                              "addresses or the telephone numbers of a contact");
}

void AddViewCommands(CLI::App& app, CCommands* commands)
{
    AddView(app, "phones", "List telephone numbers", Phones, commands);
    AddView(app, "addresses", "List postal addresses", Addresses, commands);
    AddView(app, "birthdays", "List birthdays, the coming ones first", Birthdays, commands);
}
