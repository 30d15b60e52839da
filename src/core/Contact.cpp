#include "core/Contact.h"

#include "platform/Failure.h"

#include <new>

namespace
{

// A list's assignment copies first and then swaps. So a list may replace itself, and where memory
// ends the old one stays.
template <class List>
bool Replace(List& list, const List& with)
try {
    list = with;
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CopyOut(const std::u16string& name, std::u16string* out)
try {
    if (out == nullptr) {
        return false;
    }
    *out = name;
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

} // namespace

bool CContact::Save()
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CContact::SetEmails(const CContactEmailList& emails)
{
    return Replace(m_emails, emails);
}

bool CContact::SetAddresses(const CContactAddrList& addresses)
{
    return Replace(m_addresses, addresses);
}

bool CContact::SetTelephones(const CContactTelList& telephones)
{
    return Replace(m_telephones, telephones);
}

bool CContact::SetIMs(const CContactIMList& ims)
{
    return Replace(m_ims, ims);
}

bool CContact::GetFirstName(std::u16string* name)
{
    return CopyOut(m_firstName, name);
}

bool CContact::GetLastName(std::u16string* name)
{
    return CopyOut(m_lastName, name);
}

bool CContact::SupportsProperty(const CContactProperty& /*property*/)
{
    return true;
}

bool CContact::SetProperty(const CContactProperty& /*property*/, std::u16string /*value*/)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CContact::SetProperty(const CContactProperty& /*property*/, std::uint32_t /*value*/)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CContact::SetProperty(const CContactProperty& /*property*/, bool /*value*/)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CContact::SetProperty(const CContactProperty& property, const char16_t* value)
try {
    if (value == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return SetProperty(property, std::u16string(value));
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CContact::FromString(const std::string& /*text*/)
{
    return Fail(ERROR_NOT_SUPPORTED);
}
