#include "search/ContactTexts.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

namespace
{

// Beside the full name.
constexpr std::string_view kSearched[] = {"Title",    "GivenName",    "MiddleInitial",
                                          "Surname",  "Suffix",       "FileAs",
                                          "Nickname", "Organization", "OrgUnit"};

// Texts with a line end between them, which no word has.
void Append(std::string_view text, std::string* all)
{
    all->append(text).append(1, '\n');
}

void AppendValues(const std::vector<CRecordEntry>& entries, std::string* all)
{
    for (const CRecordEntry& entry : entries) {
        for (const auto& [name, value] : entry.values) {
            Append(value, all);
        }
    }
}

using CNamedValues = std::vector<std::pair<std::string_view, std::string>>;

std::string ValueOf(const CNamedValues& values, std::string_view name)
{
    const auto found = std::ranges::find(values, name, &CNamedValues::value_type::first);
    return found == values.end() ? std::string() : found->second;
}

std::string PropertyOf(const CRecord& record, std::string_view name)
{
    return ValueOf(record.properties, name);
}

std::string FirstEmailValue(const CRecord& record, std::string_view name)
{
    return record.emails.empty() ? std::string() : ValueOf(record.emails.front().values, name);
}

// The first text that is not empty.
std::string FirstOf(std::initializer_list<std::string> texts)
{
    const auto* const found =
        std::ranges::find_if(texts, [](const std::string& text) { return !text.empty(); });
    return found == texts.end() ? std::string() : *found;
}

} // namespace

std::string OwnName(const CRecord& record)
{
    const bool hasBoth = !record.firstName.empty() && !record.lastName.empty();
    return FirstOf({PropertyOf(record, "FullName"),
                    record.firstName + (hasBoth ? " " : "") + record.lastName,
                    PropertyOf(record, "Organization")});
}

std::string ShownName(const CRecord& record)
{
    return FirstOf(
        {OwnName(record), FirstEmailValue(record, "comment"), FirstEmailValue(record, "address")});
}

CContactTexts TextsOf(const CRecord& record)
{
    CContactTexts texts;
    Append(OwnName(record), &texts.names);
    for (const std::string_view property : kSearched) {
        Append(PropertyOf(record, property), &texts.names);
    }
    Append(record.firstName + ' ' + record.lastName, &texts.names);
    for (const CRecordEntry& telephone : record.telephones) {
        const std::string& number = telephone.values.front().second;
        Append(number, &texts.others);
        Append(DigitsOf(FoldText(number).plain), &texts.others); // also of wide digits
    }
    AppendValues(record.addresses, &texts.others);
    return texts;
}

bool Matches(const CRecord& record, const CSearchWords& words)
{
    if (words.IsEmpty()) {
        return true;
    }
    CContactTexts texts = TextsOf(record);
    AppendValues(record.emails, &texts.names);
    return words.Match(FoldText(texts.names), FoldText(texts.others)) != EMatch::kNone;
}
