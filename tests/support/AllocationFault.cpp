#include "support/AllocationFault.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local int t_left = 0;
thread_local bool t_wasHit = false;

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

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (t_left > 0 && --t_left == 0) {
        t_wasHit = true;
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
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
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
