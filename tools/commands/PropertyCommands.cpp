#include "commands/Commands.h"

#include "base/PropertyReport.h"
#include "base/Session.h"
#include "base/Stores.h"
#include "platform/Ascii.h"
#include "server/PropertyNames.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <utility>

namespace
{

constexpr std::string_view kEnabledStores = "EnabledContactPlugins";
constexpr std::string_view kEffective = "Effective";
constexpr std::string_view kNoStore = "none";

struct COwnerOptions
{
    std::vector<std::string> words; // NAME@DOMAIN in front, unless an option stands for it
    std::optional<std::string> domain;
    bool isOfServer = false;
    bool isEffective = false;
    bool json = false;
};

void AddOwnerOptions(CLI::App& command, COwnerOptions* options)
{
    CLI::Option* const domain = command.add_option("--of-domain", options->domain,
                                                   "The file of this domain in place of a mailbox");
    domain->type_name("DOMAIN");
    command
        .add_flag("--of-server", options->isOfServer,
                  "The file of the server in place of a mailbox")
        ->excludes(domain);
}

// Takes a mailbox from the words.
CPropertyOwner TakeOwner(const CSession& session, const COwnerOptions& options,
                         std::vector<std::string>* words)
{
    if (options.isOfServer) {
        return {};
    }
    if (options.domain) {
        if (options.domain->empty()) {
            throw CUsageError("--of-domain without a domain");
        }
        return {"", *options.domain};
    }
    if (words->empty()) {
        throw CUsageError("NAME@DOMAIN, --of-domain or --of-server is required");
    }
    const CMailboxName mailbox = session.ParseName(words->front());
    words->erase(words->begin());
    return {mailbox.name, mailbox.domain};
}

std::string NamesOfStores(std::uint32_t mask)
{
    std::string names;
    for (const CStoreName& store : kStores) {
        if ((mask & store.bit) != 0) {
            names.append(names.empty() ? "" : ",").append(store.name);
        }
    }
    return names.empty() ? std::string(kNoStore) : names;
}

constexpr std::uint32_t AllStores()
{
    std::uint32_t mask = 0;
    for (const CStoreName& store : kStores) {
        mask |= store.bit;
    }
    return mask;
}

std::optional<std::uint32_t> ReadNumber(std::string_view text)
{
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

// The mask of a comma list of stores, or of a number. Reports a text that is neither.
std::optional<std::uint32_t> ReadStores(std::string_view text, CReport& report)
{
    const auto number = ReadNumber(text);
    if ((number && *number <= AllStores()) || text == kNoStore) {
        return number.value_or(0);
    }
    std::uint32_t mask = 0;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view name = rest.substr(0, rest.find(','));
        const auto store = std::ranges::find_if(kStores, [name](const CStoreName& known) {
            return EqualIgnoringCase(known.name, name);
        });
        if (store == std::end(kStores)) {
            report.Refusal("value of " + std::string(kEnabledStores),
                           "'" + std::string(text) + "' is no number from 0 to " +
                               std::to_string(AllStores()) + " and no comma list of " +
                               NamesOfStores(AllStores()));
            return std::nullopt;
        }
        mask |= store->bit;
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    }
    return mask;
}

void CheckName(std::string_view name)
{
    const std::string text(name);
    if (TypeOfProperty(text.c_str()) != EPropertyType::kNone) {
        return;
    }
    if (EqualIgnoringCase(name, "Jobtitle")) {
        throw CUsageError("no property of a mailbox: " + text + "; Title has the job title");
    }
    const std::size_t size = name.size() - std::min(name.size(), kEffective.size());
    if (size > 0 && EqualIgnoringCase(name.substr(size), kEffective)) {
        throw CUsageError("no property to set: " + text + "; set " + text.substr(0, size));
    }
    throw CUsageError("no property of a mailbox: " + text);
}

std::string SettableNames()
{
    std::vector<std::string_view> names = {kEnabledStores};
    for (const CPropertyName& property : kPropertyNames) {
        if (TypeOfProperty(property.name) == EPropertyType::kText) {
            names.emplace_back(property.name);
        }
    }
    return ListNames("Properties:", names);
}

// False if a value is refused, which is reported.
bool ReadSettings(const std::vector<std::string>& words, CReport& report,
                  std::vector<CMailboxPropertySetting>* settings)
{
    bool isAccepted = true;
    for (const std::string& word : words) {
        const CAssignment assignment = ParseAssignment(word);
        CheckName(assignment.name);
        std::string value = UnifyLineBreaks(assignment.value);
        if (EqualIgnoringCase(assignment.name, kEnabledStores) && !value.empty()) {
            const auto mask = ReadStores(value, report);
            isAccepted = isAccepted && mask;
            value = std::to_string(mask.value_or(0));
        }
        settings->push_back({std::string(assignment.name), std::move(value)});
    }
    return isAccepted;
}

bool WriteSettings(_tMailServer* server, const CPropertyOwner& owner,
                   const std::vector<CMailboxPropertySetting>& settings)
{
    switch (owner.Source()) {
    case EPropertySource::kMailbox:
        return SetMailboxProperties(server, owner.Name(), owner.Domain(), settings);
    case EPropertySource::kDomain:
        return SetDomainProperties(server, owner.Domain(), settings);
    default:
        return SetServerProperties(server, settings);
    }
}

// Reports why the properties of an owner could not be read or set.
bool FailOwner(CSession& session, const CPropertyOwner& owner, const std::string& what)
{
    const std::uint32_t code = GetLastError();
    if (code == ERROR_NOT_SUPPORTED) {
        return session.Report().FailureBecause(what, "the location of the store has no such file");
    }
    if (code == ERROR_PATH_NOT_FOUND && owner.Source() == EPropertySource::kMailbox) {
        return session.Report().FailureBecause(
            what, ExplainMailbox(session.Server(), owner.Name(), owner.Domain()));
    }
    return FailProperties(session.Report(), session.Server(), owner, what);
}

bool SetProperties(CSession& session, const COwnerOptions& options)
{
    std::vector<std::string> words = options.words;
    const CPropertyOwner owner = TakeOwner(session, options, &words);
    if (words.empty()) {
        throw CUsageError("mailbox set wants PROPERTY=VALUE");
    }
    std::vector<CMailboxPropertySetting> settings;
    if (!ReadSettings(words, session.Report(), &settings) || !session.OpenStore()) {
        return false;
    }
    return session.Patience().Try([&] {
        return WriteSettings(session.Server(), owner, settings);
    }) || FailOwner(session, owner, "set properties of " + owner.Text());
}

std::string ValueText(const CMailboxProperty& property)
{
    const bool isMask = EqualIgnoringCase(std::string_view(property.name), kEnabledStores) &&
                        property.type == EPropertyType::kNumber;
    return isMask
               ? property.value + " (" + NamesOfStores(ReadNumber(property.value).value_or(0)) + ")"
               : property.value;
}

std::string PropertyLine(const CMailboxProperty& property, const COwnerOptions& options)
{
    if (options.json) {
        return ToJson(property) + '\n';
    }
    return ToField(property.name) + '\t' + ToField(ValueText(property)) +
           (options.isEffective ? '\t' + ToField(PlaceOf(property)) : "") + '\n';
}

bool ShowProperties(CSession& session, const COwnerOptions& options)
{
    std::vector<std::string> words = options.words;
    const CPropertyOwner owner = TakeOwner(session, options, &words);
    if (!words.empty()) {
        throw CUsageError("too many arguments: " + words.front());
    }
    const std::string what = "show properties of " + owner.Text();
    std::vector<CMailboxProperty> properties;
    if (!session.OpenStore()) {
        return false;
    }
    if (!Try([&] {
            return ListProperties(session.Server(), owner.Name(), owner.Domain(), &properties);
        })) {
        return FailOwner(session, owner, what);
    }
    if (options.isEffective) {
        properties = EffectiveProperties(properties);
    } else {
        std::erase_if(properties, [&](const CMailboxProperty& property) {
            return property.source != owner.Source();
        });
    }
    for (const CMailboxProperty& property : properties) {
        Print(PropertyLine(property, options));
        if (HasWrongType(property)) {
            ReportWrongType(session.Report(), what, property);
        } else if (TypeOfProperty(property.name.c_str()) == EPropertyType::kNone) {
            session.Report().Note(what + ": " + PlaceOf(property),
                                  "nothing reads " + property.name);
        }
    }
    return true;
}

} // namespace

