#include "cards/VCard4.h"

#include "base/Text.h"
#include "cards/LineParts.h"
#include "cards/VCardBinary.h"
#include "cards/VCardDate.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

namespace
{

constexpr std::string_view kOmittedYear = "1604"; // as phones write a date without a year

constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kRenamed = {
    {{"X-ANNIVERSARY", "ANNIVERSARY"},
     {"X-ADDRESSBOOKSERVER-KIND", "KIND"},
     {"X-ADDRESSBOOKSERVER-MEMBER", "MEMBER"},
     {"CLASS", "X-CLASS"},
     {"MAILER", "X-MAILER"},
     {"NAME", "X-NAME"}}};

std::set<std::string> TypesOf(const CVCardLine& line)
{
    std::set<std::string> types;
    for (const auto& [name, value] : line.parameters) {
        if (name == "TYPE" && !EqualIgnoringCase(value, "pref")) {
            types.insert(LowerText(value));
        }
    }
    return types;
}

void TypesTo4(CVCardLine* line)
{
    auto old = std::exchange(line->parameters, {});
    bool isPreferred = false;
    for (auto& [name, value] : old) {
        if (name == "CHARSET" ||
            (name == "VALUE" &&
             IsOneOf(value, {"date", "date-time", "phone-number", "binary", "vcard"}))) {
            continue;
        }
        if (name != "TYPE") {
            line->parameters.emplace_back(name, value);
            continue;
        }
        for (const std::string& type : SplitValue(value, ',')) {
            if (EqualIgnoringCase(type, "pref")) {
                isPreferred = true;
            } else if (line->name != "EMAIL" || !EqualIgnoringCase(type, "internet")) {
                line->parameters.emplace_back("TYPE", LowerText(type));
            }
        }
    }
    if (isPreferred) {
        SetParameter("PREF", "1", line);
    }
}

void DateTo4(CVCardLine* line)
{
    line->value = ToBasicDate(line->value);
    const std::string_view year = line->Parameter("X-APPLE-OMIT-YEAR");
    if (!year.empty() && line->value.starts_with(year)) {
        line->value.replace(0, year.size(), "--");
        DropParameter("X-APPLE-OMIT-YEAR", line);
    }
    if (!IsDate(line->value)) {
        SetParameter("VALUE", "text", line);
    }
}

void DateTo3(CVCardLine* line)
{
    line->value = ToExtendedDate(line->value);
    if (line->name == "BDAY" && line->value.size() == 7 && line->value.starts_with("--")) {
        SetParameter("X-APPLE-OMIT-YEAR", kOmittedYear, line);
        line->value.replace(0, 1, kOmittedYear);
    }
    if (line->name != "REV" && IsOneOf(line->Parameter("VALUE"), {"date-and-or-time"})) {
        DropParameter("VALUE", line);
    }
}

void Rename(CVCardLine* line, bool isTo4)
{
    for (const auto& [old, fresh] : kRenamed) {
        if (line->name == (isTo4 ? old : fresh)) {
            line->name = isTo4 ? fresh : old;
            return;
        }
    }
}

void SpecialTo4(CVCardLine* line)
{
    if (line->name == "GEO" && line->value.find(';') != std::string::npos) {
        line->value.replace(line->value.find(';'), 1, ",");
        line->value.insert(0, "geo:");
    } else if (line->name == "TZ" && IsOffset(line->value)) {
        line->value = ToBasicOffset(line->value);
        SetParameter("VALUE", "utc-offset", line);
    } else if (line->name == "AGENT") {
        line->name = "RELATED";
        SetParameter("TYPE", "agent", line);
        if (!EqualIgnoringCase(line->Parameter("VALUE"), "uri")) {
            SetParameter("VALUE", "text", line);
        }
    } else if (line->name == "UID" && !IsUri(line->value)) {
        SetParameter("VALUE", "text", line);
    } else if (IsBinary(*line)) {
        BinaryTo4(line);
    } else if (IsOneOf(line->name,
                       {"URL", "IMPP", "SOURCE", "FBURL", "CALURI", "CALADRURI", "MEMBER"})) {
        line->value = UnescapeValue(line->value); // a URI is no text in 4.0
    } else if (IsOneOf(line->name, {"BDAY", "ANNIVERSARY", "DEATHDATE", "REV"})) {
        DateTo4(line);
    }
}

void SpecialTo3(CVCardLine* line)
{
    const std::string value = LowerText(line->Parameter("VALUE"));
    if (line->name == "GEO" && line->value.starts_with("geo:")) {
        line->value.erase(0, 4);
        const std::size_t comma = line->value.find(',');
        const std::size_t escaped = line->value.find("\\,");
        if (comma != std::string::npos) {
            line->value.replace(escaped == std::string::npos ? comma : escaped,
                                escaped == std::string::npos ? 1 : 2, ";");
        }
    } else if (line->name == "TZ" && IsOffset(line->value)) {
        line->value = ToExtendedOffset(line->value);
        DropParameter("VALUE", line);
    } else if (line->name == "RELATED" && line->HasType("agent")) {
        line->name = "AGENT";
        DropParameter("TYPE", line);
        if (value == "text") {
            DropParameter("VALUE", line);
        } else {
            SetParameter("VALUE", "uri", line);
        }
    } else if (line->name == "TEL" && LowerText(line->value.substr(0, 4)) == "tel:") {
        line->value.erase(0, 4);
        DropParameter("VALUE", line);
    } else if (IsBinary(*line)) {
        BinaryTo3(line);
    } else if (IsOneOf(line->name, {"BDAY", "ANNIVERSARY", "X-ANNIVERSARY", "DEATHDATE", "REV"})) {
        DateTo3(line);
    }
    if (line->name != "AGENT" && (value == "text" || (value == "uri" && line->name == "UID"))) {
        DropParameter("VALUE", line);
    }
}

void TypesTo3(CVCardLine* line, std::vector<std::string>* notes)
{
    const std::string preference(line->Parameter("PREF"));
    if (preference == "1") {
        line->parameters.emplace_back("TYPE", "pref");
    } else if (!preference.empty()) {
        notes->push_back(line->name + " with PREF=" + preference);
    }
    DropParameter("PREF", line);
}

// The labels of addresses stand in lines of their own in 3.0.
void LabelsTo4(CVCard* card)
{
    std::set<const CVCardLine*> labelled;
    for (CVCardLine& label : *card) {
        if (label.name != "LABEL") {
            continue;
        }
        const auto address = std::ranges::find_if(*card, [&](const CVCardLine& line) {
            return line.name == "ADR" && !labelled.contains(&line) && line.group == label.group &&
                   TypesOf(line) == TypesOf(label);
        });
        if (address == card->end()) {
            label.name = "X-LABEL";
            continue;
        }
        labelled.insert(&*address);
        SetParameter("LABEL", UnescapeValue(label.value), &*address);
        label.name.clear();
    }
    std::erase_if(*card, [](const CVCardLine& line) { return line.name.empty(); });
}

void LabelTo3(CVCardLine* line, CVCard* card)
{
    const std::string label(line->Parameter("LABEL"));
    if (line->name == "X-LABEL") {
        line->name = "LABEL";
    } else if (line->name == "ADR" && !label.empty()) {
        DropParameter("LABEL", line);
        CVCardLine added{line->group, "LABEL", {}, EscapeValue(label)};
        std::ranges::copy_if(line->parameters, std::back_inserter(added.parameters),
                             [](const auto& parameter) { return parameter.first == "TYPE"; });
        card->push_back(std::move(added));
    }
}

// The text to sort by, a line of its own in 3.0.
void SortStringTo4(CVCard* card)
{
    const CVCardLine* const sort = FindLine(*card, "SORT-STRING");
    const auto name = std::ranges::find(*card, "N", &CVCardLine::name);
    if (sort != nullptr && name != card->end()) {
        SetParameter("SORT-AS", UnescapeValue(sort->value), &*name);
        std::erase_if(*card, [](const CVCardLine& line) { return line.name == "SORT-STRING"; });
    }
}

void SortStringTo3(CVCardLine* line, CVCard* card)
{
    const std::string sort(line->Parameter("SORT-AS"));
    if (line->name == "N" && !sort.empty()) {
        DropParameter("SORT-AS", line);
        card->push_back({{}, "SORT-STRING", {}, EscapeValue(sort)});
    }
}

// The components of N in the order in which they are spoken.
std::string NameOf(const CVCardLine& line)
{
    std::vector<std::string> parts = SplitValue(line.value, ';');
    parts.resize(5);
    std::string name;
    for (const std::size_t index : {3U, 1U, 2U, 0U, 4U}) {
        if (!parts[index].empty()) {
            name.append(name.empty() ? "" : " ").append(parts[index]);
        }
    }
    return name;
}

} // namespace

