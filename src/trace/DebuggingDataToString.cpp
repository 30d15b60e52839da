#include "trace/DebuggingDataToString.h"

inline namespace contactmgr_internal
{

std::string CDebuggingDataToString::DwordToString(const std::uint32_t* value)
{
    return value == nullptr ? "(null)" : DwordToString(*value);
}

std::string CDebuggingDataToString::DwordToString(std::uint32_t value)
{
    return std::to_string(value);
}

std::string CDebuggingDataToString::WordToString(std::uint16_t value)
{
    return DwordToString(std::uint32_t{value});
}

std::string CDebuggingDataToString::LongToString(std::int32_t value)
{
    return std::to_string(value);
}

std::string CDebuggingDataToString::IntToString(int value)
{
    return LongToString(value);
}

} // namespace contactmgr_internal
