#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

// What an operation works on.
struct CShape
{
    std::size_t count = 0; // of contacts, messages or mailboxes, where it matters
    bool hasPhotos = false;
    bool hasTombstones = false; // every second contact was deleted
    std::size_t threads = 0;    // where it matters

    // As in "10,000, photos". Empty if nothing matters.
    std::string Name() const;
};

// One operation of the library, and the floor: the bare work that it cannot do without. Both run
// again and again in turn.
struct CPair
{
    std::size_t items = 1; // that one run handles
    std::function<void()> floor;
    std::function<void()> library;
    std::function<void()> prepare = [] {}; // before each run of the two; not timed
    std::size_t runsOfAll = 1;             // until every item has been handled
    bool isWallTime = false;               // else the time of this thread on the processor
};

struct COperation
{
    const char* name;
    const char* item; // what is counted in `items`
    const char* bare; // what the floor does for one, in words
    std::vector<CShape> shapes;
    int runs; // timed ones, of each of the two
    CPair (*make)(const CShape& shape);
};

using COperations = std::vector<COperation>;

// Makes each of them known to Google Benchmark, once for each shape. The counters of a result,
// for one item: library_us and floor_us, medians of the runs; ratio, the median over the runs of
// one to the other; calls and floor_calls to the system; allocations by operator new. peak_bytes is
// the most memory from operator new at a time while all items are handled once. What other threads
// and GLib allocate does not count.
void Register(const COperations& operations);

// The tables, by subject.
COperations TextOperations();
COperations BookOperations();
COperations ChangeOperations();
COperations MailOperations();
COperations ThreadOperations();
COperations ToolOperations();
