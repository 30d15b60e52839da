#pragma once

#include "directory/EntryContentLine.h"

#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

namespace VCardUtils
{

// An "EMAIL" line (RFC 2426, 3.3.2). The value is the address without its comment, which travels in
// the parameter "X-COMMENT" and wins over a display name in the value. An entry without a comment
// leaves an "X-COMMENT" as it is. A value that is no address is refused.
class CEmailContentLine : public CEntryContentLine<CEmailContentLine, CContactEmail>
{
public:
    static constexpr const char* kName = "EMAIL";
    static constexpr CTypeTable kTypes = kEmailTypes;

    using CEntryContentLine::CEntryContentLine;
    const CContactEmail& GetEmail() const { return GetEntry(); }
    bool SetEmail(const CContactEmail& email) { return SetEntry(email); }

    // Puts a text into the entry's address as its comment, each zero character, which would end it,
    // as U+FFFD. A text that is no UTF-16 changes nothing.
    static void SetComment(std::u16string comment, CContactEmail* email);

private:
    friend CEntryContentLine;
    static bool ReadValue(const std::u16string& value, CContactEmail* email);
    static std::u16string WriteValue(const CContactEmail& email);
    static bool ReadText(std::string_view value, CContactEmail* email);
    static bool AppendValue(const CContactEmail& email, std::string* text);
    static void ReadParameters(const DirectoryUtils::CParameters& parameters, CContactEmail* email);
    static void ReadParameters(std::string_view parameters, CContactEmail* email);
    static void WriteParameters(const CContactEmail& email,
                                DirectoryUtils::CParameters* parameters);
    static void AppendParameters(const CContactEmail& email, std::string* text);
};

} // namespace VCardUtils

} // namespace contactmgr_internal
