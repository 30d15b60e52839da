#include "directory/AddressContentLine.h"

namespace VCardUtils
{

bool CAddressContentLine::ReadValue(const std::u16string& value, CContactAddr* address)
{
    constexpr bool (CContactAddr::*kSetters[])(std::u16string) = {
        &CContactAddr::SetPostOfficeBox, &CContactAddr::SetExtendedAddress,
        &CContactAddr::SetStreet,        &CContactAddr::SetLocality,
        &CContactAddr::SetRegion,        &CContactAddr::SetPostalCode,
        &CContactAddr::SetCountry};
    int position = 0;
    for (const auto set : kSetters) {
        const std::u16string component = GetTextComponent(value, u';', &position);
        (address->*set)(DirectoryUtils::UnescapeTextValue(component));
        if (position < 0) {
            break;
        }
    }
    return true;
}

std::u16string CAddressContentLine::WriteValue(const CContactAddr& address)
{
    constexpr const std::u16string& (CContactAddr::*kGetters[])()
        const = {&CContactAddr::GetPostOfficeBox, &CContactAddr::GetExtendedAddress,
                 &CContactAddr::GetStreet,        &CContactAddr::GetLocality,
                 &CContactAddr::GetRegion,        &CContactAddr::GetPostalCode,
                 &CContactAddr::GetCountry};
    // Always seven components, empty ones too.
    std::u16string value;
    for (const auto get : kGetters) {
        value.append(DirectoryUtils::EscapeTextValue((address.*get)())).append(1, u';');
    }
    value.pop_back();
    return value;
}

} // namespace VCardUtils
