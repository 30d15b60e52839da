#pragma once

#include "directory/EntryContentLine.h"

#include <string>

inline namespace contactmgr_internal
{

namespace VCardUtils
{

// An "IMPP" line (RFC 4770). The value, a URI, passes unchanged in both directions.
class CIMContentLine : public CEntryContentLine<CIMContentLine, CContactIM>
{
public:
    static constexpr const char* kName = "IMPP";
    static constexpr CTypeTable kTypes = kIMTypes;

    using CEntryContentLine::CEntryContentLine;
    const CContactIM& GetIM() const { return GetEntry(); }
    bool SetIM(const CContactIM& im) { return SetEntry(im); }

private:
    friend CEntryContentLine;
    static bool ReadValue(const std::u16string& value, CContactIM* im);
    static std::u16string WriteValue(const CContactIM& im);
};

} // namespace VCardUtils

} // namespace contactmgr_internal
