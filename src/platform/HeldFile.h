#pragma once

#include "platform/OpenFile.h"

#include <string>

inline namespace contactmgr_internal
{

// A regular file that is locked from its open to its close. Its changes follow
// platform/ChangeProtocol.h. A resource. False comes with the last error set.
class CHeldFile final : public COpenFile
{
public:
    explicit CHeldFile(const char* path);

    // Makes the file with its lock and its creation time.
    bool Create();
    // Opens and locks an existing file.
    bool Hold();
    // Reads the beginning of the content, and how long it is. After Hold and before Read.
    bool ReadStart();

    // Replaces the content. See platform/FileRewrite.h.
    bool Rewrite(std::string_view content);
    // Removes the content, which deletes the contact.
    bool Empty();
    // Stamps the file; its content stays.
    bool Restamp();
    // Completes the rewrite that a redo file holds, or drops the redo file.
    bool Repair();

    CHeldFile* Held() noexcept override { return this; }
    bool Read(char* buffer, std::size_t size, std::size_t* count) override;
    bool Write(std::string_view bytes) override;
    bool GetSize(std::uint64_t* size) const override;

private:
    bool ReadStatus();
    std::size_t TakeStart(char* buffer, std::size_t size);
    bool PrepareChange();
    bool Reserve(std::uint64_t size);
    bool Overwrite(std::string_view content, bool isFlushing);
    bool Complete(std::string_view content, bool isFlushing);
    bool Truncate(std::uint64_t size);
    bool Sync();
    bool RemoveRedoFile();

    const std::string m_path;
    const std::string m_folder;
    std::uint64_t m_size = 0;  // nobody else changes it; after a failed overwriting an upper limit
    std::uint64_t m_inode = 0; // 0 until it is needed
    std::string m_start;       // what ReadStart has read and nobody has taken yet
    bool m_isCreationNoted = false; // by Create
    bool m_isUnfinished = false;    // an overwriting failed; the redo file has the whole text
};

} // namespace contactmgr_internal
