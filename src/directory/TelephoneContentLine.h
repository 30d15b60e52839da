#pragma once

#include "directory/EntryContentLine.h"

#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

namespace VCardUtils
{

// A "TEL" line (RFC 2426, 3.3.1). The number is the value in UTF-8. Other stores hand over numbers
// as they have them: bytes that are no UTF-8 are written as U+FFFD. A value that is no UTF-16 is
// refused.
class CTelephoneContentLine : public CEntryContentLine<CTelephoneContentLine, CContactTel>
{
public:
    static constexpr const char* kName = "TEL";
    static constexpr CTypeTable kTypes = kTelephoneTypes;

    using CEntryContentLine::CEntryContentLine;
    const CContactTel& GetTelephone() const { return GetEntry(); }
    bool SetTelephone(const CContactTel& telephone) { return SetEntry(telephone); }

private:
    friend CEntryContentLine;
    static bool ReadValue(const std::u16string& value, CContactTel* telephone);
    static std::u16string WriteValue(const CContactTel& telephone);
    static bool ReadText(std::string_view value, CContactTel* telephone);
    static bool AppendValue(const CContactTel& telephone, std::string* text);
};

} // namespace VCardUtils

} // namespace contactmgr_internal
