#include "base/FolderWatch.h"

#include "platform/FileAttributes.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace
{

// A change of a contact ends with a new time of the folder. Other programs put files there.
constexpr std::uint32_t kEvents = IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_TO |
                                  IN_MOVED_FROM | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

// Longer than a save takes that is not flushed; and how often it is waited for at most, where one
// change follows the other.
constexpr std::chrono::milliseconds kMoment{20};
constexpr int kMoments = 25;

sigset_t StopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

std::string FolderAbove(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == path.npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

CFolderWatch::CFolderWatch(std::string folder)
    : m_folder(std::move(folder)), m_events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    const sigset_t signals = StopSignals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    m_signals = CDescriptor(signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
}

CFolderWatch::~CFolderWatch()
{
    const sigset_t signals = StopSignals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

// A folder that comes into being between the failed watch of it and the watch of the one above
// gives no event, so it is tried again.
void CFolderWatch::Renew()
{
    std::string path;
    std::string below;
    do {
        int watch = -1;
        for (path = m_folder, below = m_folder;; below = path, path = FolderAbove(path)) {
            watch = inotify_add_watch(m_events.Get(), path.c_str(), kEvents);
            if (watch >= 0 || errno != ENOENT || path == "/" || path == ".") {
                break;
            }
        }
        m_isUsable = watch >= 0 && HasTimesOfThisMachine(path.c_str());
        if (watch != m_watch && m_watch >= 0) {
            inotify_rm_watch(m_events.Get(), m_watch);
        }
        m_watch = watch;
    } while (m_watch >= 0 && path != m_folder && access(below.c_str(), F_OK) == 0);
}

CFolderWatch::EEnd CFolderWatch::Wait(std::optional<std::chrono::milliseconds> time)
{
    std::array<pollfd, 3> files = {
        {{m_events.Get(), POLLIN, 0}, {m_signals.Get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    const int wait = time ? static_cast<int>(time->count()) : -1;
    int count = 0;
    while ((count = poll(files.data(), files.size(), wait)) < 0 && errno == EINTR) {
    }
    if (files[1].revents != 0) {
        signalfd_siginfo signal;
        return read(m_signals.Get(), &signal, sizeof signal) > 0 ? EEnd::kStop : EEnd::kTime;
    }
    if (files[2].revents != 0) {
        return EEnd::kStop;
    }
    if (count == 0) {
        return EEnd::kTime;
    }
    Drain();
    for (int i = 0; i < kMoments; ++i) {
        std::this_thread::sleep_for(kMoment);
        if (!Drain()) {
            break;
        }
    }
    return EEnd::kChange;
}

// Takes the events off the queue. Whether there were any.
bool CFolderWatch::Drain() const
{
    std::array<char, 16 << 10> events;
    bool hasEvents = false;
    while (read(m_events.Get(), events.data(), events.size()) > 0) {
        hasEvents = true;
    }
    return hasEvents;
}
