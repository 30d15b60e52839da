#pragma once

#include <string>
#include <string_view>
#include <vector>

// A telephone number without its punctuation: "+49 (0)30 12-34" and "0049 30 1234" are one number.
// A value.
struct CTelephoneNumber
{
    std::string country;  // its country code (ITU-T E.164); empty for a number without one
    std::string national; // the digits behind it, without zeros in front

    bool operator==(const CTelephoneNumber&) const = default;
};

// What a text can mean as a telephone number: one number as a rule, and none if the text has fewer
// than five digits, or letters. A country code stands behind "+", "00" or "011". Eleven digits that
// begin with 1 or 8, without any of these, may have a trunk prefix in front (North America,
// Russia), so they mean two numbers.
std::vector<CTelephoneNumber> ReadTelephoneNumber(std::string_view text);

// What all ways to write one number have in common: its digits, with "+" in front if a country code
// begins them. A text that is no plain number is its own key.
std::string TelephoneKey(std::string_view text);
