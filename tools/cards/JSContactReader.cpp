#include "base/Text.h"
#include "cards/JCard.h"
#include "cards/JSContact.h"
#include "cards/JSContactTables.h"
#include "cards/JsonLimits.h"
#include "cards/LineParts.h"
#include "cards/VCard4.h"
#include "cards/VCardDate.h"

#include <nlohmann/json.hpp>

#include <map>
#include <tuple>
#include <utility>

using nlohmann::ordered_json;

namespace
{

// Reads one Card as lines of vCard 4.0.
class CJSContactReader
{
public:
    CJSContactReader(const ordered_json& card, std::vector<std::string>* notes);

    CVCard Take() { return std::move(m_card); }

private:
    void Read(const std::string& key, const ordered_json& value);
    bool ReadScalar(const std::string& key, const ordered_json& value);
    bool ReadMap(const std::string& key, const ordered_json& value);
    void ReadName(const ordered_json& value);
    bool ReadEntries(const std::string& key, const ordered_json& entries);
    bool ReadEntry(const std::string& key, const ordered_json& entry);
    void AddNickname(const ordered_json& entry);
    bool ReadOrganization(const ordered_json& entry);
    bool ReadAddress(const ordered_json& entry);
    bool ReadAnniversary(const ordered_json& entry);
    bool ReadRow(const std::string& key, const ordered_json& entry);
    void Add(CVCardLine line, const ordered_json& entry);
    void AddParameters(const ordered_json& entry, CVCardLine* line);
    void AddLabel(const ordered_json& entry, CVCardLine* line);

