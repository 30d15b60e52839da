#include "directory/AddressContentLine.h"

#include <cstddef>
#include <string_view>

inline namespace contactmgr_internal
{

namespace VCardUtils
{

bool CAddressContentLine::ReadValue(const std::u16string& value, CContactAddr* address)
{
    constexpr bool (CContactAddr::*kSetters[])(std::u16string) = {
        &CContactAddr::SetPostOfficeBox, &CContactAddr::SetExtendedAddress,
        &CContactAddr::SetStreet,        &CContactAddr::SetLocality,
        &CContactAddr::SetRegion,        &CContactAddr::SetPostalCode,
        &CContactAddr::SetCountry};
    std::u16string_view rest = value;
    for (const auto set : kSetters) {
        const std::size_t end = rest.find(u';');
        (address->*set)(DirectoryUtils::UnescapeTextValue(rest.substr(0, end)));
        if (end == rest.npos) {
            break;
        }
        rest.remove_prefix(end + 1);
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

} // namespace contactmgr_internal
