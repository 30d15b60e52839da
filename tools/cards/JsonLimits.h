#pragma once

#include <string_view>

// Whether a JSON text is cheap to work on: arrays and objects at most 64 deep, and at most 20,000
// members in one object. nlohmann-json writes and copies values recursively, and searches an object
// that keeps its order from its beginning. To be asked before a text of others is parsed; says
// nothing about whether it is JSON.
bool IsWithinJsonLimits(std::string_view text);

inline constexpr const char* kBeyondJsonLimits = "JSON that is nested too deep or too large";
