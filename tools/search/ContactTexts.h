#pragma once

#include "base/Record.h"
#include "search/Folding.h"

#include <string>

// The full name of a contact, else given and family name, else its organisation. Empty without any.
std::string OwnName(const CRecord& record);

// The name to show for a contact: its own, else the name or the address of its first mail address.
std::string ShownName(const CRecord& record);

// What is searched of a contact, in lines: all but its mail addresses. A value.
struct CContactTexts
{
    std::string names;  // its own name in front, the nickname and the organisation among them
    std::string others; // telephone numbers, also in their digits alone, and postal addresses
};
CContactTexts TextsOf(const CRecord& record);

// Whether each word is somewhere in the names, the nickname, the organisation, the mail addresses,
// the telephone numbers (also in their digits alone) or the postal addresses.
bool Matches(const CRecord& record, const CSearchWords& words);
