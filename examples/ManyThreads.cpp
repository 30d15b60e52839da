// Several threads work on one mailbox at once. They share the open mailbox, which is only read, and
// each has a manager of its own. All of them add a line to one contact: whoever finds it held waits
// a moment and tries again. Prints how many lines the contact has in the end.
//
// Usage: ManyThreads LOCATION NAME DOMAIN

#include "core/ContactMgr.h"
#include "platform/LastError.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr int kThreads = 4;
constexpr int kTries = 1000; // a millisecond each

// Null if it does not open, or somebody holds it all the time.
std::unique_ptr<CContact> OpenWaiting(CContactMgr& manager, const ContactMgr::CContactId& id)
{
    CContact* opened = nullptr;
    for (int i = 0; i < kTries; ++i) {
        SetLastError(ERROR_SUCCESS); // some refusals leave no code
        if (manager.OpenContact(id, &opened) || GetLastError() != ERROR_SHARING_VIOLATION) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return std::unique_ptr<CContact>(opened);
}

bool AddLine(CContact& contact)
{
    std::u16string text;
    return contact.GetProperty("Comment", &text) && contact.SetProperty("Comment", text + u"x\n") &&
           contact.Save();
}

// The last error belongs to the thread, so the thread reports it.
void Work(CMailbox& mailbox, const ContactMgr::CContactId& id)
{
    CContactMgr manager(mailbox);
    const std::unique_ptr<CContact> contact = OpenWaiting(manager, id);
    if (contact == nullptr || !AddLine(*contact)) {
        std::fprintf(stderr, "%s\n", LastErrorText(GetLastError()));
    }
}

int Run(char** arguments)
{
    CMailServer server;
    CMailbox mailbox;
    if (!server.Open(arguments[1]) || !mailbox.Open(server, arguments[2], arguments[3])) {
        return 1;
    }
    CContactMgr manager(mailbox);
    std::unique_ptr<CContact> contact(manager.CreateContact(nullptr));
    if (contact == nullptr || !contact->SetProperty("FullName", u"Ann Lee") || !contact->Save()) {
        return 1;
    }
    const ContactMgr::CContactId id = contact->GetId();
    contact.reset(); // or the threads would wait for it in vain
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back(Work, std::ref(mailbox), std::cref(id));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::u16string text;
    contact = OpenWaiting(manager, id);
    if (contact == nullptr || !contact->GetProperty("Comment", &text)) {
        return 1;
    }
    std::printf("%d\n", static_cast<int>(std::ranges::count(text, u'\n')));
    return 0;
}

} // namespace

int main(int count, char** arguments)
{
    return count == 4 ? Run(arguments) : 2;
}
