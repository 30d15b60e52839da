#pragma once

#include "support/TempFolder.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

// What a run of the command-line tool gave.
struct CToolRun
{
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the command-line tool on a mail store of its own, with the mailboxes alice and bob of
// example.org, as alice. The user's cache folder is `cache` below it.
class CTool
{
public:
    CTool()
    {
        for (const char* mailbox : {"alice", "bob"}) {
            std::filesystem::create_directories(StorePath() + "/example.org/" + mailbox + "/cur");
        }
        setenv("XDG_CACHE_HOME", (m_folder / "cache").c_str(), 1);
    }

    const CTempFolder& Folder() const { return m_folder; }
    std::string StorePath() const { return m_folder / "store"; }

    CToolRun Run(const std::vector<std::string>& arguments, const std::string& input = "",
                 std::string outPath = "") const
    {
        std::vector<std::string> words = {CONTACTMGR_TEST_TOOL, "--store", StorePath(), "--mailbox",
                                          "alice@example.org"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        outPath = outPath.empty() ? m_folder / "out" : outPath;
        m_folder.Write("in", input);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, (m_folder / "in").c_str(), O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), kNewFile, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, (m_folder / "err").c_str(), kNewFile, 0600);
        std::vector<char*> pointers;
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        pid_t child = 0;
        const int failed =
            posix_spawn(&child, CONTACTMGR_TEST_TOOL, &actions, nullptr, pointers.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        int status = 0;
        if (failed != 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
            throw std::runtime_error("the tool did not run to its end");
        }
        return {WEXITSTATUS(status), m_folder.Read("out"), m_folder.Read("err")};
    }

private:
    static constexpr int kNewFile = O_WRONLY | O_CREAT | O_TRUNC;

    CTempFolder m_folder;
};
