#include "mailheader/MailHeaderContact.h"

#include "platform/Failure.h"

#include <string_view>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

bool IsWhiteSpace(char16_t character)
{
    // Unicode's property White_Space.
    constexpr std::u16string_view kOthers = u" \u0085\u00a0\u1680\u2028\u2029\u202f\u205f\u3000";
    return (character >= u'\t' && character <= u'\r') ||
           (character >= u'\u2000' && character <= u'\u200a') ||
           kOthers.find(character) != kOthers.npos;
}

std::u16string_view Trim(std::u16string_view text)
{
    while (!text.empty() && IsWhiteSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsWhiteSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

} // namespace

CMailHeaderContact::CMailHeaderContact(CRfc822Address address)
{
    SplitName(address);
    CContactEmail email;
    email.SetAddress(std::move(address));
    email.SetType(CContactEmail::kInternet | CContactEmail::kPref);
    m_emails.AddTail(std::move(email));
}

std::optional<std::string> CMailHeaderContact::LocalPart() const
{
    if (m_emails.IsEmpty()) {
        return std::nullopt;
    }
    return m_emails.GetHead().GetAddress().RawFullAddress();
}

bool CMailHeaderContact::SetFirstName(const std::u16string&)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CMailHeaderContact::SetLastName(const std::u16string&)
{
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CMailHeaderContact::SupportsProperty(const CContactProperty& property)
{
    const CContactProperties names = CContactProperties::Instance();
    return property == names.FullName || property == names.GivenName || property == names.Surname;
}

bool CMailHeaderContact::ReadProperty(const CContactProperty& property, std::u16string* value)
{
    const CContactProperties names = CContactProperties::Instance();
    if (property == names.FullName) {
        *value = m_emails.IsEmpty() ? u"" : m_emails.GetHead().GetAddress().GetComment();
    } else if (property == names.GivenName) {
        *value = m_firstName;
    } else if (property == names.Surname) {
        *value = m_lastName;
    } else {
        return Fail(ERROR_NOT_SUPPORTED);
    }
    return true;
}

void CMailHeaderContact::SplitName(const CRfc822Address& address)
{
    const std::u16string_view name = Trim(address.GetComment());
    // Only the blank U+0020 divides words; a tab or a no-break space is part of a word.
    const std::size_t lastBlank = name.rfind(u' ');
    if (lastBlank == name.npos) {
        m_firstName = name;
        return;
    }
    m_firstName = Trim(name.substr(0, lastBlank));
    m_lastName = Trim(name.substr(lastBlank + 1));
}

} // namespace contactmgr_internal
