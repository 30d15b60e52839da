#include "trellisv7/TrellisV7Contact.h"

#include <utility>

inline namespace contactmgr_internal
{

CTrellisV7Contact::CTrellisV7Contact(CMessage& message, std::string messageId,
                                     const FILETIME& modifiedTime, std::string mailboxName,
                                     std::string domainName)
    : CReadOnlyContact(modifiedTime),
      m_message(message),
      m_messageId(std::move(messageId)),
      m_mailboxName(std::move(mailboxName)),
      m_domainName(std::move(domainName))
{}

std::optional<std::string> CTrellisV7Contact::LocalPart() const
{
    return m_messageId + " " + m_mailboxName + " " + m_domainName;
}

bool CTrellisV7Contact::SupportsProperty(const CContactProperty& property)
{
    const CContactProperties names = CContactProperties::Instance();
    return property == names.GivenName || property == names.Surname ||
           FieldOf(property).has_value();
}

bool CTrellisV7Contact::ReadProperty(const CContactProperty& property, std::u16string* value)
{
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
    return field && Field(*field).ToUnicode(value) != 0;
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
        {names.Nickname, EField::Nick},
        {names.FullName, EField::Name},
        {names.Title, EField::Title},
        {names.Jobtitle, EField::JobTitle},
        {names.Organization, EField::BusinessName},
        {names.OrgUnit, EField::Department},
        {names.URL, EField::Url},
        {names.Comment, EField::Notes},
    };
    for (const auto& candidate : fields) {
        if (candidate.name == property) {
            return candidate.field;
        }
    }
    return std::nullopt;
}

} // namespace contactmgr_internal
