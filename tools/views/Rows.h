#pragma once

#include "base/Record.h"
#include "base/Table.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct CBirthday;

// What rows are sorted by: the number, then the name without case and accents, then the name. Those
// without a name stand behind the others of their number. Rows that are alike keep the order in
// which they came.
struct CRowKey
{
    std::int64_t number = 0;
    bool isNameless = false;
    std::string folded;
    std::string name;

    auto operator<=>(const CRowKey&) const = default;
};

// Contacts of the address book by their numbers, in front of all others.
CRowKey KeyOfNumber(CContact& contact);

// By name, or by a number in front of it.
CRowKey KeyOfName(std::string name, std::int64_t number = 0);

// One row for people and one for programs.
struct CRow
{
    CRowKey key;
    std::vector<std::string> fields;
    std::string json;
};

// A row for an entry of a list: its value in front, as one text.
CRow RowOfTelephone(const CRecord& record, const CRecordEntry& telephone);
CRow RowOfAddress(const CRecord& record, const CRecordEntry& address);
CRow RowOfBirthday(const CRecord& record, const CBirthday& birthday, std::chrono::sys_days today);

// Prints rows in their order: lines of JSON, or a table in the style of standard output.
void PrintRows(std::vector<CRow> rows, CTable table, bool isJson);
