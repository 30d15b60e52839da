#include "commands/Commands.h"

#include "base/JsonForm.h"
#include "base/Session.h"
#include "search/AddressSearch.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace
{

using CAnswer = CAddressSearch::CAnswer;
using CAnswers = std::vector<CAnswer>;
using nlohmann::ordered_json;

struct CQueryOptions
{
    std::vector<std::string> words;
    std::string format = "mutt";
    std::size_t max = std::numeric_limits<std::size_t>::max();
    bool usesNoFile = false;
};

std::string Line(const CAnswer& answer)
{
    return ToField(answer.entry->address) + '\t' + ToField(answer.entry->name);
}

std::string MuttLine(const CAnswer& answer)
{
    return Line(answer) + '\t' + ToField(answer.store);
}

std::string PlainLine(const CAnswer& answer)
{
    return ToField(FullAddressOf(*answer.entry));
}

std::string JsonLine(const CAnswer& answer)
{
    const CAddressEntry& entry = *answer.entry;
    ordered_json object = {{kFormatVersionName, kFormatVersion},
                           {"address", entry.address},
                           {"name", entry.name},
                           {"type", answer.store},
                           {"id", IdOf(answer)}};
    if (entry.messages > 0) {
        object["messages"] = entry.messages;
        object["latest"] = std::to_string(entry.latest);
    }
    return object.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

struct CFormat
{
    const char* name;
    std::string (*line)(const CAnswer& answer);
};
constexpr CFormat kFormats[] = {
    {"mutt", MuttLine}, {"aerc", Line}, {"plain", PlainLine}, {"json", JsonLine}};

// The line that mutt shows above the answers.
std::string Headline(std::size_t found, std::size_t told)
{
    std::string text = std::to_string(found) + (found == 1 ? " match" : " matches");
    if (told < found) {
        text += ", the first " + std::to_string(told);
    }
    return text + '\n';
}

bool Query(CSession& session, const CQueryOptions& options)
{
    const CSearchWords words(options.words);
    if (!session.OpenContacts(CSession::EAccess::kRead)) {
        return false;
    }
    CAddressSearch search(session);
    search.Load(!options.usesNoFile);
    CAnswers answers = search.Find(words);
    const std::size_t found = answers.size();
    answers.resize(std::min(found, options.max));
    if (options.format == kFormats[0].name) {
        Print(Headline(found, answers.size()));
    }
    const CFormat& format = *std::ranges::find(kFormats, options.format, &CFormat::name);
    for (const CAnswer& answer : answers) {
        Print(format.line(answer) + '\n');
    }
    return !answers.empty();
}

} // namespace

void AddQueryCommand(CLI::App& app, CCommands* commands)
{
    const auto options = std::make_shared<CQueryOptions>();
    CLI::App* command = app.add_subcommand("query", "Look for addresses that have all the words");
    command
        ->add_option("WORDS", options->words,
                     "Parts of names, addresses, organisations or numbers, in any order")
        ->required();
    std::vector<std::string> names;
    for (const CFormat& format : kFormats) {
        names.emplace_back(format.name);
    }
    command->add_option("--format", options->format, "How the answers are written")
        ->transform(CLI::IsMember(names))
        ->type_name("mutt|aerc|plain|json");
    command->add_option("--max", options->max, "Tell the best answers alone")
        ->type_name("NUMBER")
        ->check(CLI::PositiveNumber);
    command->add_flag("--no-cache", options->usesNoFile,
                      "Read all stores anew, and leave the user's cache folder alone");
    commands->push_back(
        {command, [options](CSession& session) { return Query(session, *options); }});
}
