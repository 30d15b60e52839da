#include "directory/IMContentLine.h"

#include "directory/Refusal.h"
#include "directory/TypeParameter.h"

namespace VCardUtils
{

CIMContentLine::CIMContentLine(const CContactIM& im) : CContentLine("IMPP")
{
    DirectoryUtils::BuildOrThrow([&] { return SetIM(im); });
}

CIMContentLine::CIMContentLine(std::string group, DirectoryUtils::CParameters parameters,
                               std::u16string value)
    : CContentLine(std::move(group), "IMPP", std::move(parameters), {})
{
    m_im.SetType(ReadTypeMask(GetParameters(), kIMTypes));
    DirectoryUtils::BuildOrThrow([&] { return CIMContentLine::SetMainValue(std::move(value)); });
}

bool CIMContentLine::SetIM(const CContactIM& im)
{
    m_im = im;
    return UpdateTypeParameter() && CContentLine::SetMainValue(m_im.GetAddress());
}

bool CIMContentLine::SetMainValue(std::u16string value)
{
    return CContentLine::SetMainValue(std::move(value)) && m_im.SetAddress(GetMainValue());
}

bool CIMContentLine::UpdateTypeParameter()
{
    return WriteTypeMask(&Parameters(), kIMTypes, m_im.GetType());
}

} // namespace VCardUtils
