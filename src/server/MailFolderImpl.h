#pragma once

#include "platform/FolderLock.h"
#include "platform/Types.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

inline namespace contactmgr_internal
{

// Whether a text can be a message id at all; sets no last error.
bool IsMessageId(const char* id);

// The part of an open mail folder that knows its files. A walk lists their names at its first step,
// sorted by id, and finds its messages in that list. Without an open walk a message is looked for
// in the folder itself.
//
// Deliveries and renames set a folder's time from a clock that ticks every few milliseconds, or on
// a network file system from another machine's. A change in the tick in which the time was read
// leaves it as it is. So a time that is this fresh is not trusted: as a version it is handed out
// one unit less, and equal times do not show that nothing has changed.
class CMailFolderImpl
{
public:
    explicit CMailFolderImpl(std::string path) : m_path(std::move(path)) {}

    const std::string& Path() const { return m_path; }

    struct FolderTimes
    {
        FILETIME clock; // when the others were read
        FILETIME cur;
        FILETIME fresh; // of `new`; zero if there is none
    };
    struct Version
    {
        FolderTimes times;
        FILETIME time;  // the later time of `cur` and `new`
        FILETIME given; // what a caller may keep as the version that it knows
    };
    bool ReadVersion(Version* version) const;

    bool Lock() { return m_lock.IsHeld() || m_lock.AcquireShared(m_path.c_str()); }

    // The times were read just now.
    void StartWalk(const FolderTimes& times);
    bool IsWalking() const { return m_isWalking; }
    void EndWalk();

    // The next message's id, valid until the next operation. False with last error
    // ERROR_NO_MORE_FILES (18) at the end, or as the listing left it.
    bool NextId(std::string_view* id);

    // Runs an operation on the path of a message's file, and again if another client has renamed
    // the file meanwhile. False with last error ERROR_FILE_NOT_FOUND (2) if there is no such
    // message, else as the operation leaves it.
    using FileOperation = std::function<bool(const std::string& path)>;
    bool WithFile(std::string_view id, const FileOperation& operation);

    bool Remove(std::string_view id);

private:
    struct Message
    {
        std::string file;
        std::string digest;           // the id if the name's unique part cannot be one
        std::size_t uniqueLength = 0; // of the unique part of the name
        bool isNew = false;           // in `new`, not in `cur`
    };

    static std::string_view IdOf(const Message& message);
    static Message MessageOf(std::string file, bool isNew);

    bool ReadTimes(FolderTimes* times) const;
    // Whether every change behind that reading of the clock moves the time.
    bool IsSettled(const FILETIME& time, const FILETIME& clock) const;
    bool List(const FolderTimes& times);
    bool ListAgainIfChanged();
    std::string PathOf(const Message& message) const;
    std::size_t Find(std::string_view id) const;
    bool ForEachName(bool isNew, const std::function<void(std::string_view name)>& function) const;
    bool FindUnlisted(std::string_view id, std::string* path) const;
    bool FindPath(std::string_view id, std::string* path);
    void MoveVersionPast(const FILETIME& version) const;

    const std::string m_path;
    CFolderLock m_lock;
    std::vector<Message> m_messages; // sorted by id, each id once
    FolderTimes m_listedTimes;       // read before the names were listed
    std::size_t m_next = 0;
    bool m_isListed = false;
    bool m_isWalking = false;
};

} // namespace contactmgr_internal
