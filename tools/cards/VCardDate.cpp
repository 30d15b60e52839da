#include "cards/VCardDate.h"

#include <algorithm>
#include <array>
#include <utility>

namespace
{

// Patterns of dates, times and offsets in both forms: "0" is a digit, all else is itself.
struct CPattern
{
    std::string_view basic;
    std::string_view extended;
};
constexpr std::array<CPattern, 6> kDates = {{{"00000000", "0000-00-00"},
                                             {"0000-00", "0000-00"},
                                             {"0000", "0000"},
                                             {"--0000", "--00-00"},
                                             {"--00", "--00"},
                                             {"---00", "---00"}}};
constexpr std::array<CPattern, 3> kTimes = {
    {{"000000", "00:00:00"}, {"0000", "00:00"}, {"00", "00"}}};
constexpr std::array<CPattern, 2> kOffsets = {{{"+0000", "+00:00"}, {"+00", "+00"}}};

using CForm = std::string_view CPattern::*;

bool Fits(std::string_view text, std::string_view pattern)
{
    return std::ranges::equal(text, pattern, [](char c, char expected) {
        return expected == '0'   ? c >= '0' && c <= '9'
               : expected == '+' ? c == '+' || c == '-'
                                 : c == expected;
    });
}

// The digits and signs of a text that fits `from`, in the pattern `to`, which has as many.
std::string Rewrite(std::string_view text, std::string_view to, bool isLeadingSign)
{
    std::string digits;
    std::ranges::copy_if(text, std::back_inserter(digits),
                         [](char c) { return c >= '0' && c <= '9'; });
    std::string rewritten(to);
    std::size_t next = 0;
    for (char& c : rewritten) {
        c = c == '0' ? digits[next++] : c;
    }
    if (isLeadingSign) {
        rewritten.front() = text.front();
    }
    return rewritten;
}

template <class Patterns>
bool Convert(const Patterns& patterns, std::string_view text, CForm to, std::string* converted)
{
    for (const CPattern& pattern : patterns) {
        if (Fits(text, pattern.basic) || Fits(text, pattern.extended)) {
            converted->append(Rewrite(text, pattern.*to, pattern.basic.front() == '+'));
            return true;
        }
    }
    return false;
}

// A time with its zone.
bool ConvertTime(std::string_view text, CForm to, std::string* converted)
{
    const std::size_t zone = std::min(text.find_first_of("Z+-"), text.size());
    std::string_view clock = text.substr(0, zone);
    clock = clock.substr(0, clock.find('.')); // fractions of seconds are no part of 4.0
    if (!Convert(kTimes, clock, to, converted)) {
        return false;
    }
    const std::string_view rest = text.substr(zone);
    if (rest.empty() || rest == "Z") {
        converted->append(rest);
        return true;
    }
    return Convert(kOffsets, rest, to, converted);
}

bool ConvertDate(std::string_view value, CForm to, std::string* converted)
{
    const std::size_t middle = value.find('T');
    const std::string_view date = value.substr(0, middle);
    if (!date.empty() && !Convert(kDates, date, to, converted)) {
        return false;
    }
    if (middle == value.npos) {
        return !date.empty();
    }
    converted->append(1, 'T');
    return ConvertTime(value.substr(middle + 1), to, converted);
}

std::string DateIn(CForm form, std::string_view value)
{
    std::string converted;
    return ConvertDate(value, form, &converted) ? converted : std::string(value);
}

std::string OffsetIn(CForm form, std::string_view value)
{
    std::string converted;
    return Convert(kOffsets, value, form, &converted) ? converted : std::string(value);
}

} // namespace

std::string ToBasicDate(std::string_view value)
{
    return DateIn(&CPattern::basic, value);
}

std::string ToExtendedDate(std::string_view value)
{
    return DateIn(&CPattern::extended, value);
}

std::string ToBasicOffset(std::string_view value)
{
    return OffsetIn(&CPattern::basic, value);
}

std::string ToExtendedOffset(std::string_view value)
{
    return OffsetIn(&CPattern::extended, value);
}

bool IsDate(std::string_view value)
{
    std::string converted;
    return ConvertDate(value, &CPattern::basic, &converted);
}

bool IsOffset(std::string_view value)
{
    std::string converted;
    return Convert(kOffsets, value, &CPattern::basic, &converted);
}
