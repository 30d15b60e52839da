#pragma once

#include "server/MailFolder.h"
#include "server/MailOwner.h"
#include "server/MailServer.h"
#include "server/Mailbox.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>

// An open mail store in a temporary folder, with the mailbox alice@example.org.
class CTestMailStore
{
public:
    explicit CTestMailStore(
        const std::filesystem::path& above = std::filesystem::temp_directory_path())
        : folder(above)
    {
        AddMailbox("example.org/alice");
        server.Open(folder.Path().c_str());
    }

    void AddMailbox(std::string_view path) const
    {
        for (const char* name : {"/cur", "/new", "/tmp"}) {
            std::filesystem::create_directories(folder / (std::string(path) + name));
        }
    }

    // The path of something in alice's mailbox folder.
    std::string operator/(std::string_view name) const
    {
        return folder / ("example.org/alice/" + std::string(name));
    }

    // Puts a message or another file there.
    void Deliver(std::string_view name, std::string_view text = "From: a@example.org\n\n") const
    {
        folder.Write("example.org/alice/" + std::string(name), text);
    }

    CMailbox OpenAlice() const
    {
        CMailbox mailbox;
        mailbox.Open(server, "alice", "example.org");
        return mailbox;
    }

    CMailFolder OpenFolder(const char* name = "INBOX") const
    {
        CMailOwner owner;
        CMailFolder opened;
        if (owner.Open(server, "alice", "example.org", 0)) {
            opened.Open(owner, name);
        }
        return opened;
    }

    CTempFolder folder;
    CMailServer server;
};

// Sets a file's or folder's last-write time that far from now.
inline void SetAge(const std::string& path, std::chrono::seconds age)
{
    std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() - age);
}
