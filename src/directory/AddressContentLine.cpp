#include "directory/AddressContentLine.h"

#include "directory/Refusal.h"
#include "directory/TypeParameter.h"

namespace VCardUtils
{

CAddressContentLine::CAddressContentLine(const CContactAddr& address) : CContentLine("ADR")
{
    DirectoryUtils::BuildOrThrow([&] { return SetAddress(address); });
}

CAddressContentLine::CAddressContentLine(std::string group, DirectoryUtils::CParameters parameters,
                                         std::u16string value)
    : CContentLine(std::move(group), "ADR", std::move(parameters), {})
{
    m_address.SetType(ReadTypeMask(GetParameters(), kAddressTypes));
    DirectoryUtils::BuildOrThrow(
        [&] { return CAddressContentLine::SetMainValue(std::move(value)); });
}

bool CAddressContentLine::SetAddress(const CContactAddr& address)
{
    m_address = address;
    return UpdateTypeParameter() && UpdateMainValue();
}

bool CAddressContentLine::SetMainValue(std::u16string value)
{
    if (!CContentLine::SetMainValue(std::move(value))) {
        return false;
    }
    constexpr bool (CContactAddr::*kSetters[])(std::u16string) = {
        &CContactAddr::SetPostOfficeBox, &CContactAddr::SetExtendedAddress,
        &CContactAddr::SetStreet,        &CContactAddr::SetLocality,
        &CContactAddr::SetRegion,        &CContactAddr::SetPostalCode,
        &CContactAddr::SetCountry};
    int position = 0;
    for (const auto set : kSetters) {
        (m_address.*
         set)(DirectoryUtils::UnescapeTextValue(GetTextComponent(GetMainValue(), u';', &position)));
        if (position < 0) {
            break;
        }
    }
    return true;
}

bool CAddressContentLine::UpdateTypeParameter()
{
    return WriteTypeMask(&Parameters(), kAddressTypes, m_address.GetType());
}

bool CAddressContentLine::UpdateMainValue()
{
    constexpr const std::u16string& (CContactAddr::*kGetters[])()
        const = {&CContactAddr::GetPostOfficeBox, &CContactAddr::GetExtendedAddress,
                 &CContactAddr::GetStreet,        &CContactAddr::GetLocality,
                 &CContactAddr::GetRegion,        &CContactAddr::GetPostalCode,
                 &CContactAddr::GetCountry};
    std::u16string value;
    for (const auto get : kGetters) {
        value.append(DirectoryUtils::EscapeTextValue((m_address.*get)())).append(1, u';');
    }
    value.pop_back();
    return CContentLine::SetMainValue(std::move(value));
}

} // namespace VCardUtils
