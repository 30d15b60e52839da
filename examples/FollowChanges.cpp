// Follows the personal address book of a mailbox, round by round. Its state file holds the version
// of the last report and the contacts that could not be read yet. It may be stopped at any moment:
// the next round begins from the state file, and may hand on once more what was handed on already.
// Without a state file it begins anew, with all contacts.
//
// Usage: FollowChanges LOCATION NAME DOMAIN STATEFILE ROUNDS

#include "core/ContactMgr.h"
#include "platform/LastError.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <thread>

namespace
{

// Hands on a new or changed contact. False: to be tried again in the next round, as a contact that
// somebody holds.
bool Put(CContactMgr& manager, const std::string& id)
{
    CContact* opened = nullptr;
    SetLastError(ERROR_SUCCESS);
    if (!manager.OpenContact(id, &opened)) {
        // No code: deleted just now, which the next report tells, or the file is no vCard.
        return GetLastError() == ERROR_SUCCESS || GetLastError() == ERROR_FILE_NOT_FOUND;
    }
    const std::unique_ptr<CContact> contact(opened);
    std::u16string card;
    return contact->ToString(&card) && std::cout << "put " << id << std::endl;
}

bool Follow(CContactMgr& manager, FILETIME* version, std::set<std::string>* waiting)
{
    ContactMgr::CContactIdList deleted, changed, created;
    if (!manager.ChangesSince("VCARDPAB", *version, version, &deleted, &changed, &created)) {
        return false;
    }
    for (const ContactMgr::CContactId& id : deleted) {
        waiting->erase(id.ToString());
        std::cout << "remove " << id.ToString() << std::endl; // one that was never put, perhaps
    }
    created.AddTail(changed);
    for (const ContactMgr::CContactId& id : created) {
        waiting->insert(id.ToString());
    }
    std::erase_if(*waiting, [&](const std::string& id) { return Put(manager, id); });
    return true;
}

bool Round(CContactMgr& manager, const std::string& path)
{
    std::uint64_t count = 0; // version 0 reports every contact
    std::ifstream old(path);
    old >> count;
    std::set<std::string> waiting{std::istream_iterator<std::string>(old), {}};
    FILETIME version = FileTimeFromCount(count);
    if (!Follow(manager, &version, &waiting)) {
        std::cerr << "no report: " << LastErrorText(GetLastError()) << '\n';
        return false;
    }
    std::ofstream state(path + ".new");
    state << FileTimeToCount(version) << '\n';
    std::ranges::copy(waiting, std::ostream_iterator<std::string>(state, "\n"));
    state.close();
    // The new state replaces the old one whole, or not at all.
    return state && std::rename((path + ".new").c_str(), path.c_str()) == 0;
}

} // namespace

int main(int count, char** arguments)
{
    CMailServer server;
    CMailbox mailbox;
    if (count != 6 || !server.Open(arguments[1]) ||
        !mailbox.Open(server, arguments[2], arguments[3])) {
        return 1;
    }
    CContactMgr manager(mailbox);
    for (int rounds = std::atoi(arguments[5]); rounds > 0; --rounds) {
        const bool isDone = Round(manager, arguments[4]);
        if (rounds > 1) {
            std::this_thread::sleep_for(std::chrono::seconds(isDone ? 1 : 30));
        }
    }
}
