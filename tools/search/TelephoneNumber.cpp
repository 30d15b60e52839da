#include "search/TelephoneNumber.h"

#include "search/Folding.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr std::size_t kLeastDigits = 5;
constexpr std::size_t kWithTrunkPrefix = 11;
// Of a number behind 011. A national number that begins so, as in Turin, is shorter.
constexpr std::size_t kLeastDigitsBehind011 = 10;

// The country codes of two digits. 1 and 7 have one, all others three (ITU-T E.164).
constexpr std::string_view kTwoDigitCodes = "20 27 30 31 32 33 34 36 39 40 41 43 44 45 46 47 48 49 "
                                            "51 52 53 54 55 56 57 58 60 61 62 63 64 65 66 81 82 84 "
                                            "86 90 91 92 93 94 95 98 ";

std::string WithoutZeros(std::string_view digits)
{
    return std::string(digits.substr(std::min(digits.find_first_not_of('0'), digits.size())));
}

CTelephoneNumber SplitInternational(std::string_view digits)
{
    const std::string_view two = digits.substr(0, 2);
    const bool isTwo = two.size() == 2 && kTwoDigitCodes.find(two) != kTwoDigitCodes.npos;
    const std::size_t length = digits.starts_with('1') || digits.starts_with('7') ? 1
                               : isTwo                                            ? 2
                                                                                  : 3;
    const std::string_view country = digits.substr(0, length);
    return {std::string(country), WithoutZeros(digits.substr(country.size()))};
}

// Whether a text has nothing but what numbers are written with. A letter may begin an extension,
// whose digits are no part of the number.
bool IsPlainNumber(std::string_view text)
{
    constexpr std::string_view kNoBreakSpace = "\xC2\xA0";
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.substr(i, 2) == kNoBreakSpace) {
            ++i;
        } else if (std::string_view("+0123456789 ()[]./-\t").find(text[i]) ==
                   std::string_view::npos) {
            return false;
        }
    }
    return true;
}

// The digits, and whether a country code is in front of them. In such a number "(0)" is what a
// caller from within the country dials.
std::pair<std::string, bool> TakeDigits(std::string_view text)
{
    if (text.starts_with("tel:")) { // RFC 3966
        text.remove_prefix(4);
    }
    const std::string_view trimmed =
        text.substr(std::min(text.find_first_not_of(" \t("), text.size()));
    std::string digits = DigitsOf(text);
    bool isInternational = trimmed.starts_with('+');
    std::size_t prefix = 0;
    if (!isInternational && digits.starts_with("00")) {
        prefix = 2;
    } else if (!isInternational && digits.starts_with("011") &&
               digits.size() >= 3 + kLeastDigitsBehind011) {
        prefix = 3;
    }
    isInternational = isInternational || prefix != 0;
    const std::size_t zero = text.find("(0)");
    if (isInternational && zero != text.npos) {
        digits.erase(DigitsOf(text.substr(0, zero)).size(), 1);
    }
    return {digits.substr(prefix), isInternational};
}

} // namespace

std::vector<CTelephoneNumber> ReadTelephoneNumber(std::string_view text)
{
    if (!IsPlainNumber(text.starts_with("tel:") ? text.substr(4) : text)) {
        return {};
    }
    const auto [digits, isInternational] = TakeDigits(text);
    if (digits.size() < kLeastDigits) {
        return {};
    }
    if (isInternational) {
        return {SplitInternational(digits)};
    }
    std::vector<CTelephoneNumber> numbers = {{"", WithoutZeros(digits)}};
    if (digits.size() == kWithTrunkPrefix && (digits.front() == '1' || digits.front() == '8')) {
        numbers.push_back({digits.front() == '1' ? "1" : "7", digits.substr(1)});
    }
    return numbers;
}

std::string TelephoneKey(std::string_view text)
{
    if (!IsPlainNumber(text.starts_with("tel:") ? text.substr(4) : text)) {
        return std::string(text);
    }
    const auto [digits, isInternational] = TakeDigits(text);
    return (isInternational ? "+" : "") + digits;
}
