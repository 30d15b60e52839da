#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

// What the fuzz targets share. Each is one source that defines LLVMFuzzerTestOneInput; libFuzzer
// drives it (scripts/fuzz.sh), and FuzzCorpusTest replays the corpora without it.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline std::string_view FuzzText(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

// What does not hold for one input ends the program, so that libFuzzer keeps the input.
inline void FuzzCheck(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}
