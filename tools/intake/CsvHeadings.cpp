#include "intake/CsvHeadings.h"

#include "base/Text.h"

#include <algorithm>
#include <map>
#include <utility>

namespace
{

constexpr std::string_view kNowhere = "-";
constexpr std::string_view kBetweenValues = " ::: ";

// Where the columns of one contact go. "-" is for those that say nothing about the person.
constexpr std::pair<std::string_view, std::string_view> kColumns[] = {
    // All three.
    {"first name", "N.1"},
    {"middle name", "N.2"},
    {"last name", "N.0"},
    {"nickname", "NICKNAME"},
    {"notes", "NOTE"},
    {"job title", "TITLE"},
    {"department", "ORG.1"},
    {"birthday", "BDAY"},
    // Google.
    {"name", "FN"},
    {"given name", "N.1"},
    {"additional name", "N.2"},
    {"family name", "N.0"},
    {"name prefix", "N.3"},
    {"name suffix", "N.4"},
    {"file as", "X-FILE-AS"},
    {"organization name", "ORG.0"},
    {"organization title", "TITLE"},
    {"organization department", "ORG.1"},
    {"phonetic first name", "X-PHONETIC-FIRST-NAME"},
    {"phonetic middle name", "X-PHONETIC-MIDDLE-NAME"},
    {"phonetic last name", "X-PHONETIC-LAST-NAME"},
    {"given name yomi", "X-PHONETIC-FIRST-NAME"},
    {"additional name yomi", "X-PHONETIC-MIDDLE-NAME"},
    {"family name yomi", "X-PHONETIC-LAST-NAME"},
    {"photo", "URI:PHOTO"},
    {"labels", "LIST:CATEGORIES"},
    {"group membership", "LIST:CATEGORIES"},
    // Outlook.
    {"title", "N.3"},
    {"suffix", "N.4"},
    {"given yomi", "X-PHONETIC-FIRST-NAME"},
    {"surname yomi", "X-PHONETIC-LAST-NAME"},
    {"e-mail address", "EMAIL;internet"},
    {"e-mail 2 address", "EMAIL;internet"},
    {"e-mail 3 address", "EMAIL;internet"},
    {"primary phone", "TEL;pref,voice"},
    {"home phone", "TEL;home,voice"},
    {"home phone 2", "TEL;home,voice"},
    {"mobile phone", "TEL;cell"},
    {"business phone", "TEL;work,voice"},
    {"business phone 2", "TEL;work,voice"},
    {"company main phone", "TEL;work,voice"},
    {"car phone", "TEL;car"},
    {"other phone", "TEL;voice"},
    {"pager", "TEL;pager"},
    {"business fax", "TEL;work,fax"},
    {"home fax", "TEL;home,fax"},
    {"other fax", "TEL;fax"},
    {"isdn", "TEL;isdn"},
    {"callback", "TEL;x-callback"},
    {"radio phone", "TEL;x-radio"},
    {"telex", "TEL;x-telex"},
    {"tty/tdd phone", "TEL;x-tdd"},
    {"imaddress", "IMPP"},
    {"company", "ORG.0"},
    {"manager's name", "AGENT"},
    {"web page", "URL"},
    {"personal web page", "URL"},
    {"categories", "LIST:CATEGORIES"},
    {"anniversary", "X-ANNIVERSARY"},
    {"business address", kNowhere},
    {"home address", "ADR;home.2"},
    {"business street", "ADR;work.2"},
    {"business street 2", "ADR;work.2"},
    {"business street 3", "ADR;work.2"},
    {"business city", "ADR;work.3"},
    {"business state", "ADR;work.4"},
    {"business postal code", "ADR;work.5"},
    {"business country", "ADR;work.6"},
    {"business country/region", "ADR;work.6"},
    {"business address po box", "ADR;work.0"},
    {"home street", "ADR;home.2"},
    {"home street 2", "ADR;home.2"},
    {"home street 3", "ADR;home.2"},
    {"home city", "ADR;home.3"},
    {"home state", "ADR;home.4"},
    {"home postal code", "ADR;home.5"},
    {"home country", "ADR;home.6"},
    {"home country/region", "ADR;home.6"},
    {"home address po box", "ADR;home.0"},
    {"other street", "ADR;.2"},
    {"other street 2", "ADR;.2"},
    {"other street 3", "ADR;.2"},
    {"other city", "ADR;.3"},
    {"other state", "ADR;.4"},
    {"other postal code", "ADR;.5"},
    {"other country", "ADR;.6"},
    {"other country/region", "ADR;.6"},
    {"other address po box", "ADR;.0"},
    {"priority", kNowhere},
    {"private", kNowhere},
    {"sensitivity", kNowhere},
    {"initials", kNowhere},
    {"e-mail type", kNowhere},
    {"e-mail 2 type", kNowhere},
    {"e-mail 3 type", kNowhere},
    {"e-mail display name", kNowhere},
    {"e-mail 2 display name", kNowhere},
    {"e-mail 3 display name", kNowhere},
    // Thunderbird.
    {"display name", "FN"},
    {"primary email", "EMAIL;internet"},
    {"secondary email", "EMAIL;internet"},
    {"screen name", "X-AIM"},
    {"work phone", "TEL;work,voice"},
    {"fax number", "TEL;work,fax"},
    {"pager number", "TEL;pager"},
    {"mobile number", "TEL;cell"},
    {"home address 2", "ADR;home.1"},
    {"home zipcode", "ADR;home.5"},
    {"work address", "ADR;work.2"},
    {"work address 2", "ADR;work.1"},
    {"work city", "ADR;work.3"},
    {"work state", "ADR;work.4"},
    {"work zipcode", "ADR;work.5"},
    {"work country", "ADR;work.6"},
    {"organization", "ORG.0"},
    {"web page 1", "URL"},
    {"web page 2", "URL"},
    {"birth year", "BDAY.0"},
    {"birth month", "BDAY.1"},
    {"birth day", "BDAY.2"},
};

// Google numbers what a person may have several of: "Phone 1 - Value". These are the kinds.
constexpr std::string_view kNumberedKinds[] = {"e-mail",  "phone", "address", "organization",
                                               "website", "im",    "event"};
constexpr std::pair<std::string_view, char> kAddressParts[] = {
    {"po box", '0'}, {"extended address", '1'}, {"street", '2'},  {"city", '3'},
    {"region", '4'}, {"postal code", '5'},      {"country", '6'},
};
constexpr std::pair<std::string_view, std::string_view> kMessagingSchemes[] = {
    {"gtalk", "xmpp"},  {"google talk", "xmpp"}, {"jabber", "xmpp"},
    {"yahoo", "ymsgr"}, {"msn", "msnim"},        {"qq", "mqq"}};

template <class Table>
std::string_view Find(const Table& table, std::string_view name)
{
    for (const auto& [each, value] : table) {
        if (each == name) {
            return value;
        }
    }
    return {};
}

// "phone 1 - value" of Google: kind "phone", item "phone 1", part "value".
struct CNumbered
{
    std::string_view kind;
    std::string_view item;
    std::string_view part;
};

bool ReadNumbered(std::string_view heading, CNumbered* numbered)
{
    constexpr std::string_view kDash = " - ";
    const std::size_t dash = heading.find(kDash);
    if (dash == heading.npos) {
        return false;
    }
    const std::string_view item = heading.substr(0, dash);
    const std::size_t blank = item.rfind(' ');
    if (blank == item.npos || item.find_first_not_of("0123456789", blank + 1) != item.npos) {
        return false;
    }
    *numbered = {item.substr(0, blank), item, heading.substr(dash + kDash.size())};
    return std::ranges::find(kNumberedKinds, numbered->kind) != std::end(kNumberedKinds);
}

// Calls the function for each value of a field of Google's.
template <class Function>
void ForEachValue(std::string_view text, Function function)
{
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(kBetweenValues), text.size());
        function(text.substr(0, end));
        text.remove_prefix(std::min(end + kBetweenValues.size(), text.size()));
    }
}

