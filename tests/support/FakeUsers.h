#pragma once

#include "platform/SystemCalls.h"

#include <string>
#include <utility>
#include <vector>

// A system whose only user with a home folder is alice. Current for as long as it lives.
class CFakeUsers : public CSystemCalls
{
public:
    explicit CFakeUsers(std::string home) : m_home(std::move(home)) { Replace(this); }
    ~CFakeUsers() override { Replace(nullptr); }

    int GetHomeFolder(const char* user, std::string* home) override
    {
        *home = std::string(user) == "alice" ? m_home : "";
        return 0;
    }
    int ListUsers(std::vector<std::string>* names) override
    {
        *names = {"root", "alice", "no name"};
        return 0;
    }

private:
    const std::string m_home;
};
