#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <time.h>

// What the programs that measure other libraries share: the cards that they read, and a timer.

inline void Require(bool isTrue, const char* what)
{
    if (!isTrue) {
        std::fprintf(stderr, "peer: %s\n", what);
        std::exit(1);
    }
}

// The cards of a file, at most so many.
inline std::vector<std::string> ReadCards(const std::string& path, std::size_t most)
{
    constexpr char kEnd[] = "END:VCARD\r\n";
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::vector<std::string> cards;
    for (std::size_t begin = 0; begin < text.size() && cards.size() < most;) {
        const std::size_t end = text.find(kEnd, begin) + sizeof(kEnd) - 1;
        cards.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    Require(cards.size() == most, "the corpus is too small");
    return cards;
}

inline double ThreadSeconds()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// Prints, as a JSON object, the median of the runs' times on the processor for one item. The first
// run only warms up.
template <class Work>
void Measure(const char* peer, const char* operation, std::size_t items, int runs, Work work)
{
    std::vector<double> times;
    for (int run = 0; run <= runs; ++run) {
        const double begin = ThreadSeconds();
        work();
        times.push_back(ThreadSeconds() - begin);
    }
    times.erase(times.begin());
    std::nth_element(times.begin(), times.begin() + runs / 2, times.end());
    std::printf("{\"peer\": \"%s\", \"operation\": \"%s\", \"us\": %.3f}\n", peer, operation,
                1e6 * times[static_cast<std::size_t>(runs / 2)] / static_cast<double>(items));
}
