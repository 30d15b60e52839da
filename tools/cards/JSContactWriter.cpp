#include "base/Text.h"
#include "cards/JCard.h"
#include "cards/JSContact.h"
#include "cards/JSContactTables.h"
#include "cards/LineParts.h"
#include "cards/VCard4.h"
#include "cards/VCardDate.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <map>
#include <utility>

using nlohmann::ordered_json;

namespace
{

// Builds one Card.
class CJSContactWriter
{
public:
    explicit CJSContactWriter(const CVCard& card);

    ordered_json Take() { return std::move(m_card); }

private:
    void Add(const CVCardLine& line);
    bool AddScalar(const CVCardLine& line);
    bool AddName(const CVCardLine& line);
    bool AddFullName(const CVCardLine& line);
    bool AddList(const CVCardLine& line);
    bool AddOrganization(const CVCardLine& line);
    bool AddAddress(const CVCardLine& line);
    bool AddAnniversary(const CVCardLine& line);
    bool AddRelated(const CVCardLine& line);
    bool AddEntry(const CVCardLine& line);
    ordered_json& NewEntry(std::string_view collection);
    void AddParameters(const CVCardLine& line, ordered_json* entry);

    ordered_json m_card = {{"@type", "Card"}, {"version", "1.0"}};
    std::map<std::string, std::string> m_labels; // of groups
};

// A parameter that is a member of an entry. False for a value that has none.
template <class Table>
bool AddFlag(const Table& table, std::string_view member, std::string_view value,
             ordered_json* entry)
{
    const auto found = std::ranges::find_if(
        table, [value](const CNamePair& pair) { return EqualIgnoringCase(pair.vCard, value); });
    if (found == table.end()) {
        return false;
    }
    (*entry)[std::string(member)][std::string(found->jsContact)] = true;
    return true;
}

void AddTo(ordered_json* values, const std::string& key, const std::string& value)
{
    ordered_json& held = (*values)[key];
    if (held.is_null()) {
        held = value;
    } else if (held.is_array()) {
        held.push_back(value);
    } else {
        held = ordered_json::array({std::move(held), value});
    }
}

template <class Kinds>
ordered_json ComponentsOf(const Kinds& kinds, const std::string& value)
{
    ordered_json components = ordered_json::array();
    const std::vector<std::string> parts = SplitValue(value, ';');
    for (std::size_t i = 0; i < std::min(parts.size(), kinds.size()); ++i) {
        for (const std::string& part : SplitValue(parts[i], ',')) {
            if (!part.empty()) {
                components.push_back({{"kind", kinds[i]}, {"value", UnescapeValue(part)}});
            }
        }
    }
    return components;
}

CJSContactWriter::CJSContactWriter(const CVCard& card)
{
    for (const CVCardLine& line : card) {
        if (line.name == "X-ABLABEL" && !line.group.empty()) {
            m_labels[line.group] = UnescapeValue(line.value);
        }
    }
    for (const CVCardLine& line : card) {
        Add(line);
    }
}

void CJSContactWriter::Add(const CVCardLine& line)
{
    if (AddScalar(line) || AddName(line) || AddFullName(line) || AddList(line) ||
        AddOrganization(line) || AddAddress(line) || AddAnniversary(line) || AddRelated(line) ||
        AddEntry(line)) {
        return;
    }
    m_card["vCardProps"].push_back(ordered_json::parse(WriteJCardProperty(line)));
}

bool CJSContactWriter::AddScalar(const CVCardLine& line)
{
    const auto isBare = [&line] {
        return line.group.empty() && std::ranges::all_of(line.parameters, [](const auto& each) {
                   return each.first == "VALUE";
               });
    };
    static constexpr std::array<CNamePair, 4> kScalars = {
        {{"UID", "uid"}, {"KIND", "kind"}, {"PRODID", "prodId"}, {"REV", "updated"}}};
    const auto found = std::ranges::find(kScalars, line.name, &CNamePair::vCard);
    if (found == kScalars.end() || !isBare() || m_card.contains(found->jsContact)) {
        return false;
    }
    std::string value = UnescapeValue(line.value);
    if (line.name == "REV") {
        value = ToExtendedDate(value);
        if (!IsDate(value) || !value.ends_with('Z')) {
            return false;
        }
    }
    m_card[std::string(found->jsContact)] = line.name == "KIND" ? LowerText(value) : value;
    return true;
}

bool CJSContactWriter::AddName(const CVCardLine& line)
{
    const std::string_view sort = line.Parameter("SORT-AS");
    if (line.name != "N" || !line.group.empty() ||
        line.parameters.size() > (sort.empty() ? 0U : 1U) ||
        m_card["name"].contains("components")) {
        return false;
    }
    ordered_json components = ComponentsOf(kNameKinds, line.value);
    if (!components.empty()) {
        m_card["name"]["components"] = std::move(components);
    }
    if (!sort.empty()) {
        m_card["name"]["sortAs"] = {{"surname", sort}};
    }
    return true;
}

bool CJSContactWriter::AddFullName(const CVCardLine& line)
{
    if (line.name != "FN" || m_card["name"].contains("full")) {
        return false;
    }
    m_card["name"]["full"] = UnescapeValue(line.value);
    AddParameters(line, &m_card["name"]);
    return true;
}

bool CJSContactWriter::AddList(const CVCardLine& line)
{
    const bool isNickname = line.name == "NICKNAME";
    if (!isNickname &&
        (line.name != "CATEGORIES" || !line.parameters.empty() || !line.group.empty())) {
        return false;
    }
    for (const std::string& part : SplitValue(line.value, ',')) {
        if (isNickname) {
            ordered_json& entry = NewEntry("nicknames");
            entry["name"] = UnescapeValue(part);
            AddParameters(line, &entry);
        } else {
            m_card["keywords"][UnescapeValue(part)] = true;
        }
    }
    return true;
}

bool CJSContactWriter::AddOrganization(const CVCardLine& line)
{
    if (line.name != "ORG") {
        return false;
    }
    const std::vector<std::string> parts = SplitValue(line.value, ';');
    ordered_json& entry = NewEntry("organizations");
    entry["name"] = UnescapeValue(parts.front());
    for (std::size_t i = 1; i < parts.size(); ++i) {
        entry["units"].push_back({{"name", UnescapeValue(parts[i])}});
    }
    AddParameters(line, &entry);
    return true;
}

bool CJSContactWriter::AddAddress(const CVCardLine& line)
{
    if (line.name != "ADR") {
        return false;
    }
    ordered_json& entry = NewEntry("addresses");
    entry["components"] = ComponentsOf(kAddressKinds, line.value);
    AddParameters(line, &entry);
    return true;
}

// 19850412 and --0412. What says more or less than that has no place.
bool CJSContactWriter::AddAnniversary(const CVCardLine& line)
{
    const auto found = std::ranges::find(kAnniversaries, line.name, &CNamePair::vCard);
    const bool hasYear = line.value.size() == 8 && line.value.find('T') == std::string::npos;
    const bool isDate = hasYear || (line.value.size() == 6 && line.value.starts_with("--"));
    if (found == kAnniversaries.end() || !isDate || !IsDate(line.value) ||
        !line.parameters.empty() || !line.group.empty()) {
        return false;
    }
    ordered_json date = {{"@type", "PartialDate"}};
    const auto number = [&line](std::size_t from, std::size_t size) {
        return std::stoi(line.value.substr(from, size));
    };
    if (hasYear) {
        date["year"] = number(0, 4);
    }
    date["month"] = number(line.value.size() - 4, 2);
    date["day"] = number(line.value.size() - 2, 2);
    NewEntry("anniversaries") = {{"kind", found->jsContact}, {"date", std::move(date)}};
    return true;
}

bool CJSContactWriter::AddRelated(const CVCardLine& line)
{
    if (line.name == "MEMBER" && line.parameters.empty() && line.group.empty()) {
        m_card["members"][line.value] = true;
        return true;
    }
    const bool isBare =
        line.group.empty() && std::ranges::all_of(line.parameters, [](const auto& each) {
            return each.first == "VALUE" || each.first == "TYPE";
        });
    if (line.name != "RELATED" || !isBare) {
        return false;
    }
    const bool isText = EqualIgnoringCase(line.Parameter("VALUE"), "text");
    ordered_json& related = m_card["relatedTo"][isText ? UnescapeValue(line.value) : line.value];
    related["relation"] = ordered_json::object();
    for (const auto& [name, value] : line.parameters) {
        if (name == "TYPE") {
            related["relation"][LowerText(value)] = true;
        }
    }
    return true;
}

bool CJSContactWriter::AddEntry(const CVCardLine& line)
{
    const auto row = std::ranges::find(kCollections, line.name, &CCollectionRow::name);
    if (row == kCollections.end()) {
        return false;
    }
    ordered_json& entry = NewEntry(row->collection);
    entry[std::string(row->value)] = row->isUri ? line.value : UnescapeValue(line.value);
    if (!row->kind.empty()) {
        entry["kind"] = row->kind;
    }
    if (line.name == "IMPP") {
        entry["vCardName"] = "impp";
    }
    AddParameters(line, &entry);
    return true;
}

// Ids count from 1 in each collection.
ordered_json& CJSContactWriter::NewEntry(std::string_view collection)
{
    ordered_json& entries = m_card[std::string(collection)];
    return entries[std::to_string(entries.size() + 1)] = ordered_json::object();
}

void CJSContactWriter::AddParameters(const CVCardLine& line, ordered_json* entry)
{
    ordered_json rest = ordered_json::object();
    for (const auto& [name, value] : line.parameters) {
        int preference = 0;
        if (name == "TYPE" &&
            (AddFlag(kContexts, "contexts", value, entry) ||
             (line.name == "TEL" && AddFlag(kFeatures, "features", value, entry)))) {
            continue;
        }
        if (name == "PREF" &&
            std::from_chars(value.data(), value.data() + value.size(), preference).ec ==
                std::errc()) {
            (*entry)["pref"] = preference;
        } else if (name == "MEDIATYPE") {
            (*entry)["mediaType"] = value;
        } else if (name == "LABEL" && line.name == "ADR") {
            (*entry)["full"] = value;
        } else if (name != "VALUE") {
            AddTo(&rest, LowerText(name), value);
        }
    }
    if (!line.group.empty()) {
        rest["group"] = line.group;
        const auto label = m_labels.find(line.group);
        if (label != m_labels.end()) {
            (*entry)["label"] = label->second;
        }
    }
    if (!rest.empty()) {
        (*entry)["vCardParams"] = std::move(rest);
    }
}

} // namespace

std::string WriteJSContact(const CVCard& card, std::vector<std::string>* notes)
{
    CJSContactWriter writer(ToVersion4(card, notes));
    return writer.Take().dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}
