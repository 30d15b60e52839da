#include "server/MailFolder.h"
#include "server/MailOwner.h"
#include "server/MailServer.h"
#include "trust/Trial.h"

#include <filesystem>
#include <fstream>

namespace
{

// As mail servers deliver: written elsewhere, then renamed into the folder.
void Deliver(const std::string& mailbox, int number)
{
    const std::string name = std::to_string(number);
    std::ofstream(mailbox + "/tmp/" + name) << "From: a@example.org\n\n";
    std::filesystem::rename(mailbox + "/tmp/" + name, mailbox + "/new/" + name);
}

} // namespace

// A message that is delivered right behind a walk, in the same tick of the kernel's clock, is told
// to whoever asks later with the version of that walk.
void TryDeliveries(const CTrialOptions& options, CRow& row)
{
    const std::string mailbox = options.folder + "/example.org/alice";
    for (const char* name : {"/cur", "/new", "/tmp"}) {
        std::filesystem::create_directories(mailbox + name);
    }
    CMailServer server;
    CMailOwner owner;
    CMailFolder folder;
    if (!row.Try(server.Open(options.folder.c_str()) &&
                     owner.Open(server, "alice", "example.org", 0) && folder.Open(owner, "INBOX"),
                 "no folder")) {
        return;
    }
    for (int number = 0; number < options.count; ++number) {
        Deliver(mailbox, 2 * number);
        FILETIME version;
        row.Try(folder.StartMessageEnumeration(0, &version), "first message untold");
        Deliver(mailbox, 2 * number + 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
        row.Try(folder.StartMessageEnumeration(0, &version), "untold");
        for (const int told : {2 * number, 2 * number + 1}) {
            std::filesystem::remove(mailbox + "/new/" + std::to_string(told));
        }
    }
}
