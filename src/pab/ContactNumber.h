#pragma once

#include <cstdint>
#include <string>

inline namespace contactmgr_internal
{

// Claims the next contact number of an address book folder, or gives 0 with the last error of what
// failed. The number stands in the name of an empty file, the counter, "%08x.nxt". Whoever renames
// the counter to the next number has claimed the number: of several callers exactly one succeeds.
//
// A folder without a counter and without a contact gives number 1. If the counter is missing beside
// contacts, it is made anew behind the highest contact. Of several counters the highest counts.
std::uint32_t ClaimContactNumber(const std::string& folder);

// Makes the next claim in the folder search it: a number that was claimed there was used before.
void DistrustContactNumbers(const std::string& folder) noexcept;

} // namespace contactmgr_internal
