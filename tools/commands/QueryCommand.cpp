#include "commands/Commands.h"

#include "base/JsonForm.h"
#include "base/Session.h"
#include "search/AddressSearch.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace
{

using CAnswer = CAddressSearch::CAnswer;
using CAnswers = std::vector<CAnswer>;
using nlohmann::ordered_json;

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
// The first one is the default.
constexpr CFormat kFormats[] = {
    {"mutt", MuttLine}, {"aerc", Line}, {"plain", PlainLine}, {"json", JsonLine}};

constexpr std::size_t kNoMaximum = std::numeric_limits<std::size_t>::max();

struct CQueryOptions
{
    std::vector<std::string> words;
    const CFormat* format = kFormats;
    std::size_t max = kNoMaximum;
    bool usesNoFile = false;
};

const CFormat* FormatOf(const std::string& name)
{
    const CFormat* const found = std::ranges::find(kFormats, name, &CFormat::name);
    if (found == std::end(kFormats)) {
        throw CUsageError("--format takes mutt, aerc, plain or json: " + name);
    }
    return found;
}

// A number that is too large for the machine is no limit either.
std::size_t MaximumOf(const std::string& text)
{
    std::size_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (stop != end || error == std::errc::invalid_argument ||
        (error == std::errc() && number == 0)) {
        throw CUsageError("--max is no number from 1 on: " + text);
    }
    return error == std::errc() ? number : kNoMaximum;
}

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
    if (options.format == kFormats) {
        Print(Headline(found, answers.size()));
    }
    for (const CAnswer& answer : answers) {
        Print(options.format->line(answer) + '\n');
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
    command
        ->add_option_function<std::string>(
            "--format", [options](const std::string& text) { options->format = FormatOf(text); },
            "How the answers are written: mutt, aerc, plain or json; mutt if not given")
        ->type_name("FORMAT");
    command
        ->add_option_function<std::string>(
            "--max", [options](const std::string& text) { options->max = MaximumOf(text); },
            "Print so many answers at most, the best ones")
        ->type_name("NUMBER");
    command->add_flag("--no-cache", options->usesNoFile,
                      "Read all stores anew, and leave the user's cache folder alone");
    commands->push_back(
        {command, [options](CSession& session) { return Query(session, *options); }});
}
