#include "edit/CardMerge.h"

#include "base/Text.h"
#include "platform/Ascii.h"
#include "search/TelephoneNumber.h"
#include "text/Rfc822Address.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace
{

// What two entries of a list have in common if they are one.
std::string EmailKey(const CVCardLine& line)
{
    CRfc822Address address;
    return address.Parse(line.value.c_str()) ? LowerText(address.RawAddress()) : "";
}

std::string NumberKey(const CVCardLine& line)
{
    return TelephoneKey(line.value);
}

std::string PostalKey(const CVCardLine& line)
{
    constexpr std::size_t kComponents = 7;
    std::vector<std::string> parts = SplitValue(line.value, ';');
    parts.resize(kComponents);
    std::string key;
    for (const std::string& part : parts) {
        key.append(UnescapeValue(part)).append(1, '\0');
    }
    return key;
}

std::string WholeKey(const CVCardLine& line)
{
    return line.value;
}

constexpr struct
{
    std::string_view name;
    std::string (*key)(const CVCardLine& line);
} kEntries[] = {{"EMAIL", EmailKey}, {"TEL", NumberKey}, {"ADR", PostalKey}, {"IMPP", WholeKey}};

// Lines that a card has once (RFC 2426, RFC 6350), or whose first alone is shown as a property, and
// what they are called in the note.
constexpr struct
{
    std::string_view name;
    std::string_view label;
} kSingles[] = {{"FN", "Name"},           {"X-FILE-AS", "File as"},
                {"NICKNAME", "Nickname"}, {"ORG", "Organisation"},
                {"TITLE", "Job title"},   {"ROLE", "Role"},
                {"AGENT", "Manager"},     {"X-ALT-NOTE", "HTML note"},
                {"BDAY", "Birthday"},     {"ANNIVERSARY", "Anniversary"},
                {"GENDER", "Gender"},     {"SORT-STRING", "Sorted as"},
                {"CLASS", "Class"},       {"KIND", "Kind"},
                {"MAILER", "Mailer"},     {"TZ", "Time zone"},
                {"GEO", "Position"}};

constexpr std::array<std::string_view, 5> kNameParts = {
    "Family name", "Given name", "Additional names", "Name prefix", "Name suffix"};

constexpr std::string_view kIdentifiers[] = {"UID", "X-LARKMERE-WSSREPLICATIONID"};

// About the card, not about the person.
constexpr std::string_view kAboutCard[] = {"REV", "X-LARKMERE-WSSVERSION", "PRODID", "PROFILE",
                                           "VERSION"};

// An AGENT may be a whole card, which is nothing for a note.
constexpr std::string_view kCardBegin = "BEGIN:VCARD";

// Names the other line of its group.
constexpr std::string_view kAppleLabel = "X-ABLABEL";

constexpr std::string_view kType = "TYPE";
constexpr std::string_view kPreferred = "pref";
constexpr std::string_view kComment = "X-COMMENT";

// A text that stands in another one as whole lines.
bool HasLinesOf(std::string_view text, std::string_view part)
{
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) {
        const std::size_t end = at + part.size();
        if ((at == 0 || text[at - 1] == '\n') && (end == text.size() || text[end] == '\n')) {
            return true;
        }
    }
    return false;
}

// The same for lines that say the same, in whatever groups.
std::string MeaningOf(const CVCardLine& line)
{
    return WriteVCardLine({{}, line.name, line.parameters, UnescapeValue(line.value)});
}

void RemoveType(std::string_view type, CVCardLine* line)
{
    std::erase_if(line->parameters, [type](const auto& parameter) {
        return parameter.first == kType && EqualIgnoringCase(parameter.second, type);
    });
}

} // namespace

CCardMerge::CCardMerge(CVCard card) : m_card(std::move(card))
{
    for (std::size_t i = 0; i < m_card.size(); ++i) {
        Index(i);
    }
}

