#include "core/ContactMgr.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"

#include <cstdio>
#include <memory>

// What a user of the installed package writes: makes a contact in the given mailbox of the given
// store, and walks its address book.
int main(int, char** arguments)
{
    CMailServer server;
    CMailbox mailbox;
    if (!server.Open(arguments[1]) || !mailbox.Open(server, arguments[2], "example.org")) {
        return 1;
    }
    CContactMgr manager(mailbox);
    std::unique_ptr<CContact> ann(manager.CreateContact(nullptr));
    if (!ann || !ann->SetProperty("FullName", u"Ann Lee") || !ann->Save()) {
        return 1;
    }
    ann.reset(); // lets go of the contact's file, which the walk opens

    const std::unique_ptr<CContactPlg::CContactEnumerator> walk(manager.GetEnumerator());
    if (!walk || !walk->Start(nullptr, nullptr)) {
        return 1;
    }
    while (walk->MoveNext()) {
        std::puts(walk->GetCurrent()->GetId().ToString().c_str());
    }
    return 0;
}
