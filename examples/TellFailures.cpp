// Runs into one failure of each kind, and says what a program does about it. The reason of a
// failure is the thread's last error; a success leaves it as it was.
//
// Usage: TellFailures LOCATION NAME DOMAIN

#include "core/ContactMgr.h"
#include "platform/LastError.h"
#include "server/MailServer.h"
#include "server/MailStoreAdmin.h"
#include "server/Mailbox.h"

#include <cstdio>
#include <memory>
#include <string>

namespace
{

const char* Advice(std::uint32_t code)
{
    switch (code) {
    case ERROR_SUCCESS:
        return "deleted, or no contact at all: forget the identifier";
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return "there never was one: forget the identifier";
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
        return "somebody holds it: try again soon";
    case ERROR_DISK_FULL:
    case ERROR_DISK_QUOTA_EXCEEDED:
        return "make room, then Save once more: the object still has the changes";
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_TOO_MANY_OPEN_FILES:
        return "give up what is not needed, then try again";
    case ERROR_INVALID_PARAMETER:
    case ERROR_INVALID_DATA:
        return "the caller's value: refuse it where it came from";
    case ERROR_NOT_FOUND:
    case ERROR_NOT_SUPPORTED:
        return "this store does not do that: do not offer it";
    default: // such as ERROR_ACCESS_DENIED, ERROR_IO_DEVICE
        return "tell the administrator";
    }
}

// Some refusals leave the last error as it was, so it is 0 before each call.
template <class Call>
void Expect(const char* what, Call call)
{
    SetLastError(ERROR_SUCCESS);
    if (!call()) {
        const std::uint32_t code = GetLastError();
        std::printf("%s: %s (%u): %s\n", what, LastErrorText(code), code, Advice(code));
    }
}

void TryContacts(CMailbox& mailbox)
{
    CContactMgr manager(mailbox);
    std::unique_ptr<CContact> contact;
    Expect("a new contact", [&] {
        contact.reset(manager.CreateContact(nullptr));
        return contact && contact->SetProperty("FullName", u"Ann Lee") && contact->Save();
    });
    if (contact == nullptr) {
        return;
    }
    const ContactMgr::CContactId id = contact->GetId();
    Expect("a held contact", [&] { return manager.OpenContact(id, nullptr); });
    Expect("a bad value", [&] { return contact->SetProperty("FullName", u"\r"); });
    Expect("an unknown number", [&] { return manager.OpenContact("VCARDPAB-999", nullptr); });
    Expect("an unknown store", [&] { return manager.OpenContact("CLOUD-1", nullptr); });
    Expect("a sender", [&] { return manager.DeleteContact("INBOX-a@example.net"); });
}

} // namespace

// The functions Explain... have words for why a store or a mailbox does not open.
int main(int count, char** arguments)
{
    CMailServer server;
    CMailbox mailbox;
    if (count != 4 || !server.Open(arguments[1])) {
        std::puts(count == 4 ? ExplainLocation(arguments[1], {}).c_str() : "wrong usage");
        return 1;
    }
    if (!mailbox.Open(server, "nobody", arguments[3])) {
        std::puts(ExplainMailbox(server, "nobody", arguments[3]).c_str());
    }
    if (mailbox.Open(server, arguments[2], arguments[3])) {
        TryContacts(mailbox);
    }
    return 0;
}
