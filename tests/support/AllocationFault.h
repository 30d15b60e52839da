#pragma once

#include <cstddef>

// Lets one allocation of this thread fail: the one with that number, counted from 1 from here on.
// Counts single objects from the heap, and ends with its scope.
class CAllocationFault
{
public:
    explicit CAllocationFault(int number);
    ~CAllocationFault();
    CAllocationFault(const CAllocationFault&) = delete;
    CAllocationFault& operator=(const CAllocationFault&) = delete;

    bool WasHit() const;
};

// Counts this thread's allocations from the heap while it lives, and the bytes that they held at
// most at one time. One at a time.
class CAllocationCount
{
public:
    CAllocationCount();
    ~CAllocationCount();
    CAllocationCount(const CAllocationCount&) = delete;
    CAllocationCount& operator=(const CAllocationCount&) = delete;

    std::size_t Blocks() const;
    std::size_t PeakBytes() const;
};
