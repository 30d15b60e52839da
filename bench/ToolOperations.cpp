#include "Fixtures.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

// Runs a program to its end without its output.
void Run(const char* program, const char* argument)
{
    char* const arguments[] = {const_cast<char*>(program), const_cast<char*>(argument), nullptr};
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int error = posix_spawn(&child, program, &files, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&files);
    int status = 0;
    Require(error == 0 && waitpid(child, &status, 0) == child && status == 0, program);
}

// Beside a program that is linked with the same libraries and does nothing.
CPair StartTool(const CShape& /*shape*/)
{
    CPair pair;
    pair.isWallTime = true;
    pair.floor = [] { Run(CONTACTMGR_IDLE, nullptr); };
    pair.library = [] { Run(CONTACTMGR_TOOL, "--version"); };
    return pair;
}

} // namespace

COperations ToolOperations()
{
    return {
        {"start of the tool", "start", "a program with the same libraries", {{}}, 60, StartTool}};
}
