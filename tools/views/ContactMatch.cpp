#include "views/ContactMatch.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace
{

constexpr std::string_view kSearched[] = {"FullName",     "Title",  "GivenName", "MiddleInitial",
                                          "Surname",      "Suffix", "FileAs",    "Nickname",
                                          "Organization", "OrgUnit"};

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

std::string_view ValueOf(const CNamedValues& values, std::string_view name)
{
    const auto found = std::ranges::find(values, name, &CNamedValues::value_type::first);
    return found == values.end() ? std::string_view() : found->second;
}

std::string_view PropertyOf(const CRecord& record, std::string_view name)
{
    return ValueOf(record.properties, name);
}

std::string_view FirstEmailValue(const CRecord& record, std::string_view name)
{
    return record.emails.empty() ? std::string_view() : ValueOf(record.emails.front().values, name);
}

} // namespace

std::string ShownName(const CRecord& record)
{
    const bool hasBoth = !record.firstName.empty() && !record.lastName.empty();
    const std::string names = record.firstName + (hasBoth ? " " : "") + record.lastName;
    const std::string_view choices[] = {
        PropertyOf(record, "FullName"), names, PropertyOf(record, "Organization"),
        FirstEmailValue(record, "comment"), FirstEmailValue(record, "address")};
    for (const std::string_view choice : choices) {
        if (!choice.empty()) {
            return std::string(choice);
        }
    }
    return {};
}

bool Matches(const CRecord& record, const CSearchWords& words)
{
    if (words.IsEmpty()) {
        return true;
    }
    std::string names;
    Append(record.firstName + ' ' + record.lastName, &names);
    for (const std::string_view property : kSearched) {
        Append(PropertyOf(record, property), &names);
    }
    AppendValues(record.emails, &names);
    std::string numbers;
    for (const CRecordEntry& telephone : record.telephones) {
        Append(telephone.values.front().second, &numbers);
        Append(DigitsOf(telephone.values.front().second), &numbers);
    }
    AppendValues(record.addresses, &numbers);
    return words.Match(FoldText(names), FoldText(numbers)) != EMatch::kNone;
}
