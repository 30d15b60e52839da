#include "views/Birthday.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <string_view>

namespace
{

// A number of so many digits, taken off the text; nothing if there are others.
std::optional<int> TakeDigits(std::size_t count, std::string_view* text)
{
    constexpr std::string_view kDigits = "0123456789";
    const std::string_view digits = text->substr(0, count);
    if (digits.size() < count || digits.find_first_not_of(kDigits) != digits.npos) {
        return std::nullopt;
    }
    int number = 0;
    std::from_chars(digits.data(), digits.data() + count, number);
    text->remove_prefix(count);
    return number;
}

void TakeHyphen(std::string_view* text)
{
    text->remove_prefix(text->starts_with('-') ? 1 : 0);
}

std::string_view WithoutBlanks(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

} // namespace

std::optional<CBirthday> ReadBirthday(const CVCardLine& line)
{
    const std::string value = UnescapeValue(line.value);
    std::string_view rest = WithoutBlanks(value);
    rest = rest.substr(0, rest.find_first_of("Tt "));
    CBirthday birthday;
    if (rest.starts_with("--")) {
        rest.remove_prefix(2);
    } else if (const auto year = TakeDigits(4, &rest)) {
        const bool isKnown =
            *year != 0 && std::to_string(*year) != line.Parameter("X-APPLE-OMIT-YEAR");
        birthday.year = isKnown ? std::optional(std::chrono::year(*year)) : std::nullopt;
        TakeHyphen(&rest);
    } else {
        return std::nullopt;
    }
    const auto month = TakeDigits(2, &rest);
    TakeHyphen(&rest);
    const auto day = TakeDigits(2, &rest);
    if (!month || !day || !rest.empty()) {
        return std::nullopt;
    }
    birthday.day = std::chrono::month(static_cast<unsigned>(*month)) / *day;
    const bool isDay =
        birthday.day.ok() &&
        (!birthday.year || (*birthday.year / birthday.day.month() / birthday.day.day()).ok());
    return isDay ? std::optional(birthday) : std::nullopt;
}

std::string ToText(const CBirthday& birthday)
{
    char text[16];
    std::snprintf(text, sizeof(text), "-%02u-%02u", static_cast<unsigned>(birthday.day.month()),
                  static_cast<unsigned>(birthday.day.day()));
    char year[8] = "-";
    if (birthday.year) {
        std::snprintf(year, sizeof(year), "%04d", static_cast<int>(*birthday.year));
    }
    return std::string(year) + text;
}

std::string ToText(std::chrono::sys_days day)
{
    const std::chrono::year_month_day date(day);
    return ToText(CBirthday{date.year(), date.month() / date.day()});
}

std::chrono::sys_days NextBirthday(const CBirthday& birthday, std::chrono::sys_days today)
{
    std::chrono::year year = std::chrono::year_month_day(today).year();
    while (true) {
        const std::chrono::year_month_day date = year / birthday.day.month() / birthday.day.day();
        const std::chrono::sys_days next =
            date.ok() ? std::chrono::sys_days(date)
                      : std::chrono::sys_days(year / birthday.day.month() / std::chrono::last);
        if (next >= today) {
            return next;
        }
        ++year;
    }
}

std::chrono::sys_days Today()
{
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    return std::chrono::year(local.tm_year + 1900) / (local.tm_mon + 1) / local.tm_mday;
}
