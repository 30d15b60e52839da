#include "support/AllocationFault.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace
{

void CountBytes(void* memory, int sign)
{
    if (t_heap.isCounting && memory != nullptr) {
        t_heap.bytes += sign * static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
        t_heap.peakBytes = std::max(t_heap.peakBytes, t_heap.bytes);
    }
}

} // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (t_heap.left > 0 && --t_heap.left == 0) {
        t_heap.wasHit = true;
        return nullptr;
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    ++t_heap.blocks;
    CountBytes(memory, 1);
    return memory;
}

void* operator new(std::size_t size)
{
    if (void* memory = operator new(size, std::nothrow)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    CountBytes(memory, -1);
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    operator delete(memory);
}
