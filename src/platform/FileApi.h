#pragma once

// All file operations under one include.

#include "platform/FileAttributes.h"
#include "platform/FileContent.h"
#include "platform/FileNames.h"
#include "platform/FileOpen.h"
#include "platform/FileRewrite.h"
#include "platform/FileSearch.h"
#include "platform/FileStamp.h"
#include "platform/Flushing.h"
#include "platform/LastError.h"