void CCardMerge::Index(std::size_t place)
{
    const CVCardLine& line = m_card[place];
    const auto entry = std::ranges::find(kEntries, line.name, [](auto& e) { return e.name; });
    m_lines.emplace(MeaningOf(line), place);
    m_groups.insert(LowerText(line.group));
    if (entry != std::end(kEntries)) {
        m_entries.emplace(line.name + ':' + entry->key(line), place);
        if (line.HasType(kPreferred)) {
            m_preferred.insert(line.name);
        }
    }
}

void CCardMerge::Append(CVCardLine line)
{
    m_card.push_back(std::move(line));
    Index(m_card.size() - 1);
}

void CCardMerge::Add(const CVCard& other)
{
    std::map<std::string, CVCard> groups;
    for (const CVCardLine& line : other) {
        const auto entry = std::ranges::find(kEntries, line.name, [](auto& e) { return e.name; });
        const auto single = std::ranges::find(kSingles, line.name, [](auto& s) { return s.name; });
        if (line.value.empty() || IsIn(kAboutCard, line.name)) {
            continue;
        }
        if (entry != std::end(kEntries)) {
            AddEntry(line, entry->key);
        } else if (line.name == "N") {
            AddNames(line);
        } else if (line.name == "NOTE") {
            AppendToNote(UnescapeValue(line.value));
        } else if (single != std::end(kSingles)) {
            AddSingle(line, single->label);
        } else if (IsIn(kIdentifiers, line.name)) {
            AddIdentifier(line);
        } else if (line.group.empty()) {
            AddGroup({line});
        } else {
            groups[line.group].push_back(line);
        }
    }
    for (const auto& [name, lines] : groups) {
        AddGroup(lines);
    }
}

CVCardLine* CCardMerge::Find(std::string_view name)
{
    const auto found = std::ranges::find(m_card, name, &CVCardLine::name);
    return found == m_card.end() ? nullptr : &*found;
}

void CCardMerge::AddEntry(const CVCardLine& line, std::string (*key)(const CVCardLine& line))
{
    const std::string wanted = key(line);
    if (wanted.empty()) {
        KeepInNote(line.name + ": " + line.value);
        return;
    }
    const auto same = m_entries.find(line.name + ':' + wanted);
    if (same != m_entries.end()) {
        AddEntryTypes(line, &m_card[same->second]);
        return;
    }
    CVCardLine added = line;
    added.group.clear();
    if (m_preferred.contains(line.name)) {
        RemoveType(kPreferred, &added);
    }
    Append(std::move(added));
}

// Which of several entries is preferred, the first card says.
void CCardMerge::AddEntryTypes(const CVCardLine& line, CVCardLine* entry)
{
    const bool hasPreferred = m_preferred.contains(line.name);
    for (const auto& [name, value] : line.parameters) {
        const bool isNewType = name == kType && !entry->HasType(value) &&
                               !(hasPreferred && EqualIgnoringCase(value, kPreferred));
        if (isNewType) {
            // Behind the other types, so that they become one list.
            const auto last =
                std::ranges::find(entry->parameters.rbegin(), entry->parameters.rend(), kType,
                                  [](const auto& each) { return each.first; });
            entry->parameters.emplace(last.base(), name, value);
        }
    }
    if (entry->HasType(kPreferred)) {
        m_preferred.insert(line.name);
    }
    const std::string_view comment = line.Parameter(kComment);
    if (comment.empty() || comment == entry->Parameter(kComment)) {
        return;
    }
    if (entry->Parameter(kComment).empty()) {
        entry->parameters.emplace_back(kComment, comment);
        return;
    }
    // As a rule it is the name of the card, which the note then has.
    const CVCardLine* const fullName = Find("FN");
    if (fullName == nullptr || UnescapeValue(fullName->value) != comment) {
        KeepInNote("Name: " + std::string(comment));
    }
}

