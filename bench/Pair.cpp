#include "Pair.h"

#include "Bare.h"
#include "Clock.h"
#include "CountingCalls.h"
#include "support/AllocationFault.h"

#include <algorithm>

namespace
{

struct CCounts
{
    double calls = 0;
    double floorCalls = 0;
    double allocations = 0;
    double peakBytes = 0;
};

// Handles all items once, which warms the caches too.
CCounts Count(const CPair& pair)
{
    CCounts counts;
    const CCountingCalls calls;
    for (std::size_t run = 0; run < pair.runsOfAll; ++run) {
        pair.prepare();
        const std::size_t bareBefore = Bare::Calls();
        pair.floor();
        counts.floorCalls += static_cast<double>(Bare::Calls() - bareBefore);
        const std::size_t before = calls.Count();
        const CAllocationCount heap;
        pair.library();
        counts.calls += static_cast<double>(calls.Count() - before);
        counts.allocations += static_cast<double>(heap.Blocks());
        counts.peakBytes = std::max(counts.peakBytes, static_cast<double>(heap.PeakBytes()));
    }
    const auto items = static_cast<double>(pair.items * pair.runsOfAll);
    counts.calls /= items;
    counts.floorCalls /= items;
    counts.allocations /= items;
    return counts;
}

double SecondsOf(const std::function<void()>& work, clockid_t clock)
{
    const double begin = Seconds(clock);
    work();
    return Seconds(clock) - begin;
}

double Median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void Run(benchmark::State& state, const COperation& operation, const CShape& shape)
{
    const CPair pair = operation.make(shape);
    const CCounts counts = Count(pair);
    const clockid_t clock = pair.isWallTime ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID;
    std::vector<double> floors;
    std::vector<double> libraries;
    std::vector<double> ratios;
    for (auto _ : state) {
        pair.prepare();
        floors.push_back(SecondsOf(pair.floor, clock));
        libraries.push_back(SecondsOf(pair.library, clock));
        ratios.push_back(libraries.back() / floors.back());
        state.SetIterationTime(libraries.back());
    }
    const double usPerItem = 1e6 / static_cast<double>(pair.items);
    state.counters["library_us"] = Median(libraries) * usPerItem;
    state.counters["floor_us"] = Median(floors) * usPerItem;
    state.counters["ratio"] = Median(ratios);
    state.counters["calls"] = counts.calls;
    state.counters["floor_calls"] = counts.floorCalls;
    state.counters["allocations"] = counts.allocations;
    state.counters["peak_bytes"] = counts.peakBytes;
    state.SetLabel(std::string(operation.item) + ": " + operation.bare);
}

std::string WithCommas(std::size_t number)
{
    std::string text = std::to_string(number);
    for (auto at = static_cast<std::ptrdiff_t>(text.size()) - 3; at > 0; at -= 3) {
        text.insert(static_cast<std::size_t>(at), ",");
    }
    return text;
}

} // namespace

std::string CShape::Name() const
{
    std::string name;
    const auto add = [&](bool isPart, const std::string& part) {
        name += isPart ? (name.empty() ? "" : ", ") + part : "";
    };
    add(count > 0, WithCommas(count));
    add(hasPhotos, "photos");
    add(hasTombstones, "half deleted");
    add(threads > 0, std::to_string(threads) + (threads == 1 ? " thread" : " threads"));
    return name;
}

void Register(const COperations& operations)
{
    for (const COperation& operation : operations) {
        for (const CShape& shape : operation.shapes) {
            const std::string variant = shape.Name();
            const std::string name = operation.name + (variant.empty() ? "" : '/' + variant);
            benchmark::RegisterBenchmark(
                name.c_str(),
                [operation, shape](benchmark::State& state) { Run(state, operation, shape); })
                ->UseManualTime()
                ->Unit(benchmark::kMicrosecond)
                ->Iterations(operation.runs);
        }
    }
}
