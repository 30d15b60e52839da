#pragma once

#include "core/Contact.h"
#include "directory/ContentLine.h"

#include <string>

namespace VCardUtils
{

// An "ADR" line (RFC 2426, 3.2.1) and the entry that it stands for. No default type stands in for a
// missing "TYPE". Sets no last error; throws std::bad_alloc. A value.
class CAddressContentLine : public DirectoryUtils::CContentLine
{
public:
    // The line that is written for an entry: no group, no parameter but "TYPE".
    explicit CAddressContentLine(const CContactAddr& address);

    // The line that CContentLine::Parse took apart.
    CAddressContentLine(std::string group, DirectoryUtils::CParameters parameters,
                        std::u16string value);

    const CContactAddr& GetAddress() const { return m_address; }

    // Takes the entry over and rebuilds "TYPE" and the main value, always of seven components. A
    // semicolon in a field has no escape and reads back as the end of its component.
    bool SetAddress(const CContactAddr& address);

    // Splits the value at each ";" into the entry's fields, unescaped. Fields behind the last
    // component keep what they held; components behind the seventh stay in the main value alone.
    bool SetMainValue(std::u16string value) override;

private:
    bool UpdateTypeParameter();
    bool UpdateMainValue();

    CContactAddr m_address;
};

} // namespace VCardUtils
