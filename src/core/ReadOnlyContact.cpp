#include "core/ReadOnlyContact.h"

#include "platform/Failure.h"

#include <new>
#include <utility>

inline namespace contactmgr_internal
{

ContactMgr::CContactId CReadOnlyContact::GetId()
try {
    const std::optional<std::string> localPart = LocalPart();
    if (!localPart) {
        return {};
    }
    return ContactMgr::CContactId(GetPluginType() + "-" + *localPart);
} catch (const std::bad_alloc&) {
    FailForMemory();
    return {};
}

bool CReadOnlyContact::GetModifiedTime(FILETIME* time)
{
    if (time == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    *time = m_modifiedTime;
    return true;
}

bool CReadOnlyContact::SetFirstName(const std::u16string& /*name*/)
{
    return false;
}

bool CReadOnlyContact::SetLastName(const std::u16string& /*name*/)
{
    return false;
}

bool CReadOnlyContact::GetProperty(const CContactProperty& property, std::u16string* value)
try {
    if (value == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    std::u16string read;
    if (!ReadProperty(property, &read)) {
        return false;
    }
    *value = std::move(read);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CReadOnlyContact::GetProperty(const CContactProperty& /*property*/, std::uint32_t* /*value*/)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CReadOnlyContact::GetProperty(const CContactProperty& /*property*/, bool* /*value*/)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CReadOnlyContact::ToString(std::u16string* /*text*/)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

} // namespace contactmgr_internal
