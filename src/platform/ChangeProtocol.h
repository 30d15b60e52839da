#pragma once

#include "platform/FileTime.h"

#include <cstddef>
#include <cstdint>

// How a change of a contact file survives the death of its process, a power cut and a full disk,
// and how everybody who follows the folder hears of it. NAME is locked from its open to its close,
// and only who has that lock writes it or its redo file.
//
// The steps of a save, and what stands if the process dies behind each:
//
//   1. .redo/NAME gets the new text            NAME is old; the next open makes it new
//   2. the new text goes over NAME             NAME is new, or old and new mixed; likewise
//   3. NAME gets its stamp                     likewise
//   4. the folder gets its version             likewise, and the change is reported once more
//   5. .redo/NAME is removed                   done
//
// Who dies within step 1 leaves the old text and a redo file that the next open drops. A deletion
// moves the version, empties NAME, removes a redo file, and does steps 3 and 4. A creation notes
// its time on a file that has no name yet, gives it the name and moves the version.
//
//   Mark                                    Written by              Read by
//   .redo/NAME, complete or not             save, repair            every open for writing, renewal
//   last write of NAME, the stamp           save, repair, deletion  change reports
//   last write of the folder, the version   the same, and creation  followers
//   access time of the folder               with the version        stamps: the latest version
//   user.contact.btime, the creation time   creation, first change  change reports
//   .redo/.lock, locked                     stamps                  stamps
//
// Code: platform/FileRewrite (the steps), FileOpen (creation), RedoFile, FileStamp, CreationTime,
// NewFile; pab/ChangeReport, BookRenewal, and PABContactEnumerator, which gives the version of a
// walk.
//
// I1  A file is overwritten only beside a complete redo file, which holds the new text. That goes
//     last, when text, stamp and version stand. Whoever opens the file beside it does all steps
//     from the overwriting on once more. An incomplete one is dropped.
// I2  A failure that comes later changes nothing of that: the redo file stays, nothing is emptied.
// I3  An empty file was deleted or never saved. A redo file beside it is dropped.
// I4  A stamp is later than every version that anybody took before the change could be seen. It is
//     later than the clock once it is on the file, and the folder gets it when the clock has passed
//     it, so no version is ahead of the clock. It is also later than all stamps before it, which
//     counts where the clock was set back.
// I5  The version does not stay behind a stamp. Where a process died in between, the next open of
//     the file stamps anew, and a report moves the version to what the clock has passed. One gap
//     is left: who dies between emptying a file and its stamp leaves the system's own time there,
//     which a version of the same tick may hide.
// I6  A creation time is noted once, not earlier than any version taken before; the file's last
//     write is set to it. So until the first save the file is not later than any version that is
//     taken behind it. A file without one counts as created at its birth or its last write,
//     whichever is earlier; who changes it notes that first, if the change would move it.
// I7  A report tells of a creation only together with a later version, so that it tells of the
//     deletion too: created and deleted behind one version reads as never there. A contact made
//     before a version and first saved behind it is reported as changed.
// I8  A repair is flushed before the redo file goes, whoever makes it. Otherwise a second power cut
//     could lose a save that was flushed.

// Names in the folder of the files.
inline constexpr const char* kRedoFolder = "/.redo";
inline constexpr const char* kStampLock = ".lock"; // in the redo folder
inline constexpr const char* kCreationAttribute = "user.contact.btime";

// What stores of the first release have in their place, see platform/RedoFile.h.
inline constexpr const char* kOldRedoSuffix = ".redo~";
inline constexpr char kOldUnfinishedMark = '~'; // behind the number of the attribute

// A longer text is not written, and a longer redo file is not ours.
inline constexpr std::uint64_t kLargestContent = std::uint64_t{64} << 20;

// How far ahead of the clock the first stamp is tried. The time of two system calls is enough;
// where a file system takes longer, the lead grows.
inline constexpr std::uint64_t kStampLead = 5 * kFileTimeUnitsPerMicrosecond;

// A stamp further ahead than this is not waited for: the clock was set back.
inline constexpr std::uint64_t kLongestStampWait = 2 * kFileTimeUnitsPerSecond;

// The folder's access time is its latest version and this much more, so that a listing does not
// renew it. One that is more than a day ahead of the clock even so was not set here.
inline constexpr std::uint64_t kAccessTimeLead = 3600 * kFileTimeUnitsPerSecond;
inline constexpr std::uint64_t kFarthestVersion = 24 * 3600 * kFileTimeUnitsPerSecond;

// Stamps are given under a lock. A process that was stopped while it holds the lock must not stop
// the others for ever: after so many attempts, about a second, they go on without it.
inline constexpr int kLockAttempts = 520;