// The types of a label: "* Work Fax" is the preferred one, of the types work and fax.
std::string TypesOf(std::string_view label)
{
    std::string types;
    for (std::string rest = LowerText(label); !rest.empty();) {
        const std::size_t blank = std::min(rest.find(' '), rest.size());
        const std::string word = rest.substr(0, blank);
        rest.erase(0, blank + 1);
        if (!word.empty() && word != "other") {
            types.append(types.empty() ? "" : ",").append(word == "*" ? "pref" : word);
        }
    }
    return types;
}

// One numbered item of Google's, part by part.
using CItem = std::map<std::string_view, std::string_view>;

std::string_view PartOf(const CItem& item, std::string_view part)
{
    const auto found = item.find(part);
    return found == item.end() ? std::string_view() : found->second;
}

void AddPostalAddress(const CItem& item, std::string_view types, CFieldCard* card)
{
    CVCardLine line = {"", "ADR", {}, {}};
    std::string value;
    for (const auto& [name, part] : kAddressParts) {
        std::string_view text = PartOf(item, name);
        if (part == '2' && text.empty() && PartOf(item, "city").empty()) {
            text = PartOf(item, "formatted");
        }
        value.append(part == '0' ? "" : ";").append(EscapeValue(text));
    }
    if (value.find_first_not_of(';') == std::string::npos) {
        return;
    }
    if (!types.empty()) {
        line.parameters.emplace_back("TYPE", types);
    }
    line.value = value;
    card->AddLine(std::move(line));
}

