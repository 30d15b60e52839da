#include "cards/JCard.h"

#include "base/Text.h"
#include "cards/JsonLimits.h"
#include "cards/LineParts.h"
#include "cards/VCard4.h"
#include "cards/VCardDate.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <utility>

using nlohmann::ordered_json;

namespace
{

struct CDefaultType
{
    std::string_view name;
    std::string_view type;
};
// What the properties of RFC 6350 hold if they do not say otherwise; those that are left out hold
// text.
constexpr std::array<CDefaultType, 20> kDefaultTypes = {{{"SOURCE", "uri"},
                                                         {"PHOTO", "uri"},
                                                         {"URL", "uri"},
                                                         {"IMPP", "uri"},
                                                         {"GEO", "uri"},
                                                         {"LOGO", "uri"},
                                                         {"MEMBER", "uri"},
                                                         {"RELATED", "uri"},
                                                         {"SOUND", "uri"},
                                                         {"UID", "uri"},
                                                         {"KEY", "uri"},
                                                         {"FBURL", "uri"},
                                                         {"CALADRURI", "uri"},
                                                         {"CALURI", "uri"},
                                                         {"BDAY", "date-and-or-time"},
                                                         {"ANNIVERSARY", "date-and-or-time"},
                                                         {"DEATHDATE", "date-and-or-time"},
                                                         {"REV", "timestamp"},
                                                         {"LANG", "language-tag"},
                                                         {"CLIENTPIDMAP", "text"}}};

constexpr std::array<std::string_view, 12> kTextNames = {"FN",  "N",     "NICKNAME",   "ADR",
                                                         "TEL", "EMAIL", "TITLE",      "ROLE",
                                                         "ORG", "NOTE",  "CATEGORIES", "KIND"};
constexpr std::array<std::string_view, 3> kMoreTextNames = {"PRODID", "GENDER", "TZ"};
constexpr std::array<std::string_view, 5> kStructured = {"N", "ADR", "ORG", "GENDER",
                                                         "CLIENTPIDMAP"};
constexpr std::array<std::string_view, 2> kLists = {"CATEGORIES", "NICKNAME"};

std::string_view DefaultTypeOf(std::string_view name)
{
    const auto* const found = std::ranges::find(kDefaultTypes, name, &CDefaultType::name);
    return found != kDefaultTypes.end()                           ? found->type
           : IsIn(kTextNames, name) || IsIn(kMoreTextNames, name) ? "text"
                                                                  : "unknown";
}

std::string TypeOf(const CVCardLine& line)
{
    const std::string_view said = line.Parameter("VALUE");
    return said.empty() ? std::string(DefaultTypeOf(line.name)) : LowerText(said);
}

// One value as it is in vCard, in the form that the type has in jCard.
std::string ToJsonValue(const std::string& type, const std::string& value)
{
    if (type == "text" || type == "language-tag") {
        return UnescapeValue(value);
    }
    if (type == "utc-offset") {
        return ToExtendedOffset(value);
    }
    const bool isTime = type.find("date") != type.npos || type.find("time") != type.npos;
    return isTime ? ToExtendedDate(value) : value;
}

std::string FromJsonValue(const std::string& type, const std::string& value)
{
    if (type == "text" || type == "language-tag") {
        return EscapeValue(value);
    }
    if (type == "utc-offset") {
        return ToBasicOffset(value);
    }
    const bool isTime = type.find("date") != type.npos || type.find("time") != type.npos;
    return isTime ? ToBasicDate(value) : value;
}

ordered_json OneOrMore(std::vector<std::string> values)
{
    if (values.size() == 1) {
        return std::move(values.front());
    }
    return values;
}

ordered_json Component(const std::string& text)
{
    std::vector<std::string> values = SplitValue(text, ',');
    std::ranges::transform(values, values.begin(), UnescapeValue);
    return OneOrMore(std::move(values));
}

ordered_json ParametersToJson(const CVCardLine& line)
{
    std::vector<std::pair<std::string, std::vector<std::string>>> grouped;
    for (const auto& [name, value] : line.parameters) {
        const std::string key = LowerText(name);
        if (key == "value") {
            continue;
        }
        auto found = std::ranges::find(grouped, key, &decltype(grouped)::value_type::first);
        if (found == grouped.end()) {
            found = grouped.insert(grouped.end(), {key, {}});
        }
        found->second.push_back(value);
    }
    ordered_json object = ordered_json::object();
    if (!line.group.empty()) {
        object["group"] = line.group;
    }
    for (auto& [key, values] : grouped) {
        object[key] = OneOrMore(std::move(values));
    }
    return object;
}

ordered_json ToJson(const CVCardLine& line)
{
    const std::string type = TypeOf(line);
    ordered_json property = {LowerText(line.name), ParametersToJson(line), type};
    if (type == "text" && IsIn(kStructured, line.name)) {
        ordered_json components = ordered_json::array();
        for (const std::string& part : SplitValue(line.value, ';')) {
            components.push_back(Component(part));
        }
        property.push_back(components.size() == 1 ? std::move(components[0])
                                                  : std::move(components));
    } else if (type == "text" && IsIn(kLists, line.name)) {
        for (const std::string& part : SplitValue(line.value, ',')) {
            property.push_back(UnescapeValue(part));
        }
    } else {
        property.push_back(ToJsonValue(type, line.value));
    }
    return property;
}

std::string Dump(const ordered_json& value)
{
    return value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

// Numbers and truth values stand as such in JSON.
std::string TextOf(const ordered_json& value)
{
    return value.is_string() ? value.get<std::string>() : Dump(value);
}

std::string JoinComponent(const std::string& type, const ordered_json& value)
{
    if (!value.is_array()) {
        return FromJsonValue(type, TextOf(value));
    }
    std::string joined;
    for (const ordered_json& part : value) {
        joined.append(&part == &value.front() ? "" : ",").append(FromJsonValue(type, TextOf(part)));
    }
    return joined;
}

std::string ValueFrom(const std::string& type, const ordered_json& property)
{
    std::string value;
    for (std::size_t i = 3; i < property.size(); ++i) {
        value.append(i == 3 ? "" : ",");
        if (!property[i].is_array()) {
            value.append(FromJsonValue(type, TextOf(property[i])));
            continue;
        }
        for (std::size_t j = 0; j < property[i].size(); ++j) {
            value.append(j == 0 ? "" : ";").append(JoinComponent(type, property[i][j]));
        }
    }
    return value;
}

void AddParameters(const std::string& name, const ordered_json& value, CVCardLine* line)
{
    if (name == "GROUP") {
        line->group = TextOf(value);
    } else if (value.is_array()) {
        for (const ordered_json& each : value) {
            line->parameters.emplace_back(name, TextOf(each));
        }
    } else {
        line->parameters.emplace_back(name, TextOf(value));
    }
}

// Exports write names as cards have them, and these hold more than RFC 6350 allows.
constexpr std::string_view kNoName(".;:\"\r\n\t \0", 9);

bool IsName(const ordered_json& value)
{
    return value.is_string() && !value.get_ref<const std::string&>().empty() &&
           value.get_ref<const std::string&>().find_first_of(kNoName) == std::string::npos;
}

bool FromJson(const ordered_json& property, CVCardLine* line)
{
    if (!property.is_array() || property.size() < 4 || !IsName(property[0]) ||
        !property[1].is_object() || !property[2].is_string()) {
        return false;
    }
    CVCardLine read;
    read.name = UpperText(property[0].get<std::string>());
    for (const auto& [name, value] : property[1].items()) {
        AddParameters(UpperText(name), value, &read);
    }
    const std::string type = property[2].get<std::string>();
    if (type != DefaultTypeOf(read.name) && type != "unknown") {
        read.parameters.emplace_back("VALUE", type);
    }
    read.value = ValueFrom(type, property);
    *line = std::move(read);
    return true;
}

} // namespace

std::string WriteJCardProperty(const CVCardLine& line)
{
    return Dump(ToJson(line));
}

bool ReadJCardProperty(std::string_view text, CVCardLine* line)
{
    return FromJson(ordered_json::parse(text, nullptr, false), line);
}

std::string WriteJCard(const CVCard& card, std::vector<std::string>* notes)
{
    ordered_json properties = ordered_json::array();
    properties.push_back({"version", ordered_json::object(), "text", "4.0"});
    for (const CVCardLine& line : ToVersion4(card, notes)) {
        properties.push_back(ToJson(line));
    }
    return Dump({"vcard", std::move(properties)});
}

bool ReadJCard(std::string_view text, CVCard* card, std::vector<std::string>* notes,
               std::string* fault)
{
    if (!IsWithinJsonLimits(text)) {
        *fault = kBeyondJsonLimits;
        return false;
    }
    const ordered_json value = ordered_json::parse(text, nullptr, false);
    if (!value.is_array() || value.size() != 2 || value[0] != "vcard" || !value[1].is_array()) {
        *fault = value.is_discarded() ? "no JSON" : "no jCard";
        return false;
    }
    CVCard lines;
    for (const ordered_json& property : value[1]) {
        CVCardLine line;
        if (!FromJson(property, &line)) {
            *fault = "no property of a jCard: " + Dump(property).substr(0, 40);
            return false;
        }
        if (line.name != "VERSION") {
            lines.push_back(std::move(line));
        }
    }
    *card = ToVersion3(lines, notes);
    return true;
}
