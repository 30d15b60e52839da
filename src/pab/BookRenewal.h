#pragma once

#include "core/ContactId.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

inline namespace contactmgr_internal
{

// What a renewal did to the files of an address book. A value.
struct CBookRenewal
{
    // The names of contact files that had a redo file: their save had not finished.
    std::vector<std::string> completed;
    std::vector<std::string> dropped;
    std::vector<std::pair<ContactMgr::CContactId, std::uint32_t>> failed; // with their last errors
    std::size_t renewed = 0;
};

// To be called after files of an address book were put back from a backup. A contact file that is
// older than its redo file was put back: the redo file is dropped, or the next open would write it
// over the contact. Any other redo file is of a save that was cut short, which is completed. Then
// every contact file is stamped, the empty ones too, so that all followers are told. A contact that
// somebody holds, ERROR_SHARING_VIOLATION (32), stays as it is and counts as failed. A folder that
// does not exist has nothing to renew. False with the last error set where the folder cannot be
// listed.
bool RenewAddressBook(const std::string& folder, CBookRenewal* renewal);

} // namespace contactmgr_internal
