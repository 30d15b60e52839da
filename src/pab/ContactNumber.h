#pragma once

#include <cstdint>
#include <string>

// Claims the next contact number of an address book folder, or gives 0 with the last error of what
// failed. The number stands in the name of an empty file, "%08x.nxt", and renaming that file to
// the next number claims it: of several callers exactly one succeeds.
//
// A folder without such a file and without a contact gives number 1. Where the file is missing
// beside contacts it is made anew behind the highest contact. Of several the highest counts.
std::uint32_t ClaimContactNumber(const std::string& folder);

// A number that this thread claimed turned out to be used: its next claim searches the folder.
void DistrustContactNumbers() noexcept;
