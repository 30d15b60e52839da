#include "userstore/UserStoreContact.h"

#include "platform/Failure.h"
#include "server/MailServer.h"
#include "text/AddressSyntax.h"
#include "text/Utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <string_view>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

// One postal address: the names of its mailbox properties, and their values, in this order.
enum AddressPart
{
    kState,
    kStreet,
    kExtendedAddress,
    kPostCode,
    kCity,
    kCountry,
    kAddressPartCount
};
using AddressNames = std::array<const char*, kAddressPartCount>;
using AddressTexts = std::array<std::string, kAddressPartCount>;

constexpr AddressNames kWorkNames = {"State",    "Street", "PostalAddress",
                                     "PostCode", "City",   "Country"};
constexpr AddressNames kHomeNames = {"HomeState",    "HomeStreet", "HomeAddress",
                                     "HomePostCode", "HomeCity",   "HomeCountry"};

struct TelephoneProperty
{
    const char* name;
    std::uint32_t type;
};
constexpr TelephoneProperty kTelephones[] = {
    {"Telephone", CContactTel::kWork}, {"Mobile", CContactTel::kCell},
    {"Pager", CContactTel::kPager},    {"HomePhone", CContactTel::kHome},
    {"Facsimile", CContactTel::kFax},
};

bool ReadTexts(const CMailbox& mailbox, const AddressNames& names, AddressTexts* texts)
{
    for (std::size_t part = 0; part < names.size(); ++part) {
        if (!mailbox.GetProperty(names[part], &(*texts)[part])) {
            return false;
        }
    }
    return true;
}

bool IsFilledIn(const AddressTexts& texts)
{
    return std::ranges::any_of(texts, [](const std::string& text) { return !text.empty(); });
}

void AddAddress(const AddressTexts& texts, std::uint32_t type, CContactAddrList* list)
{
    std::array<std::u16string, kAddressPartCount> wide;
    for (std::size_t part = 0; part < texts.size(); ++part) {
        wide[part] = Utf8ToWideLossy(texts[part]);
    }
    CContactAddr address;
    address.SetType(type);
    address.SetExtendedAddress(std::move(wide[kExtendedAddress]));
    address.SetStreet(std::move(wide[kStreet]));
    address.SetLocality(std::move(wide[kCity]));
    address.SetRegion(std::move(wide[kState]));
    address.SetPostalCode(std::move(wide[kPostCode]));
    address.SetCountry(std::move(wide[kCountry]));
    list->AddTail(std::move(address));
}

CContactEmail MakeEmail(CRfc822Address address, std::uint32_t type)
{
    CContactEmail email;
    email.SetAddress(std::move(address));
    email.SetType(type);
    return email;
}

} // namespace

std::string CUserStoreContact::MailboxNameOf(const CRfc822Address& address)
{
    const std::string_view localPart = address.EncodedName();
    const bool isQuoted = localPart.size() >= 2 && localPart.starts_with('"');
    return isQuoted ? Unquote(localPart.substr(1, localPart.size() - 2)) : std::string(localPart);
}

CUserStoreContact::CUserStoreContact(CMailServer& server, CRfc822Address address,
                                     const CMailbox& mailbox)
    : m_server(&server), m_mailbox(mailbox)
{
    m_emails.AddTail(
        MakeEmail(std::move(address), CContactEmail::kInternet | CContactEmail::kPref));
    // A mailbox that cannot be opened still gives a contact with its address.
    if (!LoadOtherMailbox() && GetLastError() == ERROR_NOT_ENOUGH_MEMORY) {
        throw std::bad_alloc();
    }
}

std::optional<std::string> CUserStoreContact::LocalPart() const
{
    if (m_emails.IsEmpty()) {
        return std::nullopt;
    }
    return m_emails.GetHead().GetAddress().RawAddress();
}

// An empty list is read again at the next call: the mailbox may be there by then.
CContactAddrList& CUserStoreContact::GetAddresses()
{
    if (m_addresses.IsEmpty() && !LoadAddresses()) {
        m_addresses.RemoveAll();
    }
    return m_addresses;
}

