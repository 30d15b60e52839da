// Walks the contacts of all stores as one address book, and says what the walk did not show. The
// walk itself leaves out a contact whose first address another contact has shown before.
//
// Usage: WalkAllStores LOCATION NAME DOMAIN

#include "core/ContactMgr.h"
#include "platform/LastError.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"

#include <cstdio>
#include <memory>

namespace
{

void Print(CContact& contact)
{
    CContactEmailList& emails = contact.GetEmails();
    std::printf("%s\t%s\n", contact.GetId().ToString().c_str(),
                emails.IsEmpty() ? "" : emails.GetHead().GetAddress().RawFullAddress());
}

// A contact that another program held for the moment of the walk is worth another try.
void TryAgain(CContactMgr& manager, const CContactPlg::CWalkFault& fault)
{
    CContact* opened = nullptr;
    SetLastError(ERROR_SUCCESS);
    if (fault.store == "VCARDPAB" && manager.OpenContact(fault.item, &opened)) {
        Print(*std::unique_ptr<CContact>(opened));
        return;
    }
    std::fprintf(stderr, "store %s, %s: %s%s\n", fault.store.c_str(), fault.item.c_str(),
                 LastErrorText(fault.error), fault.endsStore ? "; the rest is not shown" : "");
}

int Run(char** arguments)
{
    CMailServer server;
    CMailbox mailbox;
    if (!server.Open(arguments[1]) || !mailbox.Open(server, arguments[2], arguments[3])) {
        std::fprintf(stderr, "%s\n", LastErrorText(GetLastError()));
        return 1;
    }
    CContactMgr manager(mailbox);
    const std::unique_ptr<CContactPlg::CContactEnumerator> walk(manager.GetEnumerator());

    // A version in place of the first null asks whether anything is newer: if nothing is, the
    // walk does not open. Keep walk->GetVersion() for that.
    if (!walk || !walk->Start(nullptr, nullptr)) {
        std::fprintf(stderr, "%s\n", LastErrorText(GetLastError()));
        return 1;
    }
    while (walk->MoveNext()) {
        Print(*walk->GetCurrent()); // stays the walk's, until the next MoveNext
    }
    if (walk->IsStarted()) { // it ended before its end: memory is exhausted
        std::fprintf(stderr, "%s\n", LastErrorText(ERROR_NOT_ENOUGH_MEMORY));
        return 1;
    }
    walk->Finish();
    for (const CContactPlg::CWalkFault& fault : walk->GetFaults()) {
        TryAgain(manager, fault);
    }
    for (const auto& [compression, messages] : walk->GetPassedOver()) {
        std::fprintf(stderr, "%zu messages in %s are not read\n", messages, compression.c_str());
    }
    return 0;
}

} // namespace

int main(int count, char** arguments)
{
    return count == 4 ? Run(arguments) : 2;
}
