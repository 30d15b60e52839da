#include "directory/TelephoneContentLine.h"

#include "text/Utf8.h"

namespace VCardUtils
{

bool CTelephoneContentLine::ReadValue(const std::u16string& value, CContactTel* telephone)
{
    std::string number;
    return AppendUtf8(value, &number) && telephone->SetNumber(std::move(number));
}

std::u16string CTelephoneContentLine::WriteValue(const CContactTel& telephone)
{
    return Utf8ToWideLossy(telephone.GetNumber());
}

} // namespace VCardUtils
