#include "trace/MemoryDebugging.h"

#include "platform/LastError.h"

#include <atomic>
#include <new>

namespace
{

std::atomic<std::size_t> g_liveBlocks{0};

} // namespace

void* CMemoryDebugging::TraceAllocate(std::size_t size, [[maybe_unused]] const char* tag,
                                      [[maybe_unused]] std::uint32_t line) noexcept
{
    void* const memory = ::operator new(size, std::nothrow);
    if (memory == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    g_liveBlocks.fetch_add(1, std::memory_order_relaxed);
    return memory;
}

void CMemoryDebugging::TraceDeallocate(void* memory) noexcept
{
    if (memory == nullptr) {
        return;
    }
    g_liveBlocks.fetch_sub(1, std::memory_order_relaxed);
    ::operator delete(memory);
}

std::size_t CMemoryDebugging::LiveBlocks() noexcept
{
    return g_liveBlocks.load(std::memory_order_relaxed);
}
