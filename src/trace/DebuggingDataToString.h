#pragma once

#include <cstdint>
#include <string>

inline namespace contactmgr_internal
{

// Numbers as decimal text, for the trace.
class CDebuggingDataToString
{
public:
    // A null pointer gives "(null)".
    static std::string DwordToString(const std::uint32_t* value);
    static std::string DwordToString(std::uint32_t value);
    static std::string WordToString(std::uint16_t value);
    static std::string LongToString(std::int32_t value);
    static std::string IntToString(int value);
};

} // namespace contactmgr_internal
