#include "cards/Csv.h"

#include "cards/VCardDate.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace
{

constexpr std::array<std::string_view, 14> kHeadings = {"Name",
                                                        "First Name",
                                                        "Middle Name",
                                                        "Last Name",
                                                        "Name Prefix",
                                                        "Name Suffix",
                                                        "Nickname",
                                                        "File As",
                                                        "Organization Name",
                                                        "Organization Title",
                                                        "Organization Department",
                                                        "Birthday",
                                                        "Notes",
                                                        "Labels"};

// Groups of columns that are numbered, with those of each group.
struct CNumbered
{
    std::string_view kind;
    std::array<std::string_view, 9> columns;
};
constexpr std::array<CNumbered, 5> kNumbered = {
    {{"E-mail", {"Label", "Value"}},
     {"Phone", {"Label", "Value"}},
     {"Address",
      {"Label", "Formatted", "Street", "City", "PO Box", "Region", "Postal Code", "Country",
       "Extended Address"}},
     {"Website", {"Label", "Value"}},
     {"Event", {"Label", "Value"}}}};

constexpr std::array<std::string_view, 7> kAddressColumns = {
    "PO Box", "Extended Address", "Street", "City", "Region", "Postal Code", "Country"};
constexpr std::array<std::string_view, 5> kNameColumns = {"Last Name", "First Name", "Middle Name",
                                                          "Name Prefix", "Name Suffix"};

// Lines that say nothing about the person.
constexpr std::array<std::string_view, 5> kIgnored = {
    "UID", "REV", "PRODID", "X-LARKMERE-WSSVERSION", "X-LARKMERE-WSSREPLICATIONID"};

// What import programs call the types; a star in front marks the preferred one.
std::string LabelOf(const CVCardLine& line)
{
    std::string label = line.HasType("cell")    ? "Mobile"
                        : line.HasType("pager") ? "Pager"
                        : line.HasType("home")  ? "Home"
                        : line.HasType("work")  ? "Work"
                                                : "";
    if (line.HasType("fax")) {
        label += label.empty() ? "Fax" : " Fax";
    }
    if (label.empty()) {
        label = "Other";
    }
    return (line.HasType("pref") ? "* " : "") + label;
}

void Append(const std::string& value, std::string* field, std::string_view between)
{
    field->append(field->empty() || value.empty() ? "" : between).append(value);
}

std::string Quoted(const std::string& field)
{
    if (field.find_first_of(",\"\r\n") == field.npos) {
        return field;
    }
    std::string quoted = "\"";
    for (const char c : field) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + '"';
}

} // namespace

// The beginning of the columns for the next one of a kind.
std::string CCsvTable::Numbered(const std::string& kind)
{
    const std::size_t number = ++m_rowCounts[kind];
    std::size_t& count = m_counts[kind];
    count = std::max(count, number);
    return kind + ' ' + std::to_string(number) + " - ";
}

void CCsvTable::AddLine(const CVCardLine& line, CRow* row, std::vector<std::string>* notes)
{
    static const std::map<std::string_view, std::string_view> kSingle = {
        {"NICKNAME", "Nickname"}, {"X-FILE-AS", "File As"}, {"TITLE", "Organization Title"},
        {"NOTE", "Notes"},        {"CATEGORIES", "Labels"}, {"ROLE", "Organization Department"}};
    static const std::map<std::string_view, std::string> kValues = {
        {"EMAIL", "E-mail"}, {"TEL", "Phone"}, {"URL", "Website"}, {"X-ANNIVERSARY", "Event"}};
    const auto single = kSingle.find(line.name);
    const auto value = kValues.find(line.name);
    if (single != kSingle.end()) {
        std::string& field = (*row)[std::string(single->second)];
        const bool isLabels = line.name == "CATEGORIES";
        for (const std::string& part : SplitValue(line.value, isLabels ? ',' : '\n')) {
            Append(UnescapeValue(part), &field, isLabels ? " ::: " : "\n");
        }
    } else if (line.name == "ORG") {
        const std::vector<std::string> parts = SplitValue(line.value, ';');
        Append(UnescapeValue(parts.front()), &(*row)["Organization Name"], "\n");
        for (std::size_t i = 1; i < parts.size(); ++i) {
            Append(UnescapeValue(parts[i]), &(*row)["Organization Department"], "; ");
        }
    } else if (value != kValues.end() && !line.value.empty()) {
        const std::string begin = Numbered(value->second);
        (*row)[begin + "Label"] = line.name == "X-ANNIVERSARY" ? "Anniversary" : LabelOf(line);
        (*row)[begin + "Value"] = UnescapeValue(line.value);
    } else if (line.name == "ADR") {
        const std::string begin = Numbered("Address");
        (*row)[begin + "Label"] = LabelOf(line);
        const std::vector<std::string> parts = SplitValue(line.value, ';');
        for (std::size_t i = 0; i < std::min(parts.size(), kAddressColumns.size()); ++i) {
            (*row)[begin + std::string(kAddressColumns[i])] = UnescapeValue(parts[i]);
        }
    } else if (line.name == "BDAY" && !row->contains("Birthday")) {
        (*row)["Birthday"] = line.Parameter("X-APPLE-OMIT-YEAR").empty()
                                 ? ToExtendedDate(line.value)
                                 : "--" + line.value.substr(line.value.find('-') + 1);
    } else if (!line.value.empty() && line.name != "N" && line.name != "FN" &&
               !IsIn(kIgnored, line.name)) {
        notes->push_back(line.name);
    }
}

// A name without parts stands as the first name too, for programs that pass over the whole name.
void CCsvTable::AddName(const CVCard& card, CRow* row) const
{
    bool hasName = false;
    const CVCardLine* const name = FindLine(card, "N");
    if (name != nullptr) {
        const std::vector<std::string> parts = SplitValue(name->value, ';');
        for (std::size_t i = 0; i < std::min(parts.size(), kNameColumns.size()); ++i) {
            (*row)[std::string(kNameColumns[i])] = UnescapeValue(parts[i]);
            hasName = hasName || !parts[i].empty();
        }
    }
    const CVCardLine* const full = FindLine(card, "FN");
    if (full != nullptr) {
        (*row)["Name"] = UnescapeValue(full->value);
        if (!hasName) {
            (*row)["First Name"] = UnescapeValue(full->value);
        }
    }
}

void CCsvTable::Add(const CVCard& card, std::vector<std::string>* notes)
{
    CRow row;
    m_rowCounts.clear();
    AddName(card, &row);
    for (const CVCardLine& line : card) {
        AddLine(line, &row, notes);
    }
    m_rows.push_back(std::move(row));
}

std::string CCsvTable::Write() const
{
    std::vector<std::string> headings(kHeadings.begin(), kHeadings.end());
    for (const CNumbered& group : kNumbered) {
        const auto found = m_counts.find(std::string(group.kind));
        for (std::size_t i = 1; found != m_counts.end() && i <= found->second; ++i) {
            for (const std::string_view column : group.columns) {
                if (!column.empty()) {
                    headings.push_back(std::string(group.kind) + ' ' + std::to_string(i) + " - " +
                                       std::string(column));
                }
            }
        }
    }
    std::string table;
    for (const std::string& heading : headings) {
        table.append(&heading == &headings.front() ? "" : ",").append(heading);
    }
    table += "\r\n";
    for (const CRow& row : m_rows) {
        for (const std::string& heading : headings) {
            const auto value = row.find(heading);
            table.append(&heading == &headings.front() ? "" : ",")
                .append(value == row.end() ? std::string() : Quoted(value->second));
        }
        table += "\r\n";
    }
    return table;
}
