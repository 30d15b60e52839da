#include "directory/IMContentLine.h"

namespace VCardUtils
{

bool CIMContentLine::ReadValue(const std::u16string& value, CContactIM* im)
{
    return im->SetAddress(value);
}

std::u16string CIMContentLine::WriteValue(const CContactIM& im)
{
    return im.GetAddress();
}

} // namespace VCardUtils