CContactTelList& CUserStoreContact::GetTelephones()
{
    if (m_telephones.IsEmpty() && !LoadTelephones()) {
        m_telephones.RemoveAll();
    }
    return m_telephones;
}

bool CUserStoreContact::GetFirstName(std::u16string* name)
{
    return name != nullptr && GetProperty(CContactProperties::Instance().GivenName, name);
}

bool CUserStoreContact::GetLastName(std::u16string* name)
{
    return name != nullptr && GetProperty(CContactProperties::Instance().Surname, name);
}

bool CUserStoreContact::SupportsProperty(const CContactProperty& property)
{
    const CContactProperties names = CContactProperties::Instance();
    return !(property == names.Nickname || property == names.Title ||
             property == names.WssVersion || property == names.WssReplicationId);
}

bool CUserStoreContact::ReadProperty(const CContactProperty& property, std::u16string* value)
{
    const CContactProperties names = CContactProperties::Instance();
    const char* name = property == names.Jobtitle ? names.Title.GetName() : property.GetName();
    std::string text;
    if (!OpenMailbox() || !m_mailbox.GetProperty(name, &text)) {
        return false;
    }
    *value = Utf8ToWideLossy(text);
    return true;
}

bool CUserStoreContact::GetProperty(const CContactProperty& property, std::uint32_t* value)
try {
    return OpenMailbox() && m_mailbox.GetProperty(property.GetName(), value);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CUserStoreContact::GetProperty(const CContactProperty& property, bool* value)
try {
    return OpenMailbox() && m_mailbox.GetProperty(property.GetName(), value);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CUserStoreContact::OpenMailbox()
{
    if (static_cast<_tMailbox*>(m_mailbox) != nullptr) {
        return true;
    }
    if (m_emails.IsEmpty()) {
        return Fail(ERROR_INVALID_DATA);
    }
    const CRfc822Address& address = m_emails.GetHead().GetAddress();
    return m_mailbox.Open(*m_server, MailboxNameOf(address).c_str(), address.EncodedDomain());
}

bool CUserStoreContact::LoadOtherMailbox()
{
    std::string text;
    if (!OpenMailbox() || !m_mailbox.GetProperty("OtherMailbox", &text)) {
        return false;
    }
    if (text.empty()) {
        return true;
    }
    // Parse stops at a zero, and half of a value is not its address.
    CRfc822Address address;
    if (text.find('\0') != text.npos) {
        return Fail(ERROR_INVALID_DATA);
    }
    if (!address.Parse(text.c_str())) {
        return false;
    }
    m_emails.AddTail(MakeEmail(std::move(address), CContactEmail::kInternet));
    return true;
}

bool CUserStoreContact::LoadAddresses()
try {
    m_addresses.RemoveAll();
    AddressTexts work;
    AddressTexts home;
    if (!OpenMailbox() || !ReadTexts(m_mailbox, kWorkNames, &work) ||
        !ReadTexts(m_mailbox, kHomeNames, &home)) {
        return false;
    }
    if (IsFilledIn(work)) {
        AddAddress(work, CContactAddr::kWork | CContactAddr::kPref, &m_addresses);
    }
    if (IsFilledIn(home)) {
        const std::uint32_t pref = m_addresses.IsEmpty() ? CContactAddr::kPref : 0;
        AddAddress(home, CContactAddr::kHome | pref, &m_addresses);
    }
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CUserStoreContact::LoadTelephones()
try {
    m_telephones.RemoveAll();
    if (!OpenMailbox()) {
        return false;
    }
    for (const TelephoneProperty& property : kTelephones) {
        std::string number;
        if (!m_mailbox.GetProperty(property.name, &number)) {
            return false;
        }
        if (number.empty()) {
            continue;
        }
        const std::uint32_t pref = m_telephones.IsEmpty() ? CContactTel::kPref : 0;
        CContactTel telephone;
        telephone.SetType(property.type | pref);
        telephone.SetNumber(std::move(number));
        m_telephones.AddTail(std::move(telephone));
    }
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

} // namespace contactmgr_internal
