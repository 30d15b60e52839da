#include "base/PropertyReport.h"

#include "base/JsonForm.h"
#include "base/Report.h"
#include "platform/Ascii.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

using nlohmann::ordered_json;

namespace
{

const char* TypeText(EPropertyType type)
{
    switch (type) {
    case EPropertyType::kText:
        return "a text";
    case EPropertyType::kNumber:
        return "a number";
    case EPropertyType::kTruthValue:
        return "a truth value";
    default:
        return "a list, an object or a number out of range";
    }
}

const char* SourceText(EPropertySource source)
{
    switch (source) {
    case EPropertySource::kMailbox:
        return "mailbox";
    case EPropertySource::kDomain:
        return "domain";
    case EPropertySource::kServer:
        return "server";
    default:
        return "default";
    }
}

std::string PlaceText(const std::string& path, std::uint32_t line)
{
    return line == 0 ? path : path + ':' + std::to_string(line);
}

bool HasName(const CMailboxProperty& property, std::string_view name)
{
    return EqualIgnoringCase(std::string_view(property.name), name);
}

} // namespace

std::string CPropertyOwner::Text() const
{
    if (!name.empty()) {
        return name + '@' + domain;
    }
    return domain.empty() ? "the server" : "domain " + domain;
}

EPropertySource CPropertyOwner::Source() const
{
    if (!name.empty()) {
        return EPropertySource::kMailbox;
    }
    return domain.empty() ? EPropertySource::kServer : EPropertySource::kDomain;
}

std::vector<CMailboxProperty> EffectiveProperties(const std::vector<CMailboxProperty>& properties)
{
    std::vector<CMailboxProperty> first;
    for (const CMailboxProperty& property : properties) {
        const bool isHidden = std::ranges::any_of(
            first, [&](const CMailboxProperty& before) { return HasName(before, property.name); });
        if (!isHidden) {
            first.push_back(property);
        }
    }
    return first;
}

std::string PlaceOf(const CMailboxProperty& property)
{
    return property.source == EPropertySource::kDefault ? "default"
                                                        : PlaceText(property.path, property.line);
}

std::string ToJson(const CMailboxProperty& property)
{
    ordered_json value = property.value;
    switch (property.type) {
    case EPropertyType::kNumber:
    case EPropertyType::kTruthValue:
        value = ordered_json::parse(property.value);
        break;
    case EPropertyType::kText:
        break;
    default:
        value = nullptr;
    }
    const ordered_json object = {{kFormatVersionName, kFormatVersion},
                                 {"name", property.name},
                                 {"value", std::move(value)},
                                 {"source", SourceText(property.source)},
                                 {"path", property.path},
                                 {"line", property.line}};
    return object.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

bool HasWrongType(const CMailboxProperty& property)
{
    const EPropertyType read = TypeOfProperty(property.name.c_str());
    return read != EPropertyType::kNone && read != property.type;
}

bool ReportWrongType(CReport& report, const std::string& what, const CMailboxProperty& property)
{
    const EPropertyType read = TypeOfProperty(property.name.c_str());
    return report.Refusal(what + ": " + PlaceOf(property),
                          property.name + " is " + TypeText(property.type) + ", and not " +
                              TypeText(read),
                          ERROR_INVALID_DATA);
}

bool FailProperties(CReport& report, _tMailServer* server, const CPropertyOwner& owner,
                    const std::string& what, std::string_view property)
{
    const std::uint32_t code = GetLastError();
    CPropertyFileFault fault;
    CheckPropertyFiles(server, owner.Name(), owner.Domain(), &fault);
    std::vector<CMailboxProperty> all;
    if (code == ERROR_INVALID_DATA && fault.path.empty()) {
        ListProperties(server, owner.Name(), owner.Domain(), &all);
    }
    all = EffectiveProperties(all);
    const auto named = std::ranges::find_if(
        all, [&](const CMailboxProperty& held) { return HasName(held, property); });
    const auto wrong = named != all.end() && HasWrongType(*named)
                           ? named
                           : std::ranges::find_if(all, HasWrongType);
    if (wrong != all.end()) {
        return ReportWrongType(report, what, *wrong);
    }
    std::string place = PlaceText(fault.path, fault.line);
    if (named != all.end()) {
        place = PlaceOf(*named);
    }
    SetLastError(code);
    return report.Failure(place.empty() ? what : what + ": " + place);
}
