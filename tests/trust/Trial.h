#pragma once

#include "platform/LastError.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <iostream>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

// What the trials of the address book share. A trial works in a fresh folder on the file system
// that it is given, with real files, processes and kills, and counts what it tried and what broke.

struct CTrialOptions
{
    std::string folder;
    std::string second; // another path or mount of the same folder, or the same path
    int count = 1;
    bool withJitter = false;
    std::string log;
    std::string share = "true"; // a shell command that shares the blocks of what is there

    // Every other worker looks through the second path.
    const auto& FolderOf(std::size_t worker) const { return worker % 2 == 0 ? folder : second; }
};

// One row of the table. The first reasons for which something counts as broken are kept.
class CRow
{
public:
    // Counts trials, and says which ones broke.
    bool Try(bool isKept, const std::string& what, std::int64_t count = 1)
    {
        m_tried += count;
        if (!isKept) {
            ++m_broken;
            Note(what + " (error " + std::to_string(GetLastError()) + ")");
        }
        return isKept;
    }
    void Note(const std::string& text)
    {
        if (m_note.size() < 300) {
            m_note += (m_note.empty() ? "" : "; ") + text;
        }
    }
    // Prints "promise | tried | broken | note"; true if nothing broke and something was tried.
    bool Print(const std::string& promise) const
    {
        std::cout << promise << " | " << m_tried << " | " << m_broken << " | " << m_note << '\n';
        return m_broken == 0 && m_tried > 0;
    }

private:
    std::int64_t m_tried = 0;
    std::int64_t m_broken = 0;
    std::string m_note;
};

using Trial = void(const CTrialOptions& options, CRow& row);
Trial TryKills;
Trial TryRandomKills;
Trial TryNumbers;
Trial TryChanges;
Trial TryHandles;
Trial TryDeliveries;
Trial TryFullDisk; // fills the folder's disk
Trial TryRoot;
Trial SaveUntilKilled;     // with flushing on, and logs what was acknowledged
Trial RepairAfterPowerCut; // opens all contacts in a copy of that disk, without flushing
Trial ReadAfterPowerCut;   // of such a copy, or of a copy of that

// A child that ends with this process at the latest: with 0 after true, else with its last error.
inline pid_t StartWorker(const std::function<bool()>& work)
{
    const pid_t parent = getpid();
    const pid_t worker = fork();
    if (worker == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const bool isDone = getppid() == parent && work();
        _exit(isDone ? 0 : static_cast<int>(std::clamp(GetLastError(), 1u, 255u)));
    }
    return worker;
}

inline std::vector<pid_t> StartWorkers(std::size_t count,
                                       const std::function<bool(std::size_t worker)>& work)
{
    std::vector<pid_t> workers;
    for (std::size_t worker = 0; worker < count; ++worker) {
        workers.push_back(StartWorker([&] { return work(worker); }));
    }
    return workers;
}

// Gives how it ended.
inline int Kill(pid_t worker)
{
    int status = 0;
    kill(worker, SIGKILL);
    waitpid(worker, &status, 0);
    return status;
}

// Waits for the ends of all. The last error of one that failed becomes that of this process.
inline bool HaveSucceeded(const std::vector<pid_t>& workers)
{
    int failed = 0;
    for (const pid_t worker : workers) {
        int status = 0;
        waitpid(worker, &status, 0);
        failed = status != 0 ? status : failed;
    }
    SetLastError(static_cast<std::uint32_t>(WEXITSTATUS(failed)));
    return failed == 0;
}

// Memory that children share with their parent: zero at first, and there until the process ends.
template <class Value>
Value& Share()
{
    void* memory =
        mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return *new (memory) Value;
}

// Not from a sequence, which children would have in common.
inline std::uint32_t RandomBelow(std::uint32_t limit)
{
    static std::random_device random;
    return random() % limit;
}

inline void SleepMicroseconds(std::uint32_t microseconds)
{
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}
