#include "directory/IMContentLine.h"

inline namespace contactmgr_internal
{

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

} // namespace contactmgr_internal
