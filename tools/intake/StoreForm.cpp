#include "intake/ImportCard.h"

#include "base/Text.h"
#include "cards/CardUri.h"
#include "cards/LineParts.h"
#include "cards/VCard4.h"
#include "directory/TypeParameter.h"
#include "platform/Ascii.h"
#include "text/Rfc822Address.h"
#include "text/Utf8.h"

#include <algorithm>
#include <optional>
#include <span>
#include <utility>

namespace
{

// The lines of the four lists, and the names that programs have for the store's types.
struct CTypedLine
{
    std::string_view name;
    VCardUtils::CTypeTable types;
    std::span<const std::pair<std::string_view, std::string_view>> otherNames;
};

constexpr std::pair<std::string_view, std::string_view> kTelephoneNames[] = {
    {"mobile", "cell"},   {"textphone", "x-tdd"}, {"callback", "x-callback"},
    {"radio", "x-radio"}, {"telex", "x-telex"},   {"tdd", "x-tdd"}};
constexpr std::pair<std::string_view, std::string_view> kIMNames[] = {{"cell", "MOBILE"}};

constexpr CTypedLine kTypedLines[] = {
    {"EMAIL", VCardUtils::kEmailTypes, {}},
    {"TEL", VCardUtils::kTelephoneTypes, kTelephoneNames},
    {"ADR", VCardUtils::kAddressTypes, {}},
    {"IMPP", VCardUtils::kIMTypes, kIMNames},
};

// Parameters that say how a line is written and nothing about the person.
constexpr std::string_view kSilentParameters[] = {"VALUE", "CHARSET", "ENCODING"};

// What an escape sequence becomes. The store knows \\ and \, and \n in most lines, and none in N
// and in the lists of mail addresses, numbers and messaging addresses.
using CEscapes = std::span<const std::pair<char, std::string_view>>;
constexpr std::pair<char, std::string_view> kTextEscapes[] = {{';', ";"}, {':', ":"}, {'N', "\\n"}};
constexpr std::pair<char, std::string_view> kPartsEscapes[] = {
    {';', "\\,"}, {':', ":"}, {'N', "\\n"}};
constexpr std::pair<char, std::string_view> kNameEscapes[] = {
    {';', ","}, {',', ","}, {':', ":"}, {'n', " "}, {'N', " "}};
constexpr std::pair<char, std::string_view> kNoEscapes[] = {
    {';', ";"}, {',', ","}, {':', ":"}, {'n', " "}, {'N', " "}};

constexpr std::string_view kEscapedTextLines[] = {"FN",    "NICKNAME", "NOTE",      "ROLE",
                                                  "TITLE", "URL",      "X-FILE-AS", "X-ALT-NOTE"};

CEscapes EscapesOf(std::string_view name)
{
    return name == "N"                                          ? CEscapes(kNameEscapes)
           : name == "ADR" || name == "ORG"                     ? CEscapes(kPartsEscapes)
           : IsIn(kEscapedTextLines, name)                      ? CEscapes(kTextEscapes)
           : name == "TEL" || name == "EMAIL" || name == "IMPP" ? CEscapes(kNoEscapes)
                                                                : CEscapes();
}

void FitEscapes(CVCardLine* line, CImportCard* card)
{
    const CEscapes escapes = EscapesOf(line->name);
    if (escapes.empty() || line->value.find('\\') == std::string::npos) {
        return;
    }
    std::string value;
    bool hasSemicolon = false;
    for (std::size_t i = 0; i < line->value.size(); ++i) {
        const char c = line->value[i];
        if (c != '\\' || i + 1 == line->value.size()) {
            value += c;
            continue;
        }
        const char escaped = line->value[++i];
        const auto found =
            std::ranges::find(escapes, escaped, &std::pair<char, std::string_view>::first);
        value.append(found == escapes.end() ? std::string{c, escaped} : std::string(found->second));
        hasSemicolon = hasSemicolon || escaped == ';';
    }
    line->value = value;
    if (hasSemicolon && (line->name == "N" || line->name == "ADR" || line->name == "ORG")) {
        card->AddLoss("a semicolon in " + line->name + ", which is a comma now");
    }
}

// The store's name of a type, as it writes it; nothing for a type without a bit.
std::optional<std::string_view> StoreType(const CTypedLine& typed, std::string_view type)
{
    for (const auto& [otherName, name] : typed.otherNames) {
        if (EqualIgnoringCase(otherName, type)) {
            return name;
        }
    }
    for (const std::string_view name : typed.types) {
        if (EqualIgnoringCase(name, type)) {
            return name;
        }
    }
    return {};
}

void FitTypes(const CTypedLine& typed, std::string_view types, CVCardLine* line, CImportCard* card)
{
    while (!types.empty()) {
        const std::size_t comma = std::min(types.find(','), types.size());
        const std::string_view type = types.substr(0, comma);
        types.remove_prefix(std::min(comma + 1, types.size()));
        if (type.empty()) {
            continue;
        }
        const std::optional<std::string_view> kept = StoreType(typed, type);
        if (!kept.has_value()) {
            card->AddLoss("type " + std::string(type) + " of " + line->name);
        } else if (!line->HasType(*kept)) {
            line->parameters.emplace_back("TYPE", *kept);
        }
    }
}

void FitParameters(const CTypedLine& typed, CVCardLine* line, CImportCard* card)
{
    if (!line->group.empty()) {
        card->AddLoss("group " + line->group + " of " + line->name);
        line->group.clear();
    }
    for (const auto& [name, value] : std::exchange(line->parameters, {})) {
        if (name == "TYPE") {
            FitTypes(typed, value, line, card);
        } else if (name == "X-COMMENT" && line->name == "EMAIL") {
            line->parameters.emplace_back(name, value);
        } else if (!IsIn(kSilentParameters, name)) {
            card->AddLoss("parameter " + name + " of " + line->name);
        }
    }
}

void FitAddress(std::string* address)
{
    constexpr std::string_view kBlanks = " \t";
    if (TakeScheme("mailto:", address)) {
        *address = DecodeUriText(address->substr(0, address->find('?')));
    }
    address->erase(0, std::min(address->find_first_not_of(kBlanks), address->size()));
    address->erase(address->find_last_not_of(kBlanks) + 1);
}

// False if there is no mail address in it. The store gives every address the full name as its
// comment; another one goes.
bool FitEmail(const CVCardLine* fullName, CVCardLine* line, CImportCard* card)
{
    FitAddress(&line->value);
    CRfc822Address address;
    if (!address.Parse(line->value.c_str())) {
        return false;
    }
    std::string comment(line->Parameter("X-COMMENT"));
    if (comment.empty()) {
        AppendUtf8(address.GetComment(), &comment);
    }
    if (!comment.empty() && fullName != nullptr && !fullName->value.empty() &&
        comment != fullName->value && comment != UnescapeValue(fullName->value)) {
        card->AddLoss("name " + comment + " of EMAIL");
    }
    return true;
}

void FitAddressParts(CVCardLine* line, CImportCard* card)
{
    constexpr std::size_t kParts = 7;
    const std::vector<std::string> parts = SplitValue(line->value, ';');
    if (std::any_of(parts.begin() + static_cast<std::ptrdiff_t>(std::min(parts.size(), kParts)),
                    parts.end(), [](const std::string& part) { return !part.empty(); })) {
        card->AddLoss("components of ADR behind the seventh");
    }
}

bool HasNone(std::string_view text, std::string_view separators)
{
    constexpr unsigned char kDelete = 0x7F;
    return std::ranges::none_of(text, [separators](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < ' ' || byte == kDelete || separators.find(c) != separators.npos;
    });
}

// Whether the names can stand in a line. Other forms than vCard hold any text as a name, a line
// BEGIN or END would be read as the border of a card, and a fold within a long name as more of a
// photo in front of it.
bool HasPossibleNames(const CVCardLine& line)
{
    constexpr std::size_t kMaxNameBytes = 70;
    const std::string& first = line.group.empty() ? line.name : line.group;
    return !first.starts_with(' ') && !first.starts_with(kByteOrderMark) && !line.name.empty() &&
           line.group.size() + line.name.size() <= kMaxNameBytes && HasNone(line.group, ".;:\"") &&
           HasNone(line.name, line.group.empty() ? ".;:\"" : ";:\"") &&
           !IsOneOf(line.name, {"BEGIN", "END", "VERSION"}) &&
           std::ranges::all_of(line.parameters, [](const auto& parameter) {
               return !parameter.first.empty() && HasNone(parameter.first, "=;:,\"");
           });
}

// A line end in a parameter is encoded (RFC 6868), one in a value cannot be.
void BlankOutControls(CVCardLine* line)
{
    const auto blankOut = [](std::string_view controls, std::string* text) {
        std::ranges::replace_if(
            *text, [controls](char c) { return controls.find(c) != controls.npos; }, ' ');
    };
    blankOut({"\r\n\0", 3}, &line->value);
    for (auto& [name, value] : line->parameters) {
        blankOut({"\r\0", 2}, &value);
    }
}

// False if the line is to be left out.
bool FitLine(const CVCardLine* fullName, CVCardLine* line, CImportCard* card)
{
    BlankOutControls(line);
    FitEscapes(line, card);
    const auto typed = std::ranges::find(kTypedLines, line->name, &CTypedLine::name);
    if (typed == std::end(kTypedLines)) {
        return true;
    }
    FitParameters(*typed, line, card);
    if (line->name == "TEL") {
        TelephoneTo3(&line->value);
    } else if (line->name == "ADR") {
        FitAddressParts(line, card);
    }
    return line->name != "EMAIL" || FitEmail(fullName, line, card);
}

void LeaveOut(const CVCardLine& line, CImportCard* card)
{
    card->leftOut.push_back(line.name + ':' + line.value);
}

// RFC 2426 wants both lines in each card, and lists show the full name.
void AddNames(CImportCard* card)
{
    CVCard& lines = card->card;
    const auto fullName = std::ranges::find(lines, "FN", &CVCardLine::name);
    if (fullName != lines.end()) {
        fullName->value = std::string(Trimmed(fullName->value)); // the store does so too
    }
    if (fullName == lines.end() || fullName->value.empty()) {
        const std::string made = MakeFullName(lines);
        if (!made.empty()) {
            card->isNameMade = true;
            card->AddChange("full name made of other lines");
            if (fullName == lines.end()) {
                lines.insert(lines.begin(), {"", "FN", {}, made});
            } else {
                fullName->value = made;
            }
        }
    }
    if (FindLine(lines, "N") == nullptr) {
        lines.insert(lines.begin(), {"", "N", {}, ";;;;"});
    }
}

} // namespace

void FitToStore(CImportCard* card)
{
    std::erase_if(card->card, [card](const CVCardLine& line) {
        const bool isPossible = HasPossibleNames(line);
        if (!isPossible) {
            LeaveOut(line, card);
        }
        return !isPossible;
    });
    AddNames(card);
    const CVCardLine* const found = FindLine(card->card, "FN");
    CVCardLine fullName = found == nullptr ? CVCardLine() : *found;
    FitEscapes(&fullName, card);
    CVCard fitted;
    fitted.reserve(card->card.size());
    for (CVCardLine& line : card->card) {
        if (FitLine(&fullName, &line, card)) {
            fitted.push_back(std::move(line));
        } else {
            LeaveOut(line, card);
        }
    }
    card->card = std::move(fitted);
}