void CCardMerge::AddNames(const CVCardLine& line)
{
    CVCardLine* const name = Find("N");
    if (name == nullptr) {
        m_card.push_back(line);
        return;
    }
    std::vector<std::string> parts = SplitValue(name->value, ';');
    const std::vector<std::string> others = SplitValue(line.value, ';');
    parts.resize(std::max(parts.size(), others.size()));
    std::vector<std::string> differing;
    for (std::size_t i = 0; i < others.size(); ++i) {
        if (parts[i].empty()) {
            parts[i] = others[i];
        } else if (!others[i].empty() && UnescapeValue(parts[i]) != UnescapeValue(others[i])) {
            const std::string_view label = i < kNameParts.size() ? kNameParts[i] : "Name part";
            differing.push_back(std::string(label) + ": " + UnescapeValue(others[i]));
        }
    }
    std::string value = parts.front();
    for (std::size_t i = 1; i < parts.size(); ++i) {
        value.append(1, ';').append(parts[i]);
    }
    name->value = value;
    for (const std::string& text : differing) {
        KeepInNote(text);
    }
}

void CCardMerge::AddSingle(const CVCardLine& line, std::string_view label)
{
    CVCardLine* const own = Find(line.name);
    if (own == nullptr) {
        CVCardLine added = line;
        added.group.clear();
        Append(std::move(added));
    } else if (own->value.empty()) {
        own->value = line.value;
        own->parameters = line.parameters;
        Index(static_cast<std::size_t>(own - m_card.data()));
    } else if (UnescapeValue(own->value) == UnescapeValue(line.value)) {
        return;
    } else if (EqualIgnoringCase(line.value.substr(0, kCardBegin.size()), kCardBegin)) {
        AddGroup({line});
    } else {
        KeepInNote(std::string(label) + ": " + UnescapeValue(line.value));
    }
}

void CCardMerge::AddIdentifier(const CVCardLine& line)
{
    CVCardLine* const own = Find(line.name);
    if (own == nullptr) {
        m_card.push_back(line);
    } else if (own->value.empty()) {
        own->value = line.value;
    } else if (own->value != line.value) {
        const std::string_view name = line.name;
        const std::string_view plain = name.starts_with("X-") ? name.substr(2) : name;
        AddGroup({{"", "X-MERGED-" + std::string(plain), {}, line.value}});
    }
}

// Whether each of the lines stands in the card, and all in one group, whatever its name.
bool CCardMerge::HasLines(const CVCard& lines) const
{
    const auto isIn = [this](const CVCardLine& line, std::string_view group) {
        const auto [first, last] = m_lines.equal_range(MeaningOf(line));
        return std::any_of(first, last,
                           [&](const auto& own) { return m_card[own.second].group == group; });
    };
    const auto [first, last] = m_lines.equal_range(MeaningOf(lines.front()));
    return std::any_of(first, last, [&](const auto& own) {
        const std::string& group = m_card[own.second].group;
        return group.empty() == lines.front().group.empty() &&
               std::ranges::all_of(lines,
                                   [&](const CVCardLine& line) { return isIn(line, group); });
    });
}

// Lines that belong together: those of a group, or one without a group.
void CCardMerge::AddGroup(const CVCard& lines)
{
    if (HasLines(lines)) {
        return;
    }
    std::string group = lines.front().group;
    while (!group.empty() && m_groups.contains(LowerText(group))) {
        group = "item" + std::to_string(m_nextGroup++);
    }
    for (const CVCardLine& line : lines) {
        if (Find(line.name) != nullptr && line.name != kAppleLabel) {
            m_kept.push_back("as another line: " + line.name);
        }
        CVCardLine added = line;
        added.group = group;
        Append(std::move(added));
    }
}

void CCardMerge::KeepInNote(std::string_view text)
{
    if (AppendToNote(text)) {
        m_kept.push_back("in the note: " + std::string(text));
    }
}

// False if the note has it already.
bool CCardMerge::AppendToNote(std::string_view text)
{
    CVCardLine* const note = Find("NOTE");
    if (note == nullptr) {
        m_card.push_back({"", "NOTE", {}, EscapeValue(text)});
        return true;
    }
    std::string whole = UnescapeValue(note->value);
    if (HasLinesOf(whole, text)) {
        return false;
    }
    whole.append(whole.empty() ? "" : "\n").append(text);
    note->value = EscapeValue(whole);
    return true;
}
