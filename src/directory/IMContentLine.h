#pragma once

#include "core/Contact.h"
#include "directory/ContentLine.h"

#include <string>

namespace VCardUtils
{

// An "IMPP" line (RFC 4770) and the entry that it stands for. The value, a URI, passes unchanged in
// both directions; the "TYPE" values are written in upper case. Sets no last error; throws
// std::bad_alloc. A value.
class CIMContentLine : public DirectoryUtils::CContentLine
{
public:
    // The line that is written for an entry: no group, no parameter but "TYPE".
    explicit CIMContentLine(const CContactIM& im);

    // The line that CContentLine::Parse took apart.
    CIMContentLine(std::string group, DirectoryUtils::CParameters parameters, std::u16string value);

    const CContactIM& GetIM() const { return m_im; }

    // Takes the entry over and rebuilds "TYPE" and the main value.
    bool SetIM(const CContactIM& im);

    bool SetMainValue(std::u16string value) override;

private:
    bool UpdateTypeParameter();

    CContactIM m_im;
};

} // namespace VCardUtils
