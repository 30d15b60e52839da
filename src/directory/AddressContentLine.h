#pragma once

#include "directory/EntryContentLine.h"

#include <string>

inline namespace contactmgr_internal
{

namespace VCardUtils
{

// An "ADR" line (RFC 2426, 3.2.1). It is written with seven components, and a semicolon in a field
// has no escape: it reads back as the end of its component. Reading leaves fields behind the last
// component as they were; components behind the seventh stay in the main value alone.
class CAddressContentLine : public CEntryContentLine<CAddressContentLine, CContactAddr>
{
public:
    static constexpr const char* kName = "ADR";
    static constexpr CTypeTable kTypes = kAddressTypes;

    using CEntryContentLine::CEntryContentLine;
    const CContactAddr& GetAddress() const { return GetEntry(); }
    bool SetAddress(const CContactAddr& address) { return SetEntry(address); }

private:
    friend CEntryContentLine;
    static bool ReadValue(const std::u16string& value, CContactAddr* address);
    static std::u16string WriteValue(const CContactAddr& address);
};

} // namespace VCardUtils

} // namespace contactmgr_internal
