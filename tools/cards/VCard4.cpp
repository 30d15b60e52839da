#include "cards/VCard4.h"

#include "base/Text.h"
#include "cards/CardUri.h"
#include "cards/LineParts.h"
#include "cards/VCardBinary.h"
#include "cards/VCardDate.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <set>
#include <span>
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
    if (line->name == "GEO") {
        PositionTo3(&line->value);
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
    } else if (line->name == "TEL" && IsUri(line->value)) {
        TelephoneTo3(&line->value);
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

// PREF=1 is the most preferred line of its name, PREF=100 the least; 0 for none.
int Preference(const CVCardLine& line)
{
    const std::string_view text = line.Parameter("PREF");
    int preference = 0;
    std::from_chars(text.data(), text.data() + text.size(), preference);
    return preference;
}

// 3.0 knows which line is preferred, and no order of the others.
void PreferencesTo3(CVCard* card, std::vector<std::string>* notes)
{
    std::map<std::string_view, int> best; // by the names of lines
    for (const CVCardLine& line : *card) {
        const int preference = Preference(line);
        if (preference > 0) {
            int& least = best.try_emplace(line.name, preference).first->second;
            least = std::min(least, preference);
        }
    }
    for (CVCardLine& line : *card) {
        const std::string text(line.Parameter("PREF"));
        const auto found = best.find(line.name);
        DropParameter("PREF", &line);
        if (found != best.end() && text == std::to_string(found->second)) {
            line.parameters.emplace_back("TYPE", "pref");
            found->second = 0; // one alone
        } else if (!text.empty()) {
            notes->push_back("PREF=" + text + " of " + line.name);
        }
    }
}

// The labels of addresses stand in lines of their own in 3.0.
void LabelsTo4(CVCard* card)
{
    const auto keyOf = [](const CVCardLine& line) { return std::pair(line.group, TypesOf(line)); };
    std::multimap<std::pair<std::string, std::set<std::string>>, CVCardLine*> addresses;
    for (CVCardLine& line : *card) {
        if (line.name == "ADR") {
            addresses.emplace(keyOf(line), &line);
        }
    }
    for (CVCardLine& label : *card) {
        if (label.name != "LABEL") {
            continue;
        }
        const auto [first, last] = addresses.equal_range(keyOf(label));
        if (first == last) {
            label.name = "X-LABEL";
            continue;
        }
        SetParameter("LABEL", UnescapeValue(label.value), first->second);
        addresses.erase(first);
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
        CVCardLine added{line->group, "LABEL", {}, EscapeValue(LooseText(label))};
        std::ranges::copy_if(line->parameters, std::back_inserter(added.parameters),
                             [](const auto& parameter) { return parameter.first == "TYPE"; });
        card->push_back(std::move(added));
    }
}

// The text to sort by, a line of its own in 3.0. A second one stays such a line.
void SortStringTo4(CVCard* card)
{
    const auto sort = std::ranges::find(*card, "SORT-STRING", &CVCardLine::name);
    const auto name = std::ranges::find(*card, "N", &CVCardLine::name);
    if (sort != card->end() && name != card->end()) {
        SetParameter("SORT-AS", UnescapeValue(sort->value), &*name);
        card->erase(sort);
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

// The parts of a value that are not empty, in an order, with blanks between.
std::string JoinParts(std::string_view value, std::span<const std::size_t> order)
{
    const std::vector<std::string> parts = SplitValue(value, ';');
    std::string text;
    for (const std::size_t part : order) {
        if (part < parts.size() && !parts[part].empty()) {
            text.append(text.empty() ? "" : " ").append(parts[part]);
        }
    }
    return text;
}

} // namespace

std::string MakeFullName(const CVCard& card)
{
    static constexpr std::array<std::size_t, 5> kSpoken = {3, 1, 2, 0, 4}; // the parts of N
    static constexpr std::array<std::size_t, 1> kFirst = {0};
    static constexpr std::pair<std::string_view, std::span<const std::size_t>> kSources[] = {
        {"N", kSpoken}, {"NICKNAME", kFirst}, {"ORG", kFirst}, {"EMAIL", kFirst}, {"TEL", kFirst}};
    for (const auto& [name, order] : kSources) {
        const CVCardLine* const line = FindLine(card, name);
        std::string text = line == nullptr ? std::string() : JoinParts(line->value, order);
        if (!text.empty()) {
            return text;
        }
    }
    return {};
}

void AddName(CVCard* card)
{
    const auto name = std::ranges::find(*card, "FN", &CVCardLine::name);
    if (name != card->end() && !name->value.empty()) {
        return;
    }
    std::string made = MakeFullName(*card);
    made = made.empty() ? "Unnamed" : made;
    if (name == card->end()) {
        card->insert(card->begin(), {{}, "FN", {}, made});
    } else {
        name->value = made;
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
        LabelTo3(&line, &converted);
        SortStringTo3(&line, &converted);
        converted.push_back(std::move(line));
    }
    PreferencesTo3(&converted, notes);
    return converted;
}
