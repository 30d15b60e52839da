#pragma once

#include "cards/VCard.h"

#include <chrono>
#include <optional>
#include <string>

// A birthday, of a known year or not. A value.
struct CBirthday
{
    std::optional<std::chrono::year> year;
    std::chrono::month_day day;

    bool operator==(const CBirthday&) const = default;
};

// From a BDAY line: a date or a date with a time (RFC 2426, 3.1.5), or a date without its year
// (RFC 6350, 4.3.1), with or without hyphens. X-APPLE-OMIT-YEAR names a year that stands for none.
// Nothing if the line names no day.
std::optional<CBirthday> ReadBirthday(const CVCardLine& line);

// "1985-04-12", "--04-12".
std::string ToText(const CBirthday& birthday);
std::string ToText(std::chrono::sys_days day);

// The first one from that day on, that day included. 29 February is 28 February in other years.
std::chrono::sys_days NextBirthday(const CBirthday& birthday, std::chrono::sys_days today);

// The day on the clock of this place.
std::chrono::sys_days Today();
