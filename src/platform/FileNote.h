#pragma once

#include "platform/Types.h"

#include <optional>

#include <sys/stat.h>

// What the extended attribute "user.contact.btime" of a contact file tells. File systems without
// user attributes note nothing.
struct FileNote
{
    std::optional<FILETIME> creation;
    // A writer is at it, or has died or failed there: what content there is may not have been
    // stamped, nor the folder's time been moved to that stamp. Means nothing on an empty file.
    bool isOpen = false;
    bool isRead = false;
};

// An attribute that is missing, or not one of ours, leaves an empty note.
bool ReadNote(int file, FileNote* note);

// The creation of a file, its first content, is noted as right before the stamp of that content:
// not earlier than any version that was taken before, and earlier than the folder's time from then
// on. Until the content is there and stamped, a time that lies ahead of every stamp is noted: a
// report that sees the content must not take the file for an old one. BeginCreation gives the
// moment, or with isFirst false keeps that of an earlier attempt; where it lies back so far that
// reports have given the maker up, an earlier creation is noted, as they have told it. Both leave
// the note open.
bool BeginCreation(int file, const char* folder, bool isFirst, FileNote* note, FILETIME* begin);
bool EndCreation(int file, const FILETIME& begin, const FILETIME& stamp, FileNote* note);

// A file without a noted creation time gets no note.
bool OpenNote(int file, FileNote* note);
bool CloseNote(int file, FileNote* note);

// Where a creation later than the last write stands on a file with content, its maker has died or
// the file is a copy: notes one right before the last write.
bool MendCreation(int file, const struct statx& status, FileNote* note);

// The noted creation time, else one right before the birth time and the last write, else 0: what
// may be old is never taken for new, or the report of its deletion would be left out.
FILETIME CreationTime(int file, const struct statx& status);
FILETIME CreationTime(const char* path, const FILETIME& birth, const FILETIME& lastWrite);