void AddItem(std::string_view kind, const CItem& item, CFieldCard* card)
{
    const std::string_view label =
        PartOf(item, "type").empty() ? PartOf(item, "label") : PartOf(item, "type");
    const std::string types = TypesOf(label);
    if (kind == "organization") {
        card->Add("ORG.0", PartOf(item, "name"));
        card->Add("ORG.1", PartOf(item, "department"));
        card->Add("TITLE", PartOf(item, "title"));
        return;
    }
    if (kind == "address") {
        AddPostalAddress(item, types, card);
        return;
    }
    if (kind == "event") {
        const std::string name = types == "anniversary"
                                     ? "X-ANNIVERSARY"
                                     : ExtensionName("CSV", "event " + std::string(label));
        card->Add(name, PartOf(item, "value"));
        return;
    }
    std::string before;
    if (kind == "im") {
        const std::string service = LowerText(PartOf(item, "service"));
        const std::string_view scheme = Find(kMessagingSchemes, service);
        before = scheme.empty() ? service : std::string(scheme);
        before += before.empty() ? "" : ":";
    }
    CVCardLine line = {"",
                       kind == "e-mail"  ? "EMAIL"
                       : kind == "phone" ? "TEL"
                       : kind == "im"    ? "IMPP"
                                         : "URL",
                       {},
                       {}};
    if (kind != "website" && !types.empty()) {
        line.parameters.emplace_back("TYPE", types);
    }
    ForEachValue(PartOf(item, "value"), [&](std::string_view value) {
        if (!value.empty()) {
            line.value = EscapeValue(before + std::string(value));
            card->AddLine(line);
        }
    });
}

// Names of groups, divided by " ::: " or semicolons. Google's own ones begin with a star.
void AddList(std::string_view name, std::string_view text, CFieldCard* card)
{
    std::string value;
    const auto add = [&value](std::string_view one) {
        one.remove_prefix(std::min(one.find_first_not_of(' '), one.size()));
        if (!one.empty() && !one.starts_with('*')) {
            value.append(value.empty() ? "" : ",").append(EscapeValue(one));
        }
    };
    ForEachValue(text, [&](std::string_view part) {
        while (!part.empty()) {
            const std::size_t end = std::min(part.find(';'), part.size());
            add(part.substr(0, end));
            part.remove_prefix(std::min(end + 1, part.size()));
        }
    });
    if (!value.empty()) {
        card->AddLine({"", std::string(name), {}, value});
    }
}

void AddColumn(std::string_view heading, std::string_view text, CFieldCard* card)
{
    constexpr std::string_view kUri = "URI:";
    constexpr std::string_view kList = "LIST:";
    constexpr std::string_view kNoDate = "0/0/00"; // as Outlook writes it
    const std::string_view place = Find(kColumns, heading);
    if (text.empty() || place == kNowhere || text == kNoDate) {
        return;
    }
    if (place.empty()) {
        card->Add(ExtensionName("CSV", heading), text);
    } else if (place.starts_with(kUri)) {
        card->AddLine(
            {"", std::string(place.substr(kUri.size())), {{"VALUE", "uri"}}, std::string(text)});
    } else if (place.starts_with(kList)) {
        AddList(place.substr(kList.size()), text, card);
    } else {
        card->Add(place, text);
    }
}

} // namespace

std::string NormalHeading(std::string_view heading)
{
    constexpr std::string_view kBlanks = " \t";
    heading.remove_prefix(std::min(heading.find_first_not_of(kBlanks), heading.size()));
    return LowerText(heading.substr(0, heading.find_last_not_of(kBlanks) + 1));
}

bool IsKnownHeading(std::string_view heading)
{
    CNumbered numbered;
    return !Find(kColumns, heading).empty() || ReadNumbered(heading, &numbered);
}

void AddCsvFields(const std::vector<std::string>& headings, const std::vector<std::string>& fields,
                  CFieldCard* card)
{
    std::vector<std::pair<CNumbered, CItem>> items;
    for (std::size_t i = 0; i < std::min(headings.size(), fields.size()); ++i) {
        CNumbered numbered;
        if (!ReadNumbered(headings[i], &numbered)) {
            AddColumn(headings[i], fields[i], card);
            continue;
        }
        if (items.empty() || items.back().first.item != numbered.item) {
            items.emplace_back(numbered, CItem());
        }
        items.back().second[numbered.part] = fields[i];
    }
    for (const auto& [numbered, item] : items) {
        AddItem(numbered.kind, item, card);
    }
}
