#pragma once

#include "core/Contact.h"
#include "directory/ContentLine.h"

#include <string>

namespace VCardUtils
{

// A "TEL" line (RFC 2426, 3.3.1) and the entry that it stands for. The number is UTF-8 and is taken
// as it stands. No default type stands in for a missing "TYPE". Sets no last error; throws
// std::bad_alloc. A value.
class CTelephoneContentLine : public DirectoryUtils::CContentLine
{
public:
    // The line that is written for an entry: no group, no parameter but "TYPE".
    explicit CTelephoneContentLine(const CContactTel& telephone);

    // The line that CContentLine::Parse took apart.
    CTelephoneContentLine(std::string group, DirectoryUtils::CParameters parameters,
                          std::u16string value);

    const CContactTel& GetTelephone() const { return m_telephone; }

    // Takes the entry over and rebuilds "TYPE" and the main value. Other stores hand over numbers
    // as they have them: bytes that are no UTF-8 become U+FFFD in the line.
    bool SetTelephone(const CContactTel& telephone);

    // False for a text that is no UTF-16; it is the main value all the same, and the number stays.
    bool SetMainValue(std::u16string value) override;

private:
    bool UpdateTypeParameter();

    CContactTel m_telephone;
};

} // namespace VCardUtils
