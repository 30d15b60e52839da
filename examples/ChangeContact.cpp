// Makes a contact, changes it, and prints its identifier.
//
// Usage: ChangeContact LOCATION NAME DOMAIN, such as /var/vmail alice example.org

#include "core/ContactMgr.h"
#include "platform/LastError.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"

#include <cstdio>
#include <memory>

namespace
{

// Gives null, or what went wrong. A list is copied, changed, and handed back: its setter marks the
// contact as changed.
const char* AddAddress(CContactMgr& manager, const ContactMgr::CContactId& id, const char* text)
{
    CContact* opened = nullptr;
    SetLastError(ERROR_SUCCESS); // some refusals leave no code
    if (!manager.OpenContact(id, &opened)) {
        return LastErrorText(GetLastError());
    }
    const std::unique_ptr<CContact> contact(opened);
    CContactEmailList emails = contact->GetEmails();
    CContactEmail email;
    email.SetType(CContactEmail::kInternet | CContactEmail::kPref);
    if (!email.GetAddress().Parse(text)) {
        return LastErrorText(GetLastError());
    }
    emails.AddTail(email);
    return contact->SetEmails(emails) && contact->Save() ? nullptr : LastErrorText(GetLastError());
}

// Gives null, or what went wrong.
const char* Run(char** arguments)
{
    CMailServer server;
    CMailbox mailbox;
    if (!server.Open(arguments[1]) || !mailbox.Open(server, arguments[2], arguments[3])) {
        return LastErrorText(GetLastError());
    }
    CContactMgr manager(mailbox);
    std::unique_ptr<CContact> ann(manager.CreateContact(nullptr));
    if (!ann || !ann->SetProperty("FullName", u"Ann Lee") || !ann->Save()) {
        return LastErrorText(GetLastError());
    }
    const ContactMgr::CContactId id = ann->GetId();
    ann.reset(); // lets go of the contact, which AddAddress opens
    std::puts(id.ToString().c_str());
    return AddAddress(manager, id, "ann@example.com");
}

} // namespace

int main(int count, char** arguments)
{
    const char* const fault = count == 4 ? Run(arguments) : "LOCATION NAME DOMAIN, please";
    if (fault != nullptr) {
        std::fprintf(stderr, "%s\n", fault);
    }
    return fault == nullptr ? 0 : 1;
}
