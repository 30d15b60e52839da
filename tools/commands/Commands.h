#pragma once

#include "platform/Types.h"

#include <functional>
#include <string>
#include <vector>

namespace CLI
{
class App;
class Option;
} // namespace CLI
class CSession;

// A command on the command line, and what it does. `run` gives false for the answer "no", such
// as no match. Failures are in the session's report.
struct CCommand
{
    CLI::App* app;
    std::function<bool(CSession&)> run;
};
using CCommands = std::vector<CCommand>;

// The option --since of a command, a version. The version must outlive the command line.
CLI::Option* AddSince(CLI::App& command, const char* help, FILETIME* version);

// The words that a contact has to have, of a command that lists contacts.
CLI::Option* AddWords(CLI::App& command, std::vector<std::string>* words);

// Each adds one family of commands, with their options.
void AddReadCommands(CLI::App& app, CCommands* commands); // list, show
void AddViewCommands(CLI::App& app, CCommands* commands); // phones, addresses, birthdays
void AddQueryCommand(CLI::App& app, CCommands* commands);
void AddEditCommands(CLI::App& app, CCommands* commands); // new, set, delete
void AddExportCommand(CLI::App& app, CCommands* commands);
void AddImportCommand(CLI::App& app, CCommands* commands);
void AddSyncCommand(CLI::App& app, CCommands* commands);
void AddChangeCommands(CLI::App& app, CCommands* commands);      // changes, poll, watch
void AddPeopleCommands(CLI::App& app, CCommands* commands);      // duplicates, merge, edit
void AddMailboxCommands(CLI::App& app, CCommands* commands);     // mailbox add, list, renew
void AddPropertyCommands(CLI::App& family, CCommands* commands); // mailbox set, show
