#pragma once

#include <cstddef>

// What the operators new and delete of the tests do with this thread's heap, and saw of it.
struct CThreadHeap
{
    int left = 0; // as many allocations until one fails; 0: none does
    bool wasHit = false;
    bool isCounting = false;
    std::size_t blocks = 0;
    std::ptrdiff_t bytes = 0;
    std::ptrdiff_t peakBytes = 0;
};
inline constinit thread_local CThreadHeap t_heap;

// Both work on single objects from the heap, for their scope, one of them at a time.

// Lets one allocation of this thread fail: the one with that number, counted from 1 from here on.
class CAllocationFault
{
public:
    explicit CAllocationFault(int number) { t_heap = {.left = number}; }
    ~CAllocationFault() { t_heap = {}; }
    CAllocationFault(const CAllocationFault&) = delete;
    CAllocationFault& operator=(const CAllocationFault&) = delete;

    bool WasHit() const { return t_heap.wasHit; }
};

// Counts this thread's allocations, and the bytes that they held at most at one time.
class CAllocationCount
{
public:
    CAllocationCount() { t_heap = {.isCounting = true}; }
    ~CAllocationCount() { t_heap = {}; }
    CAllocationCount(const CAllocationCount&) = delete;
    CAllocationCount& operator=(const CAllocationCount&) = delete;

    std::size_t Blocks() const { return t_heap.blocks; }
    std::size_t PeakBytes() const { return static_cast<std::size_t>(t_heap.peakBytes); }
};
