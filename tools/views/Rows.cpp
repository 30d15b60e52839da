#include "views/Rows.h"

#include "base/JsonForm.h"
#include "base/Report.h"
#include "base/Stores.h"
#include "search/ContactTexts.h"
#include "search/Folding.h"
#include "views/Birthday.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>
#include <utility>

using nlohmann::ordered_json;

namespace
{

constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();

std::string Join(const auto& texts, std::string_view between)
{
    std::string joined;
    for (const std::string_view text : texts) {
        joined.append(joined.empty() || text.empty() ? "" : between).append(text);
    }
    return joined;
}

ordered_json BeginObject(const CRecord& record, const std::string& name)
{
    return {{kFormatVersionName, kFormatVersion}, {"id", record.id}, {"name", name}};
}

std::string ToLine(const ordered_json& object)
{
    return object.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

CRow RowOfEntry(const CRecord& record, const CRecordEntry& entry, std::string text)
{
    const std::string name = ShownName(record);
    ordered_json object = BeginObject(record, name);
    for (const auto& [valueName, value] : entry.values) {
        object[std::string(valueName)] = value;
    }
    object["types"] = entry.types;
    return {KeyOfName(name),
            {name, Join(entry.types, ","), std::move(text), record.id},
            ToLine(object)};
}

} // namespace

CRowKey KeyOfNumber(CContact& contact)
{
    const bool hasNumber = contact.GetPluginType() == kAddressBook;
    return {hasNumber ? contact.GetId().ToNumber() : kLast, false, "", ""};
}

CRowKey KeyOfName(std::string name, std::int64_t number)
{
    CFoldedText folded = FoldText(name);
    return {number, name.empty(), std::move(folded.plain), std::move(name)};
}

CRow RowOfTelephone(const CRecord& record, const CRecordEntry& telephone)
{
    return RowOfEntry(record, telephone, telephone.values.front().second);
}

CRow RowOfAddress(const CRecord& record, const CRecordEntry& address)
{
    std::vector<std::string_view> parts;
    for (const auto& [name, value] : address.values) {
        parts.push_back(value);
    }
    return RowOfEntry(record, address, Join(parts, ", "));
}

CRow RowOfBirthday(const CRecord& record, const CBirthday& birthday, std::chrono::sys_days today)
{
    const std::string name = ShownName(record);
    const std::string date = ToText(birthday);
    const std::chrono::sys_days next = NextBirthday(birthday, today);
    const std::int64_t days = (next - today).count();
    ordered_json object = BeginObject(record, name);
    object["birthday"] = date;
    object["next"] = ToText(next);
    object["days"] = days;
    return {KeyOfName(name, days), {date, name, std::to_string(days), record.id}, ToLine(object)};
}

void PrintRows(std::vector<CRow> rows, CTable table, bool isJson)
{
    std::ranges::stable_sort(rows, {}, &CRow::key);
    for (const CRow& row : rows) {
        if (isJson) {
            Print(row.json + '\n');
        } else {
            table.Add(row.fields);
        }
    }
    Print(table.ToText(StyleOfOutput()));
}
