#pragma once

#include "base/Record.h"
#include "search/Folding.h"

#include <string>

// The name to show for a contact: its full name, else given and family name, else its organisation,
// else the name or the address of its first mail address. Empty without any.
std::string ShownName(const CRecord& record);

// Whether each word is somewhere in the names, the nickname, the organisation, the mail addresses,
// the telephone numbers (also in their digits alone) or the postal addresses.
bool Matches(const CRecord& record, const CSearchWords& words);
