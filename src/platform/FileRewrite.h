#pragma once

#include "platform/OpenFile.h"

// A rewrite that survives the death of its process: the new content goes to a redo file beside the
// file, then over the old content in place, so that inode, name, creation time and lock stay; then
// the redo file goes. Whoever opens the file next finds a complete redo file of a dead writer,
// copies it once more, and removes it. A redo file that is not complete means that the old content
// is untouched. An empty file stays empty: it was deleted, or its creator died before its first
// content was there.
//
// Without flushing, on local file systems, a content that is no longer than a page or a block and
// not shorter than the old one needs no redo file: the kernel moves it in one piece. In both cases
// the file's note tells the next open whether the writer died before the folder had the stamp.

// Replaces the content of an exclusive file: RewriteFile of platform/FileApi.h.
bool RewriteOpenFile(COpenFile& file, std::string_view content);

// Removes a redo file that is not to be used, and moves the folder's time to the clock.
bool DropRedo(COpenFile& file);

// Empties an exclusive file, drops a redo file that is left beside it, stamps it, and moves its
// folder's time.
bool EmptyOpenFile(COpenFile& file);

// Completes or drops what a dead writer left beside a file that has just been opened exclusively.
bool RepairOpenFile(COpenFile& file);
