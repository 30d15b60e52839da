#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// What of a contact tells who it is. Text is UTF-8. A value.
struct CPerson
{
    std::string name; // the full name, or what there is of one
    std::vector<std::string> addresses;
    std::vector<std::string> telephones;
};

enum class ESameness
{
    kAddress,   // the same mail address, without regard to case
    kTelephone, // the same number, with a country code or without
    kName       // the same words in the name, in any order, in a folded form (Folding.h)
};

// People who look like one, for one reason. A value.
struct CDuplicates
{
    ESameness sameness;
    std::string value;                // as the first of them has it
    std::vector<std::size_t> members; // indexes, two at least, ascending
};

// All such groups, by their first members. A group is told once for each reason, however large it
// is; so a number that a whole company shares is one group. Takes time of the order of n log n.
//
// A number without a country code is the same as one with a code and the same digits behind it. It
// belongs to neither of two numbers with different codes.
std::vector<CDuplicates> FindDuplicates(const std::vector<CPerson>& people);
