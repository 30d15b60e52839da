#pragma once

#include "platform/FolderLock.h"
#include "platform/Types.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// Whether a text can be a message id at all; sets no last error.
bool IsMessageId(const char* id);

// What stands behind an open mail folder: the names of its messages' files as they were listed
// last, by which messages are walked and found.
class CMailFolderImpl
{
public:
    explicit CMailFolderImpl(std::string path) : m_path(std::move(path)) {}

    // The later time of `cur` and `new`.
    bool ReadVersion(FILETIME* version) const;

    bool Lock() { return m_lock.IsHeld() || m_lock.AcquireShared(m_path.c_str()); }

    bool StartWalk();
    bool IsWalking() const { return m_isWalking; }
    void EndWalk() { m_isWalking = false; }

    // The next message's id, valid until the next operation; empty at the end.
    std::string_view NextId();

    // Runs an operation on the path of a message's file, and again where another client has renamed
    // the file meanwhile. False with last error 2 if there is no such message, else as the
    // operation leaves it.
    using FileOperation = std::function<bool(const std::string& path)>;
    bool WithFile(std::string_view id, const FileOperation& operation);

    bool Remove(std::string_view id);

private:
    struct Message
    {
        std::string file;
        std::string digest; // the id where the name's unique part cannot be one
        bool isNew = false; // in `new`, not in `cur`
    };
    struct FolderTimes
    {
        FILETIME cur;
        FILETIME fresh; // of `new`; zero where there is none
        bool operator==(const FolderTimes&) const = default;
    };

    static std::string_view IdOf(const Message& message);
    static Message MessageOf(std::string file, bool isNew);

    bool ReadTimes(FolderTimes* times) const;
    bool List();
    bool ListAgainIfChanged();
    bool AppendNames(const char* subfolder, bool isNew, std::vector<Message>* messages) const;
    std::string PathOf(const Message& message) const;
    std::size_t Find(std::string_view id) const;
    void MoveVersionPast(const FILETIME& version) const;

    const std::string m_path;
    CFolderLock m_lock;
    std::vector<Message> m_messages; // sorted by id, each id once
    FolderTimes m_listedTimes;       // taken before the names were listed
    std::size_t m_next = 0;
    bool m_isListed = false;
    bool m_isWalking = false;
};
