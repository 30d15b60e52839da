#include "support/AllocationFault.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace
{

thread_local int t_left = 0;
thread_local bool t_wasHit = false;

thread_local bool t_isCounting = false;
thread_local std::size_t t_blocks = 0;
thread_local std::ptrdiff_t t_bytes = 0;
thread_local std::ptrdiff_t t_peakBytes = 0;

void CountBytes(void* memory, int sign)
{
    if (t_isCounting && memory != nullptr) {
        t_bytes += sign * static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
        t_peakBytes = std::max(t_peakBytes, t_bytes);
    }
}

} // namespace

CAllocationFault::CAllocationFault(int number)
{
    t_left = number;
    t_wasHit = false;
}

CAllocationFault::~CAllocationFault()
{
    t_left = 0;
}

bool CAllocationFault::WasHit() const
{
    return t_wasHit;
}

CAllocationCount::CAllocationCount()
{
    t_blocks = 0;
    t_bytes = 0;
    t_peakBytes = 0;
    t_isCounting = true;
}

CAllocationCount::~CAllocationCount()
{
    t_isCounting = false;
}

std::size_t CAllocationCount::Blocks() const
{
    return t_blocks;
}

std::size_t CAllocationCount::PeakBytes() const
{
    return static_cast<std::size_t>(t_peakBytes);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (t_left > 0 && --t_left == 0) {
        t_wasHit = true;
        return nullptr;
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    ++t_blocks;
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
    CountBytes(memory, -1);
    std::free(memory);
}