void AddPropertyCommands(CLI::App& family, CCommands* commands)
{
    const auto set = std::make_shared<COwnerOptions>();
    CLI::App* command = family.add_subcommand("set", "Set properties of a mailbox, all or none");
    command->add_option("[MAILBOX] SETTINGS", set->words,
                        "NAME@DOMAIN, then PROPERTY=VALUE; an empty value removes");
    AddOwnerOptions(*command, set.get());
    command->footer("EnabledContactPlugins takes a number or a comma list of stores: " +
                    NamesOfStores(AllStores()) + ";\n" + std::string(kNoStore) +
                    " for no store at all. All others are texts.\n" + SettableNames());
    commands->push_back(
        {command, [set](CSession& session) { return SetProperties(session, *set); }});

    const auto shown = std::make_shared<COwnerOptions>();
    command =
        family.add_subcommand("show", "Show the properties that stand in a mailbox's own file");
    command->add_option("MAILBOX", shown->words, "NAME@DOMAIN");
    AddOwnerOptions(*command, shown.get());
    command->add_flag("--effective", shown->isEffective,
                      "Show what holds, also from the files of the domain and of the server, and "
                      "which file it is from");
    command->add_flag("--json", shown->json, "One JSON object a line");
    commands->push_back(
        {command, [shown](CSession& session) { return ShowProperties(session, *shown); }});
}
