#include "base/Record.h"

#include "base/JsonForm.h"
#include "base/Session.h"
#include "base/Stores.h"
#include "base/Text.h"
#include "directory/TypeParameter.h"
#include "platform/Failure.h"

#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace
{

constexpr const char* kOtherMailbox = "OtherMailbox";

std::vector<std::string_view> TypeNames(std::uint32_t mask, VCardUtils::CTypeTable table)
{
    std::vector<std::string_view> names;
    for (std::size_t bit = 0; bit < table.size(); ++bit) {
        if ((mask >> bit & 1) != 0) {
            names.push_back(table[bit]);
        }
    }
    return names;
}

CRecordEntry ReadEntry(const CContactEmail& email)
{
    return {{{"address", email.GetAddress().RawAddress()},
             {"comment", ToUtf8(std::u16string_view(email.GetAddress().GetComment()))}},
            TypeNames(email.GetType(), VCardUtils::kEmailTypes)};
}

CRecordEntry ReadEntry(const CContactTel& telephone)
{
    return {{{"number", telephone.GetNumber()}},
            TypeNames(telephone.GetType(), VCardUtils::kTelephoneTypes)};
}

CRecordEntry ReadEntry(const CContactAddr& address)
{
    return {{{"postOfficeBox", ToUtf8(address.GetPostOfficeBox())},
             {"extendedAddress", ToUtf8(address.GetExtendedAddress())},
             {"street", ToUtf8(address.GetStreet())},
             {"locality", ToUtf8(address.GetLocality())},
             {"region", ToUtf8(address.GetRegion())},
             {"postalCode", ToUtf8(address.GetPostalCode())},
             {"country", ToUtf8(address.GetCountry())}},
            TypeNames(address.GetType(), VCardUtils::kAddressTypes)};
}

CRecordEntry ReadEntry(const CContactIM& im)
{
    return {{{"address", ToUtf8(im.GetAddress())}}, TypeNames(im.GetType(), VCardUtils::kIMTypes)};
}

template <class List>
std::vector<CRecordEntry> ReadEntries(const List& list)
{
    std::vector<CRecordEntry> entries;
    for (const auto& entry : list) {
        entries.push_back(ReadEntry(entry));
    }
    return entries;
}

ordered_json EntriesToJson(const std::vector<CRecordEntry>& entries)
{
    ordered_json list = ordered_json::array();
    for (const CRecordEntry& entry : entries) {
        ordered_json object;
        for (const auto& [name, value] : entry.values) {
            object[std::string(name)] = value;
        }
        object["types"] = entry.types;
        list.push_back(std::move(object));
    }
    return list;
}

void AppendLine(std::string_view name, std::string_view value, std::string* text)
{
    if (!value.empty()) {
        text->append(name).append(": ").append(ToField(value)).append(1, '\n');
    }
}

// A line for each entry: its values, then its types in brackets.
void AppendEntries(std::string_view name, const std::vector<CRecordEntry>& entries,
                   std::string* text)
{
    for (const CRecordEntry& entry : entries) {
        std::string line;
        for (const auto& [valueName, value] : entry.values) {
            line.append(line.empty() || value.empty() ? "" : ", ").append(value);
        }
        for (const std::string_view type : entry.types) {
            line.append(type == entry.types.front() ? " [" : ",").append(type);
        }
        AppendLine(name, line + (entry.types.empty() ? "" : "]"), text);
    }
}

} // namespace

std::string ToJson(const CRecord& record)
{
    ordered_json properties = ordered_json::object();
    for (const auto& [name, value] : record.properties) {
        properties[std::string(name)] = value;
    }
    const ordered_json object = {{kFormatVersionName, kFormatVersion},
                                 {"id", record.id},
                                 {"type", record.type},
                                 {"readOnly", record.isReadOnly},
                                 {"modified", record.modified},
                                 {"firstName", record.firstName},
                                 {"lastName", record.lastName},
                                 {"properties", std::move(properties)},
                                 {"emails", EntriesToJson(record.emails)},
                                 {"telephones", EntriesToJson(record.telephones)},
                                 {"addresses", EntriesToJson(record.addresses)},
                                 {"ims", EntriesToJson(record.ims)}};
    return object.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string ToText(const CRecord& record)
{
    std::string text;
    AppendLine("id", record.id, &text);
    AppendLine("type", record.type, &text);
    AppendLine("readOnly", record.isReadOnly ? "true" : "false", &text);
    AppendLine("modified", record.modified, &text);
    AppendLine("firstName", record.firstName, &text);
    AppendLine("lastName", record.lastName, &text);
    for (const auto& [name, value] : record.properties) {
        AppendLine(name, value, &text);
    }
    AppendEntries("emails", record.emails, &text);
    AppendEntries("telephones", record.telephones, &text);
    AppendEntries("addresses", record.addresses, &text);
    AppendEntries("ims", record.ims, &text);
    return text;
}

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

// The library makes a contact without the second address, and does not tell why.
const CContactEmailList& CRecordReader::Emails()
{
    const CContactEmailList& emails = m_contact.GetEmails();
    if (m_contact.GetPluginType() == kMailboxDirectory && emails.GetCount() < 2) {
        std::u16string address;
        Read(kOtherMailbox, [&] {
            return m_contact.GetProperty(CContactProperty(kOtherMailbox), &address) &&
                   (address.empty() || Fail(ERROR_INVALID_DATA));
        });
    }
    return emails;
}

std::string CRecordReader::FirstAddress()
{
    const CContactEmailList& emails = m_contact.GetEmails();
    return emails.IsEmpty() ? "" : emails.GetHead().GetAddress().RawAddress();
}

CRecord CRecordReader::ReadAll()
{
    CRecord record;
    record.id = m_contact.GetId().ToString();
    record.type = m_contact.GetPluginType();
    record.isReadOnly = m_contact.IsReadOnly();
    FILETIME modified;
    Read("time", [&] { return m_contact.GetModifiedTime(&modified); });
    record.modified = VersionText(modified);
    record.firstName = ToUtf8(FirstName());
    record.lastName = ToUtf8(LastName());
    for (const CContactProperty& property : AllProperties()) {
        const std::u16string value = Property(property);
        if (!value.empty()) {
            record.properties.emplace_back(property.GetName(), ToUtf8(value));
        }
    }
    // Stores that fill a list on demand leave it empty if they cannot.
    Read("telephones", [&] { return !m_contact.GetTelephones().IsEmpty(); });
    Read("addresses", [&] { return !m_contact.GetAddresses().IsEmpty(); });
    record.emails = ReadEntries(Emails());
    record.telephones = ReadEntries(m_contact.GetTelephones());
    record.addresses = ReadEntries(m_contact.GetAddresses());
    record.ims = ReadEntries(m_contact.GetIMs());
    return record;
}