    CVCard m_card;
    std::vector<std::string>* m_notes;
    int m_labels = 0;
};

std::string JsonTextOf(const ordered_json& value)
{
    return value.is_string() ? value.get<std::string>()
           : value.is_null() ? std::string()
                             : value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string Member(const ordered_json& object, std::string_view name)
{
    const auto found = object.find(name);
    return found == object.end() ? std::string() : JsonTextOf(*found);
}

std::string Padded(unsigned number, std::size_t width)
{
    std::string text = std::to_string(number);
    return text.insert(0, text.size() < width ? width - text.size() : 0, '0');
}

// The structured value of components. Several of one kind are a list; one of a kind that vCard does
// not have goes with a blank beside what it belongs to.
template <class Kinds>
std::string ValueOf(const Kinds& kinds, const ordered_json& components)
{
    std::array<std::string, std::tuple_size_v<Kinds>> parts;
    std::array<bool, std::tuple_size_v<Kinds>> isJoined = {};
    for (const ordered_json& component : components) {
        std::string kind = component.is_object() ? Member(component, "kind") : std::string();
        const auto other = std::ranges::find(kOtherKinds, kind, &CNamePair::jsContact);
        const bool isOther = other != kOtherKinds.end();
        const auto place =
            std::ranges::find(kinds, isOther ? other->vCard : std::string_view(kind));
        if (place != kinds.end()) {
            const auto index = static_cast<std::size_t>(place - kinds.begin());
            const char* const between = isOther || isJoined[index] ? " " : ",";
            isJoined[index] = isOther;
            parts[index]
                .append(parts[index].empty() ? "" : between)
                .append(EscapeValue(Member(component, "value")));
        }
    }
    std::string value;
    for (const std::string& part : parts) {
        value.append(&part == &parts.front() ? "" : ";").append(part);
    }
    return value;
}

CJSContactReader::CJSContactReader(const ordered_json& card, std::vector<std::string>* notes)
    : m_notes(notes)
{
    for (const auto& [key, value] : card.items()) {
        Read(key, value);
    }
    // What 3.0 wants in each card.
    if (FindLine(m_card, "N") == nullptr) {
        m_card.insert(m_card.begin(), {{}, "N", {}, ";;;;"});
    }
}

void CJSContactReader::Read(const std::string& key, const ordered_json& value)
{
    if (key == "@type" || key == "version" || ReadScalar(key, value) || ReadMap(key, value)) {
        return;
    }
    if (key == "name" && value.is_object()) {
        ReadName(value);
    } else if (key == "vCardProps" && value.is_array()) {
        for (const ordered_json& property : value) {
            CVCardLine line;
            if (ReadJCardProperty(JsonTextOf(property), &line)) {
                m_card.push_back(std::move(line));
            } else {
                m_notes->push_back("a property of vCardProps");
            }
        }
    } else if (!value.is_object() || !ReadEntries(key, value)) {
        m_notes->push_back(key);
    }
}

bool CJSContactReader::ReadScalar(const std::string& key, const ordered_json& value)
{
    static constexpr std::array<CNamePair, 4> kScalars = {
        {{"UID", "uid"}, {"KIND", "kind"}, {"PRODID", "prodId"}, {"REV", "updated"}}};
    const auto found = std::ranges::find(kScalars, key, &CNamePair::jsContact);
    if (found == kScalars.end()) {
        return false;
    }
    const std::string text = JsonTextOf(value);
    m_card.push_back({{},
                      std::string(found->vCard),
                      {},
                      key == "updated" ? ToBasicDate(text) : EscapeValue(text)});
    return true;
}

// Properties whose keys are the values.
bool CJSContactReader::ReadMap(const std::string& key, const ordered_json& value)
{
    if ((key != "keywords" && key != "members" && key != "relatedTo") || !value.is_object()) {
        return false;
    }
    std::string keywords;
    for (const auto& [name, entry] : value.items()) {
        if (key == "keywords") {
            keywords.append(keywords.empty() ? "" : ",").append(EscapeValue(name));
            continue;
        }
        CVCardLine line{{}, key == "members" ? "MEMBER" : "RELATED", {}, name};
        if (entry.is_object() && entry.contains("relation")) {
            for (const auto& [relation, isSet] : entry["relation"].items()) {
                line.parameters.emplace_back("TYPE", relation);
            }
        }
        const bool isUri = IsUri(name) && name.find_first_of(" \n") == std::string::npos;
        if (key == "relatedTo" && !isUri) {
            line.parameters.emplace_back("VALUE", "text");
            line.value = EscapeValue(name);
        }
        m_card.push_back(std::move(line));
    }
    if (!keywords.empty()) {
        m_card.push_back({{}, "CATEGORIES", {}, keywords});
    }
    return true;
}

void CJSContactReader::ReadName(const ordered_json& value)
{
    CVCardLine name{{}, "N", {}, ""};
    if (value.contains("components") && value["components"].is_array()) {
        name.value = ValueOf(kNameKinds, value["components"]);
        const auto sort = value.find("sortAs");
        if (sort != value.end() && sort->is_object() && sort->contains("surname")) {
            name.parameters.emplace_back("SORT-AS", Member(*sort, "surname"));
        }
        m_card.push_back(name);
    }
    if (value.contains("full")) {
        CVCardLine full{{}, "FN", {}, EscapeValue(Member(value, "full"))};
        AddParameters(value, &full);
        m_card.push_back(std::move(full));
    }
}

bool CJSContactReader::ReadEntries(const std::string& key, const ordered_json& entries)
{
    bool isKnown = false;
    for (const auto& [id, entry] : entries.items()) {
        isKnown = entry.is_object() && ReadEntry(key, entry);
        if (!isKnown) {
            m_notes->push_back(key + '/' + id);
        }
    }
    return true;
}

bool CJSContactReader::ReadEntry(const std::string& key, const ordered_json& entry)
{
    if (key == "nicknames") {
        AddNickname(entry);
        return true;
    }
    return key == "organizations"   ? ReadOrganization(entry)
           : key == "addresses"     ? ReadAddress(entry)
           : key == "anniversaries" ? ReadAnniversary(entry)
                                    : ReadRow(key, entry);
}

// Those that have nothing but a name are one list.
void CJSContactReader::AddNickname(const ordered_json& entry)
{
    const std::string name = EscapeValue(Member(entry, "name"));
    const bool isBare = entry.size() == 1;
    if (isBare && !m_card.empty() && m_card.back().name == "NICKNAME" &&
        m_card.back().group.empty() && m_card.back().parameters.empty()) {
        m_card.back().value.append(1, ',').append(name);
        return;
    }
    Add({{}, "NICKNAME", {}, name}, entry);
}

bool CJSContactReader::ReadOrganization(const ordered_json& entry)
{
    std::string value = EscapeValue(Member(entry, "name"));
    const auto units = entry.find("units");
    if (units != entry.end() && units->is_array()) {
        for (const ordered_json& unit : *units) {
            value.append(1, ';').append(unit.is_object() ? EscapeValue(Member(unit, "name")) : "");
        }
    }
    Add({{}, "ORG", {}, value}, entry);
    return true;
}

bool CJSContactReader::ReadAddress(const ordered_json& entry)
{
    CVCardLine line{{}, "ADR", {}, ";;;;;;"};
    const auto components = entry.find("components");
    if (components != entry.end() && components->is_array()) {
        line.value = ValueOf(kAddressKinds, *components);
    }
    if (entry.contains("full")) {
        line.parameters.emplace_back("LABEL", Member(entry, "full"));
    }
    Add(std::move(line), entry);
    return true;
}

bool CJSContactReader::ReadAnniversary(const ordered_json& entry)
{
    const auto row =
        std::ranges::find(kAnniversaries, Member(entry, "kind"), &CNamePair::jsContact);
    const auto date = entry.find("date");
    if (row == kAnniversaries.end() || date == entry.end() || !date->is_object()) {
        return false;
    }
    std::string value = ToBasicDate(Member(*date, "utc"));
    if (value.empty()) {
        const auto number = [&date](const char* name) {
            const auto found = date->find(name);
            return found != date->end() && found->is_number_unsigned() ? found->get<unsigned>() : 0;
        };
        value = (number("year") == 0 ? "--" : Padded(number("year"), 4)) +
                Padded(number("month"), 2) + Padded(number("day"), 2);
    }
    if (!IsDate(value)) {
        return false;
    }
    Add({{}, std::string(row->vCard), {}, value}, entry);
    return true;
}

// The row with the entry's kind, else the one for all other kinds.
bool CJSContactReader::ReadRow(const std::string& key, const ordered_json& entry)
{
    const std::string kind = Member(entry, "kind");
    const auto fits = [&key, &entry](const CCollectionRow& row) {
        return row.collection == key && entry.contains(row.value);
    };
    const auto* row = std::ranges::find_if(
        kCollections, [&](const CCollectionRow& each) { return fits(each) && each.kind == kind; });
    if (row == kCollections.end()) {
        row = std::ranges::find_if(kCollections, [&](const CCollectionRow& each) {
            return fits(each) && (each.kind.empty() || kind.empty());
        });
    }
    if (row == kCollections.end()) {
        return false;
    }
    const std::string value = Member(entry, row->value);
    CVCardLine line{{}, std::string(row->name), {}, row->isUri ? value : EscapeValue(value)};
    if (line.name == "TEL" && value.starts_with("tel:")) {
        line.parameters.emplace_back("VALUE", "uri");
    }
    Add(std::move(line), entry);
    return true;
}

void CJSContactReader::Add(CVCardLine line, const ordered_json& entry)
{
    AddParameters(entry, &line);
    AddLabel(entry, &line);
    m_card.push_back(std::move(line));
}

template <class Table>
void AddFlags(const Table& table, std::string_view member, const ordered_json& entry,
              CVCardLine* line)
{
    const auto flags = entry.find(member);
    if (flags == entry.end() || !flags->is_object()) {
        return;
    }
    for (const auto& [flag, isSet] : flags->items()) {
        const auto found = std::ranges::find(table, flag, &CNamePair::jsContact);
        if (found != table.end() && isSet == true) {
            line->parameters.emplace_back("TYPE", found->vCard);
        }
    }
}

void CJSContactReader::AddParameters(const ordered_json& entry, CVCardLine* line)
{
    AddFlags(kContexts, "contexts", entry, line);
    AddFlags(kFeatures, "features", entry, line);
    if (entry.contains("pref")) {
        line->parameters.emplace_back("PREF", Member(entry, "pref"));
    }
    if (entry.contains("mediaType")) {
        line->parameters.emplace_back("MEDIATYPE", Member(entry, "mediaType"));
    }
    const auto rest = entry.find("vCardParams");
    if (rest == entry.end() || !rest->is_object()) {
        return;
    }
    for (const auto& [key, value] : rest->items()) {
        if (key == "group") {
            line->group = JsonTextOf(value);
        } else {
            for (const ordered_json& each :
                 value.is_array() ? value : ordered_json::array({value})) {
                line->parameters.emplace_back(UpperText(key), JsonTextOf(each));
            }
        }
    }
}

// A label is a line of its own in the same group, as phones write it. One that came with a group is
// there already.
void CJSContactReader::AddLabel(const ordered_json& entry, CVCardLine* line)
{
    if (!entry.contains("label") || !line->group.empty()) {
        return;
    }
    line->group = "label" + std::to_string(++m_labels);
    m_card.push_back({line->group, "X-ABLABEL", {}, EscapeValue(Member(entry, "label"))});
}

} // namespace

bool ReadJSContact(std::string_view text, CVCard* card, std::vector<std::string>* notes,
                   std::string* fault)
{
    if (!IsWithinJsonLimits(text)) {
        *fault = kBeyondJsonLimits;
        return false;
    }
    const ordered_json value = ordered_json::parse(text, nullptr, false);
    if (!value.is_object() || Member(value, "@type") != "Card") {
        *fault = value.is_discarded() ? "no JSON" : "no JSContact Card";
        return false;
    }
    CJSContactReader reader(value, notes);
    CVCard lines = reader.Take();
    AddName(&lines);
    *card = ToVersion3(lines, notes);
    return true;
}
