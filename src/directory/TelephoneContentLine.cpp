#include "directory/TelephoneContentLine.h"

#include "text/Utf8.h"

inline namespace contactmgr_internal
{

namespace VCardUtils
{

bool CTelephoneContentLine::ReadValue(const std::u16string& value, CContactTel* telephone)
{
    std::string number;
    return AppendUtf8(value, &number) && telephone->SetNumber(std::move(number));
}

bool CTelephoneContentLine::ReadText(std::string_view value, CContactTel* telephone)
{
    return telephone->SetNumber(std::string(value));
}

std::u16string CTelephoneContentLine::WriteValue(const CContactTel& telephone)
{
    return Utf8ToWideLossy(telephone.GetNumber());
}

bool CTelephoneContentLine::AppendValue(const CContactTel& telephone, std::string* text)
{
    AppendUtf8Lossy(telephone.GetNumber(), text);
    return true;
}

} // namespace VCardUtils

} // namespace contactmgr_internal
