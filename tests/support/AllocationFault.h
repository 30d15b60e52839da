#pragma once

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
