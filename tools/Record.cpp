#include "Record.h"

#include "Session.h"
#include "Text.h"
#include "directory/TypeParameter.h"
#include "platform/LastError.h"

#include <nlohmann/json.hpp>

#include <string_view>

using nlohmann::ordered_json;

namespace
{

ordered_json TypeNames(std::uint32_t mask, VCardUtils::CTypeTable table)
{
    ordered_json names = ordered_json::array();
    for (std::size_t bit = 0; bit < table.size(); ++bit) {
        if ((mask >> bit & 1) != 0) {
            names.push_back(table[bit]);
        }
    }
    return names;
}

ordered_json ToJson(const CContactEmail& email)
{
    return {{"address", email.GetAddress().RawAddress()},
            {"comment", ToUtf8(std::u16string_view(email.GetAddress().GetComment()))},
            {"types", TypeNames(email.GetType(), VCardUtils::kEmailTypes)}};
}

ordered_json ToJson(const CContactTel& telephone)
{
    return {{"number", telephone.GetNumber()},
            {"types", TypeNames(telephone.GetType(), VCardUtils::kTelephoneTypes)}};
}

ordered_json ToJson(const CContactAddr& address)
{
    return {{"postOfficeBox", ToUtf8(address.GetPostOfficeBox())},
            {"extendedAddress", ToUtf8(address.GetExtendedAddress())},
            {"street", ToUtf8(address.GetStreet())},
            {"locality", ToUtf8(address.GetLocality())},
            {"region", ToUtf8(address.GetRegion())},
            {"postalCode", ToUtf8(address.GetPostalCode())},
            {"country", ToUtf8(address.GetCountry())},
            {"types", TypeNames(address.GetType(), VCardUtils::kAddressTypes)}};
}

ordered_json ToJson(const CContactIM& im)
{
    return {{"address", ToUtf8(im.GetAddress())},
            {"types", TypeNames(im.GetType(), VCardUtils::kIMTypes)}};
}

template <class List>
ordered_json ListToJson(const List& list)
{
    ordered_json entries = ordered_json::array();
    for (const auto& entry : list) {
        entries.push_back(ToJson(entry));
    }
    return entries;
}

std::string Dump(const ordered_json& value)
{
    return value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

// An entry of a list: its values, then its types in brackets.
std::string EntryAsText(const ordered_json& entry)
{
    std::string text;
    std::string types;
    for (const auto& [name, value] : entry.items()) {
        if (value.is_string() && !value.get<std::string>().empty()) {
            text.append(text.empty() ? "" : ", ").append(value.get<std::string>());
        }
        for (const ordered_json& type : value.is_array() ? value : ordered_json::array()) {
            types.append(types.empty() ? " [" : ",").append(type.get<std::string>());
        }
    }
    return text + types + (types.empty() ? "" : "]");
}

void AppendLine(std::string_view name, std::string_view value, std::string* text)
{
    if (!value.empty()) {
        text->append(name).append(": ").append(ToField(value)).append(1, '\n');
    }
}

} // namespace

const std::vector<CContactProperty>& AllProperties()
{
    static const std::vector<CContactProperty> properties = [] {
        CContactPropertyList list;
        CContactProperties::Instance().GetList(list);
        std::vector<CContactProperty> all;
        for (POSITION position = list.GetHeadPosition(); position != nullptr;) {
            all.push_back(list.GetNext(position));
        }
        return all;
    }();
    return properties;
}

// A false result without a code is a value that the store does not have.
template <class Call>
void CRecordReader::Read(const char* item, Call call)
{
    if (!Try(call) && GetLastError() != ERROR_SUCCESS && !m_isFaultReported) {
        m_isFaultReported = true;
        m_session.ReportUnreadable(m_contact, item);
    }
}

std::u16string CRecordReader::Property(const CContactProperty& property)
{
    std::u16string value;
    Read(property.GetName(), [&] {
        return !m_contact.SupportsProperty(property) || m_contact.GetProperty(property, &value);
    });
    return value;
}

std::u16string CRecordReader::FirstName()
{
    std::u16string name;
    Read("first name", [&] { return m_contact.GetFirstName(&name); });
    return name;
}

std::u16string CRecordReader::LastName()
{
    std::u16string name;
    Read("last name", [&] { return m_contact.GetLastName(&name); });
    return name;
}

std::string CRecordReader::FirstAddress()
{
    const CContactEmailList& emails = m_contact.GetEmails();
    return emails.IsEmpty() ? "" : emails.GetHead().GetAddress().RawAddress();
}

std::string CRecordReader::AsJson()
{
    FILETIME modified;
    Read("time", [&] { return m_contact.GetModifiedTime(&modified); });
    ordered_json record = {
        {"id", m_contact.GetId().ToString()},  {"type", m_contact.GetPluginType()},
        {"readOnly", m_contact.IsReadOnly()},  {"modified", VersionText(modified)},
        {"firstName", ToUtf8(FirstName())},    {"lastName", ToUtf8(LastName())},
        {"properties", ordered_json::object()}};
    for (const CContactProperty& property : AllProperties()) {
        const std::u16string value = Property(property);
        if (!value.empty()) {
            record["properties"][property.GetName()] = ToUtf8(value);
        }
    }
    // Stores that fill a list on demand leave it empty where they cannot.
    Read("telephones", [&] { return !m_contact.GetTelephones().IsEmpty(); });
    Read("addresses", [&] { return !m_contact.GetAddresses().IsEmpty(); });
    record["emails"] = ListToJson(m_contact.GetEmails());
    record["telephones"] = ListToJson(m_contact.GetTelephones());
    record["addresses"] = ListToJson(m_contact.GetAddresses());
    record["ims"] = ListToJson(m_contact.GetIMs());
    return Dump(record);
}

std::string CRecordReader::AsText()
{
    const ordered_json record = ordered_json::parse(AsJson());
    std::string text;
    for (const auto& [name, value] : record.items()) {
        if (value.is_string()) {
            AppendLine(name, value.get<std::string>(), &text);
        } else if (value.is_boolean()) {
            AppendLine(name, value.get<bool>() ? "true" : "false", &text);
        } else if (value.is_object()) {
            for (const auto& [property, propertyValue] : value.items()) {
                AppendLine(property, propertyValue.get<std::string>(), &text);
            }
        } else {
            for (const ordered_json& entry : value) {
                AppendLine(name, EntryAsText(entry), &text);
            }
        }
    }
    return text;
}
