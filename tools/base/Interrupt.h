#pragma once

// From its construction on, SIGINT and SIGTERM do not end the process but are asked for. A second
// one ends it as usual. A system call that waits is cut short by the first. One at a time. A
// resource.
class CInterrupt
{
public:
    CInterrupt();
    ~CInterrupt();
    CInterrupt(const CInterrupt&) = delete;
    CInterrupt& operator=(const CInterrupt&) = delete;

    static bool HasCome();
};
