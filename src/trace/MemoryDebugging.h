#pragma once

#include <cstddef>
#include <cstdint>

// Tells the allocation functions that take a file name and a line from all others.
struct CDummy
{};

// The heap of the objects that the library hands out. Any thread may use it at any time.
class CMemoryDebugging
{
public:
    // Memory aligned for any object, or null with last error 8; it throws nothing. The tag and the
    // line name the place in the source for a debugger that stops here; they are not kept.
    static void* TraceAllocate(std::size_t size, const char* tag, std::uint32_t line) noexcept;

    // Frees memory that TraceAllocate gave; null is passed over.
    static void TraceDeallocate(void* memory) noexcept;

    // How many blocks are allocated and not yet freed.
    static std::size_t LiveBlocks() noexcept;
};

// Base of the classes whose objects come from that heap, with the tag "NoFileInfo" and line 0.
class CTracedAllocation
{
public:
    // `new` gives null when memory is exhausted, with last error ERROR_NOT_ENOUGH_MEMORY (8).
    static void* operator new(std::size_t size) noexcept
    {
        return CMemoryDebugging::TraceAllocate(size, "NoFileInfo", 0);
    }
    static void operator delete(void* memory) noexcept
    {
        CMemoryDebugging::TraceDeallocate(memory);
    }
};
