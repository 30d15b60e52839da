#pragma once

#include "platform/Export.h"
#include <cstddef>
#include <cstdint>

// Marks the allocation functions that get a file name and a line.
struct CDummy
{};

// The heap for objects that callers get from the library. Any thread may use it at any time.
class CONTACTMGR_API CMemoryDebugging
{
public:
    // Gives memory aligned for any object; the caller frees it with TraceDeallocate. Null with
    // ERROR_NOT_ENOUGH_MEMORY (8) when memory is exhausted; throws nothing. The tag and the line
    // are for a breakpoint here and are not kept.
    static void* TraceAllocate(std::size_t size, const char* tag, std::uint32_t line) noexcept;

    // Frees memory of TraceAllocate. Null does nothing.
    static void TraceDeallocate(void* memory) noexcept;

    // The number of blocks that are not freed yet.
    static std::size_t LiveBlocks() noexcept;
};

// A base for classes whose objects are on that heap, with the tag "NoFileInfo" and line 0.
class CONTACTMGR_API CTracedAllocation
{
public:
    // `new` gives null with ERROR_NOT_ENOUGH_MEMORY (8) when memory is exhausted.
    static void* operator new(std::size_t size) noexcept
    {
        return CMemoryDebugging::TraceAllocate(size, "NoFileInfo", 0);
    }
    static void operator delete(void* memory) noexcept
    {
        CMemoryDebugging::TraceDeallocate(memory);
    }
};
