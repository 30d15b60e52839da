#pragma once

#include "platform/Descriptor.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// What tells that a file has been written anew since it was last looked at. A value.
struct CFileMark
{
    std::uint64_t size = 0;
    std::int64_t time = 0; // last write, in nanoseconds since 1970
    std::uint64_t inode = 0;

    bool operator==(const CFileMark&) const = default;
};

// A folder of cards, one in a file, as vdirsyncer and khard have it (the vdir format). Files whose
// names begin with a dot or do not end in ".vcf" are nobody's card. A file is written under another
// name and renamed, so no reader ever sees half a card.
//
// False comes with the last error of the system, such as ERROR_PATH_NOT_FOUND (3) or
// ERROR_DISK_FULL (112). A resource: holds the folder's lock.
class CVdir
{
public:
    static constexpr std::uint64_t kMaxCardBytes = 32u << 20;

    explicit CVdir(std::string folder);
    CVdir(const CVdir&) = delete;
    CVdir& operator=(const CVdir&) = delete;

    const std::string& Folder() const { return m_folder; }

    // Makes the folder if it is missing and its parent is there. The folder and its files are open
    // to the user and the group, as far as the umask says; a file that is replaced keeps its mode.
    bool Make() const;

    // Opens the folder and locks it against others that open it in this way; they get
    // ERROR_SHARING_VIOLATION (32). Removes what a writer that died has left.
    bool Open();

    // The cards by their file names. What is there but cannot be looked at, such as a link whose
    // target's disk is not there, is in the list too, and Read fails.
    bool List(std::map<std::string, CFileMark>* files) const;

    // The text of a file. *mark belongs to this very text. ERROR_FILE_TOO_LARGE (223): above
    // kMaxCardBytes.
    bool Read(const std::string& name, std::string* text, CFileMark* mark) const;

    // Whether there is such a name, and be it a link that leads nowhere.
    bool Exists(const std::string& name) const;

    // Whether the file is still the one of the mark; for nullptr, whether there is none.
    bool IsStill(const std::string& name, const CFileMark* mark) const;

    // Writes a text beside the file, to take its place in Commit. *mark becomes the file's.
    bool Stage(const std::string& name, std::string_view text, CFileMark* mark);

    // Flushes all that was staged to the disk.
    bool FlushStaged();
    // Puts a staged text in the place of its file, and drops one that is not to be used.
    bool Commit(const std::string& name);
    void Discard(const std::string& name);

    bool Remove(const std::string& name);

    // Flushes what was renamed and removed.
    bool Flush();

private:
    std::string PathOf(const std::string& name) const { return m_folder + '/' + name; }
    static std::string StagedName(const std::string& name);

    std::string m_folder;
    CDescriptor m_descriptor;
};

// A file name for a card with that UID: the UID with ".vcf", or a name that follows from it where
// it holds what may not stand in a file name.
std::string VdirNameOf(std::string_view uid);

// Writes a file of the program's own: under another name, flushed, renamed, and the folder flushed.
// False with the last error; the old file then stands as it was.
bool ReplaceFile(const std::string& path, std::string_view text);

// The text of a file. False with ERROR_FILE_NOT_FOUND (2) if there is none.
bool ReadWholeFile(const std::string& path, std::string* text);
