#pragma once

#include "core/ContactId.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// What was done to the files of an address book. A value.
struct CBookRenewal
{
    // The names of contact files with a redo file: of saves that did not finish.
    std::vector<std::string> completed;
    std::vector<std::string> dropped;
    std::vector<std::pair<ContactMgr::CContactId, std::uint32_t>> failed; // with their last errors
    std::size_t renewed = 0;
};

// For an address book of which files were put back from a backup. A redo file is dropped where the
// contact file is older, since it was put back and the next open would write over it; otherwise the
// save was cut short, and it is completed. Then every contact file is stamped, the empty ones too,
// so that everybody who follows the folder hears of it. A contact that somebody holds
// (ERROR_SHARING_VIOLATION, 32) is left as it is and counts as failed. A folder that is not there
// has nothing to renew. False with the last error set where the folder cannot be listed.
bool RenewAddressBook(const std::string& folder, CBookRenewal* renewal);
