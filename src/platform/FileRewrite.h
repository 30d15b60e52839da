#pragma once

#include "platform/OpenFile.h"

#include <string_view>

// Changes of files that are held exclusively, in the order that platform/ChangeProtocol.h tells.
// All give false with the last error set, or throw std::bad_alloc.

// RewriteFile of platform/FileApi.h.
bool RewriteOpenFile(COpenFile& file, std::string_view content);

// Empties the file, which is how it is deleted, and stamps it.
bool EmptyOpenFile(COpenFile& file);

// Stamps the file as a rewrite does, its content untouched.
bool RestampOpenFile(COpenFile& file);

// Completes what a redo file beside the file holds, or drops the redo file.
bool RepairOpenFile(COpenFile& file);