void AddName(CVCard* card)
{
    const auto name = std::ranges::find(*card, "FN", &CVCardLine::name);
    if (name != card->end() && !name->value.empty()) {
        return;
    }
    std::string found;
    for (const std::string_view source : {"N", "ORG", "NICKNAME", "EMAIL", "TEL"}) {
        const CVCardLine* const line = FindLine(*card, source);
        if (line != nullptr && found.empty()) {
            found = source == "N"     ? NameOf(*line)
                    : source == "ORG" ? SplitValue(line->value, ';').front()
                                      : line->value;
        }
    }
    found = found.empty() ? "Unnamed" : found;
    if (name == card->end()) {
        card->insert(card->begin(), {{}, "FN", {}, found});
    } else {
        name->value = found;
    }
}

CVCard ToVersion4(const CVCard& card, std::vector<std::string>* notes)
{
    CVCard converted;
    for (CVCardLine line : card) {
        const bool isEmptyEntry =
            line.value.empty() && IsOneOf(line.name, {"EMAIL", "TEL", "IMPP", "URL"});
        if (line.name == "PROFILE" || line.name == "KIND" || isEmptyEntry) {
            continue;
        }
        if (EqualIgnoringCase(line.Parameter("ENCODING"), "quoted-printable")) {
            notes->push_back(line.name + " in quoted-printable");
            continue;
        }
        Rename(&line, true);
        SpecialTo4(&line);
        TypesTo4(&line);
        converted.push_back(std::move(line));
    }
    LabelsTo4(&converted);
    SortStringTo4(&converted);
    AddName(&converted);
    if (FindLine(converted, "KIND") == nullptr) {
        const CVCardLine* const old = FindLine(card, "KIND");
        const CVCardLine* const shown = FindLine(card, "X-ABSHOWAS");
        const bool isCompany = shown != nullptr && EqualIgnoringCase(shown->value, "company");
        converted.insert(converted.begin(), {{},
                                             "KIND",
                                             {},
                                             old != nullptr ? old->value
                                             : isCompany    ? "org"
                                                            : "individual"});
    }
    return converted;
}

CVCard ToVersion3(const CVCard& card, std::vector<std::string>* notes)
{
    CVCard converted;
    for (CVCardLine line : card) {
        const bool isDefaultKind = line.name == "KIND" && !EqualIgnoringCase(line.value, "group");
        if (isDefaultKind && IsOneOf(line.value, {"individual", "org"})) {
            if (EqualIgnoringCase(line.value, "org") && FindLine(card, "X-ABSHOWAS") == nullptr) {
                converted.push_back({{}, "X-ABSHOWAS", {}, "COMPANY"});
            }
            continue;
        }
        if (!isDefaultKind) {
            Rename(&line, false);
        }
        SpecialTo3(&line);
        TypesTo3(&line, notes);
        LabelTo3(&line, &converted);
        SortStringTo3(&line, &converted);
        converted.push_back(std::move(line));
    }
    return converted;
}
