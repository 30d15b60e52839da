#include "trellisv7/TrellisV7Contact.h"

#include "platform/Failure.h"

#include <new>
#include <utility>

CTrellisV7Contact::CTrellisV7Contact(CMessage& message, std::string messageId,
                                     const FILETIME& modifiedTime, std::string mailboxName,
                                     std::string domainName)
    : m_message(message),
      m_messageId(std::move(messageId)),
      m_modifiedTime(modifiedTime),
      m_mailboxName(std::move(mailboxName)),
      m_domainName(std::move(domainName))
{}

ContactMgr::CContactId CTrellisV7Contact::GetId()
try {
    return ContactMgr::CContactId(std::string(kPluginType) + "-" + m_messageId + " " +
                                  m_mailboxName + " " + m_domainName);
} catch (const std::bad_alloc&) {
    FailForMemory();
    return ContactMgr::CContactId();
}

bool CTrellisV7Contact::GetModifiedTime(FILETIME* time)
{
    if (time == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    *time = m_modifiedTime;
    return true;
}

bool CTrellisV7Contact::SetFirstName(const std::u16string&)
{
    return false;
}

bool CTrellisV7Contact::SetLastName(const std::u16string&)
{
    return false;
}

bool CTrellisV7Contact::SupportsProperty(const CContactProperty& property)
{
    const CContactProperties names = CContactProperties::Instance();
    return property == names.GivenName || property == names.Surname ||
           FieldOf(property).has_value();
}

bool CTrellisV7Contact::GetProperty(const CContactProperty& property, std::u16string* value)
try {
    if (value == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const CContactProperties names = CContactProperties::Instance();
    if (property == names.GivenName) {
        *value = m_firstName;
        return true;
    }
    if (property == names.Surname) {
        *value = m_lastName;
        return true;
    }
    const std::optional<EField> field = FieldOf(property);
    return field && m_fields[*field].ToUnicode(value) != 0;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CTrellisV7Contact::GetProperty(const CContactProperty&, std::uint32_t*)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CTrellisV7Contact::GetProperty(const CContactProperty&, bool*)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CTrellisV7Contact::ToString(std::u16string*)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

std::optional<CTrellisV7Contact::EField>
CTrellisV7Contact::FieldOf(const CContactProperty& property)
{
    const CContactProperties names = CContactProperties::Instance();
    const struct
    {
        CContactProperty name;
        EField field;
    } fields[] = {
        {names.Nickname, kNick},
        {names.FullName, kName},
        {names.Title, kTitle},
        {names.Jobtitle, kJobTitle},
        {names.Organization, kBusinessName},
        {names.OrgUnit, kDepartment},
        {names.URL, kUrl},
        {names.Comment, kNotes},
    };
    for (const auto& candidate : fields) {
        if (candidate.name == property) {
            return candidate.field;
        }
    }
    return std::nullopt;
}
