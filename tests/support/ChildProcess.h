#pragma once

#include <functional>

#include <sys/wait.h>
#include <unistd.h>

// Starts a child process that runs the function; WaitForChild says whether it gave true. The child
// runs no destructors of the parent's objects.
inline pid_t StartChild(const std::function<bool()>& function)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(function() ? 0 : 1);
    }
    return child;
}

inline bool WaitForChild(pid_t child)
{
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

inline bool RunInChild(const std::function<bool()>& function)
{
    return WaitForChild(StartChild(function));
}
