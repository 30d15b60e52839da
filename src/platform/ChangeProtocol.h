#pragma once

#include "platform/FileTime.h"

#include <cstddef>
#include <cstdint>

inline namespace contactmgr_internal
{

// How a change of a contact file survives the death of its process, a power cut and a full disk,
// and how it is reported. NAME is the contact file, locked from its open to its close. Only the
// owner of that lock writes NAME and its redo file.
//
// A save takes five steps. The table says what NAME holds if the process dies after each.
//
//   Step                                NAME then
//   1. write the new text to .redo/NAME old; the next open for writing goes on with step 2
//   2. write the new text to NAME       new; the next open for writing repeats steps 2 to 5
//   3. stamp NAME                       new; likewise
//   4. set the folder's version         new; likewise, and the change is reported twice
//   5. remove .redo/NAME                new
//
// A death within step 1 leaves the old text and an incomplete redo file, which the next open for
// writing drops. A death within step 2 leaves a mixture, and that open writes the new text again.
//
// A deletion sets the folder's version to now, empties NAME, removes a redo file, and takes steps 3
// and 4. A creation sets the version to now, makes a file without a name, notes the creation time
// on it, gives it the name, and sets the version to now again.
//
//   Mark                                    Written by              Read by
//   .redo/NAME                              save, repair            opens for writing, renewal
//   stamp: last-write time of NAME          save, repair, deletion  change reports
//   version: last-write time of the folder  all changes, reports    followers
//   access time of the folder               with the version        stamps, as latest version
//   attribute user.contact.btime of NAME    creation, first change  change reports
//   .redo/.lock, locked                     stamps                  stamps
//
// A follower keeps the version and asks later for what is newer. Repair is what an open for writing
// does with a redo file. Renewal (pab/BookRenewal) stamps all contacts anew after a backup came
// back. The code is platform/HeldFile (steps), RedoFile, FileStamp, CreationTime and NewFile, and
// pab/ChangeReport, BookRenewal and PABContactEnumerator.
//
// I1  NAME is overwritten only while a complete redo file holds the new text. The redo file is
//     removed last, after text, stamp and version. A repair does steps 2 to 5 for a complete redo
//     file, and drops an incomplete one.
// I2  A failure after step 1 leaves the redo file. NAME is not emptied.
// I3  An empty file was deleted or never saved. A redo file beside it is dropped.
// I4  A stamp is later than every version taken before the change could be seen, and later than
//     every earlier stamp, also if the clock was set back. It is set ahead of the clock. The folder
//     gets it when the clock has passed it. So no version is ahead of the clock, unless the clock
//     was set back.
// I5  The folder's time does not go back and does not stay behind a stamp. After a death between
//     steps 3 and 4 the next open for writing stamps anew, and a report moves the folder's time on.
//     One gap is left: a death between the emptying of a file and its stamp leaves the system's own
//     time on the file, and a version of the same clock tick hides the deletion.
// I6  The creation time is noted once and is not earlier than any version taken before. A new file
//     gets it as its last-write time too. So until its first save the file is not later than any
//     version taken after its creation. A file without the attribute was created at its birth or
//     its last write, whichever is earlier. A change that would move that time notes it first.
// I7  A creation is reported only with a version later than it. So its deletion is reported too. A
//     contact that was created and deleted after a follower's version is not reported. A contact
//     created before that version and first saved after it is reported as changed.
// I8  A repair is flushed before its redo file is removed. Otherwise a second power cut could lose
//     a save that was flushed.

// Names in the folder of the files.
inline constexpr const char* kRedoFolder = "/.redo";
inline constexpr const char* kStampLock = ".lock"; // in the redo folder
inline constexpr const char* kCreationAttribute = "user.contact.btime";

// What stores of the first release have instead (platform/RedoFile.h).
inline constexpr const char* kOldRedoSuffix = ".redo~";
inline constexpr char kOldUnfinishedMark = '~'; // after the number in the attribute

// A longer text is not written. A longer redo file is not this library's.
inline constexpr std::uint64_t kLargestContent = std::uint64_t{64} << 20;

// How far ahead of the clock a stamp is first tried. Two system calls take less. The lead grows
// where a file system takes longer.
inline constexpr std::uint64_t kStampLead = 5 * kFileTimeUnitsPerMicrosecond;

// A stamp further ahead than this is not waited for: the clock was set back.
inline constexpr std::uint64_t kLongestStampWait = 2 * kFileTimeUnitsPerSecond;

// The folder's access time is its latest version plus this lead. The lead keeps a listing from
// renewing the access time. A time further ahead of the clock than a day was set by hand.
inline constexpr std::uint64_t kAccessTimeLead = 3600 * kFileTimeUnitsPerSecond;
inline constexpr std::uint64_t kFarthestVersion =
    24 * std::uint64_t{3600} * kFileTimeUnitsPerSecond;

// Stamps are given under a lock. After this many attempts, about a second, a process goes on
// without it, since the lock's owner may be stopped.
inline constexpr int kLockAttempts = 520;

} // namespace contactmgr_internal
