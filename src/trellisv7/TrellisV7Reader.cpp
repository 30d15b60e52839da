#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "server/Message.h"
#include "trellisv7/TrellisV7Contact.h"

#include <algorithm>
#include <utility>

inline namespace contactmgr_internal
{

// The format of the stored messages. A "Reply-To" of "Group" marks a group entry. The body is text
// of lines KEY:VALUE, in any order, without quoting or continuation. Of several lines with one key
// the last counts. The older web client wrote no other lines, so a message with another line is not
// its message.

bool CTrellisV7Contact::Load()
{
    const CBodyPart* root = m_message.GetRootBodyPart();
    const CUtf8String* body = nullptr;
    return root != nullptr && ReadMarker(*root) && root->GetTextBody(body) && ReadLines(*body) &&
           BuildAddresses() && BuildTelephones() && BuildEmails() && SplitName();
}

bool CTrellisV7Contact::ReadMarker(const CBodyPart& root)
{
    const std::uint32_t before = GetLastError();
    if (const CMailHeader* header = root.GetHeader("Reply-To")) {
        m_isIndividual = !EqualIgnoringCase(std::u16string_view(header->GetValue()), u"group");
        return true;
    }
    if (GetLastError() == ERROR_NOT_ENOUGH_MEMORY) {
        return false;
    }
    // Most entries have no such header.
    SetLastError(before);
    return true;
}

bool CTrellisV7Contact::ReadLines(std::string_view body)
{
    while (!body.empty()) {
        const std::size_t end = std::min(body.find('\n'), body.size());
        std::string line(body.substr(0, end));
        body.remove_prefix(std::min(end + 1, body.size()));
        std::erase(line, '\r');
        if (line.empty()) {
            continue;
        }
        // A line without a colon has the empty key, which is unknown.
        const std::string_view text = line;
        const std::size_t colon = text.find(':');
        const bool hasKey = colon != text.npos;
        if (!SetField(hasKey ? text.substr(0, colon) : "",
                      hasKey ? text.substr(colon + 1) : text)) {
            return false;
        }
    }
    return true;
}

bool CTrellisV7Contact::SetField(std::string_view key, std::string_view value)
{
    static constexpr struct
    {
        std::string_view key;
        EField field;
    } kKeys[] = {
        {"NICK", EField::Nick},
        {"EMAIL", EField::Email},
        {"NAME", EField::Name},
        {"TITLE", EField::Title},
        {"JOBTITLE", EField::JobTitle},
        {"HADDRESS", EField::HomeAddress},
        {"HCITY", EField::HomeCity},
        {"HSTATE", EField::HomeState},
        {"HZIP", EField::HomeZip},
        {"HCOUNTRY", EField::HomeCountry},
        {"BNAME", EField::BusinessName},
        {"BDEPT", EField::Department},
        {"BADDRESS", EField::BusinessAddress},
        {"BCITY", EField::BusinessCity},
        {"BSTATE", EField::BusinessState},
        {"BZIP", EField::BusinessZip},
        {"BCOUNTRY", EField::BusinessCountry},
        {"HPHONE", EField::HomePhone},
        {"WPHONE", EField::WorkPhone},
        {"PAGER", EField::Pager},
        {"CELL", EField::Cell},
        {"FAX", EField::Fax},
        {"URL", EField::Url},
        {"NOTES", EField::Notes},
    };
    for (const auto& known : kKeys) {
        if (known.key == key) {
            Field(known.field).assign(value);
            return true;
        }
    }
    return Fail(ERROR_NOT_SUPPORTED);
}

bool CTrellisV7Contact::BuildAddresses()
{
    static constexpr struct
    {
        std::uint32_t type;
        EField address, city, state, zip, country;
    } kAddresses[] = {
        {CContactAddr::kWork, EField::BusinessAddress, EField::BusinessCity, EField::BusinessState,
         EField::BusinessZip, EField::BusinessCountry},
        {CContactAddr::kHome, EField::HomeAddress, EField::HomeCity, EField::HomeState,
         EField::HomeZip, EField::HomeCountry},
    };
    m_addresses.RemoveAll();
    for (const auto& fields : kAddresses) {
        std::u16string address, city, state, zip, country;
        if (!Field(fields.address).ToUnicode(&address) || !Field(fields.city).ToUnicode(&city) ||
            !Field(fields.state).ToUnicode(&state) || !Field(fields.zip).ToUnicode(&zip) ||
            !Field(fields.country).ToUnicode(&country)) {
            return false;
        }
        CContactAddr entry;
        entry.SetType(fields.type);
        entry.SetExtendedAddress(std::move(address));
        entry.SetLocality(std::move(city));
        entry.SetRegion(std::move(state));
        entry.SetPostalCode(std::move(zip));
        entry.SetCountry(std::move(country));
        m_addresses.AddTail(std::move(entry));
    }
    return true;
}

bool CTrellisV7Contact::BuildTelephones()
{
    static constexpr struct
    {
        EField number;
        std::uint32_t type;
    } kTelephones[] = {
        {EField::WorkPhone, CContactTel::kWork}, {EField::Cell, CContactTel::kCell},
        {EField::Pager, CContactTel::kPager},    {EField::HomePhone, CContactTel::kHome},
        {EField::Fax, CContactTel::kFax},
    };
    m_telephones.RemoveAll();
    for (const auto& telephone : kTelephones) {
        const std::string& number = Field(telephone.number);
        if (number.empty()) {
            continue;
        }
        CContactTel entry;
        entry.SetType(telephone.type | (m_telephones.IsEmpty() ? CContactTel::kPref : 0));
        entry.SetNumber(number);
        m_telephones.AddTail(std::move(entry));
    }
    return true;
}

bool CTrellisV7Contact::BuildEmails()
{
    m_emails.RemoveAll();
    if (Field(EField::Email).empty()) {
        return true;
    }
    CRfc822AddressList addresses;
    if (Field(EField::Email).find('\0') != std::string::npos) {
        return Fail(ERROR_INVALID_DATA);
    }
    if (!addresses.Parse(Field(EField::Email).c_str())) {
        return false;
    }
    for (POSITION position = addresses.GetHeadPosition(); position != nullptr;) {
        CContactEmail email;
        email.SetAddress(addresses.GetNext(position));
        if (!email.GetAddress().HasDomain()) {
            return FailForMemory();
        }
        email.SetType(CContactEmail::kInternet | CContactEmail::kPref);
        m_emails.AddTail(std::move(email));
    }
    return true;
}

bool CTrellisV7Contact::SplitName()
{
    std::u16string name;
    if (!GetProperty(CContactProperties::Instance().FullName, &name)) {
        return false;
    }
    // Only the blank divides words. The words between the first and the last stay in the full name.
    const std::size_t begin = std::min(name.find_first_not_of(u' '), name.size());
    m_firstName = name.substr(begin, name.find(u' ', begin) - begin);
    const std::size_t lastBlank = name.rfind(u' ');
    m_lastName = lastBlank == name.npos ? u"" : name.substr(lastBlank + 1);
    return true;
}

} // namespace contactmgr_internal
