#pragma once

#include "platform/Types.h"
#include "sync/Vdir.h"

#include <map>
#include <string>
#include <vector>

// One card that both sides had after the last run. A value.
struct CSyncedCard
{
    std::string id;   // of the contact
    std::string uid;  // what both sides have
    std::string file; // its name
    CFileMark mark;
    // StoredDigest of what each side may hold without having been changed by anybody else. More
    // than one if a run that did not come to its end was to write there: what stood there before,
    // and what was to be written.
    std::vector<std::string> ours;
    std::vector<std::string> theirs;
    bool isUnread = false; // the contact is read again, whether or not it changes

    bool operator==(const CSyncedCard&) const = default;
};

// What a run keeps for the next one. A value.
struct CSyncState
{
    std::string mailbox;       // NAME@DOMAIN
    std::string folder;        // its path; empty if the state stands in it
    FILETIME version = {0, 0}; // of the address book, as CContactMgr::ChangesSince
    std::vector<CSyncedCard> cards;
    std::map<std::string, CFileMark> passed; // files that were told once and are left alone

    bool operator==(const CSyncState&) const = default;
};

// False with ERROR_FILE_NOT_FOUND (2) if there is no such file, and ERROR_INVALID_DATA (13) if it
// was not written by WriteSyncState.
bool ReadSyncState(const std::string& path, CSyncState* state);

// Replaces the file at once and on the disk. False with the last error.
bool WriteSyncState(const std::string& path, const CSyncState& state);
