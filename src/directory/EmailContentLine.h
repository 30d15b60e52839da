#pragma once

#include "core/Contact.h"
#include "directory/ContentLine.h"

#include <string>

namespace VCardUtils
{

// An "EMAIL" line (RFC 2426, 3.3.2) and the entry that it stands for. The comment of the address
// travels in the parameter "X-COMMENT". No default type stands in for a missing "TYPE". A value.
class CEmailContentLine : public DirectoryUtils::CContentLine
{
public:
    // The line that is written for an entry: no group, no parameters but "TYPE" and "X-COMMENT".
    explicit CEmailContentLine(const CContactEmail& email);

    // The line that CContentLine::Parse took apart. A value that is no address leaves the entry's
    // address empty but for the comment. "X-COMMENT" wins over a display name in the value.
    CEmailContentLine(std::string group, DirectoryUtils::CParameters parameters,
                      std::u16string value);

    const CContactEmail& GetEmail() const { return m_email; }

    // Takes the entry over and rebuilds the parameters and the main value, which is the address
    // without its comment. An empty comment leaves an "X-COMMENT" as it is.
    bool SetEmail(const CContactEmail& email);

    // Parses the value into the entry's address. After false the main value is the new text and the
    // entry's address the old one; the last error is the caller's.
    bool SetMainValue(std::u16string value) override;

private:
    bool UpdateParameters();

    CContactEmail m_email;
};

} // namespace VCardUtils
