#pragma once

#include "platform/Descriptor.h"

#include <chrono>
#include <optional>
#include <string>

// Waits until something changes in a folder of an address book, by inotify. A folder that does not
// exist is waited for: the nearest one above it is watched. A resource.
//
// While one lives, SIGINT and SIGTERM do not end the process but the waiting.
class CFolderWatch
{
public:
    // Throws std::bad_alloc.
    explicit CFolderWatch(std::string folder);
    CFolderWatch(const CFolderWatch&) = delete;
    CFolderWatch& operator=(const CFolderWatch&) = delete;
    ~CFolderWatch();

    // Whether a change shows: not on a network file system, where others may make it, and not if
    // the system has no watch left for this process.
    bool IsUsable() const { return m_isUsable; }

    // Watches the folder as it is now. To be called before the folder is read; a change behind that
    // call ends the next wait.
    void Renew();

    enum class EEnd
    {
        kChange,
        kTime,
        kStop // by a signal, or nobody reads standard output any more
    };
    // Returns when the time is over at the latest, if there is one, and after a change once nothing
    // has changed for a moment, so that what comes with it is seen at once.
    EEnd Wait(std::optional<std::chrono::milliseconds> time);

private:
    bool Drain() const;

    const std::string m_folder;
    CDescriptor m_events;
    CDescriptor m_signals;
    int m_watch = -1; // of the folder, or of the nearest one above it
    bool m_isUsable = true;
};
