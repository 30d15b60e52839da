#include "Fields.h"

#include "Record.h"
#include "Report.h"
#include "Text.h"
#include "directory/TypeParameter.h"
#include "platform/Ascii.h"

#include <CLI/CLI.hpp>

#include <array>
#include <string_view>

namespace
{

// An entry of a typed list as a word of the command line.
struct CTypedWord
{
    std::uint32_t types = 0;
    std::string value;
};

// The mask of a comma list of type names; nothing if one of them is unknown.
std::optional<std::uint32_t> ReadTypes(std::string_view names, VCardUtils::CTypeTable table)
{
    std::uint32_t mask = 0;
    while (!names.empty()) {
        const std::string_view name = names.substr(0, names.find(','));
        std::size_t bit = 0;
        while (bit < table.size() && !EqualIgnoringCase(table[bit], name)) {
            ++bit;
        }
        if (bit == table.size()) {
            return std::nullopt;
        }
        mask |= std::uint32_t{1} << bit;
        names.remove_prefix(name.size());
        if (!names.empty()) {
            names.remove_prefix(1);
        }
    }
    return mask;
}

// What stands before the first "=" is only taken for types if it can be nothing else: values have
// equals signs of their own.
CTypedWord ReadTypedWord(const std::string& option, const std::string& word,
                         VCardUtils::CTypeTable table)
{
    const std::string text = UnifyLineBreaks(word);
    CTypedWord typed{0, text};
    const std::size_t equals = text.find('=');
    if (equals != text.npos) {
        if (const auto types = ReadTypes(std::string_view(text).substr(0, equals), table)) {
            typed = {*types, text.substr(equals + 1)};
        }
    }
    if (typed.value.empty()) {
        throw CUsageError("--" + option + " without a value; --no-" + option + " empties the list");
    }
    return typed;
}

const CContactProperty* FindProperty(std::string_view name)
{
    for (const CContactProperty& property : AllProperties()) {
        if (EqualIgnoringCase(property.GetName(), name)) {
            return &property;
        }
    }
    return nullptr;
}

bool IsNameComponent(const CContactProperty& property)
{
    static constexpr const char* kComponents[] = {"Surname", "GivenName", "MiddleInitial", "Title",
                                                  "Suffix"};
    for (const char* component : kComponents) {
        if (property == CContactProperty(component)) {
            return true;
        }
    }
    return false;
}

CContactAddr ReadPostalAddress(const CTypedWord& word)
{
    static constexpr std::size_t kComponents = 7;
    static constexpr std::array<bool (CContactAddr::*)(std::u16string), kComponents> kSetters = {
        &CContactAddr::SetPostOfficeBox, &CContactAddr::SetExtendedAddress,
        &CContactAddr::SetStreet,        &CContactAddr::SetLocality,
        &CContactAddr::SetRegion,        &CContactAddr::SetPostalCode,
        &CContactAddr::SetCountry};
    CContactAddr address;
    address.SetType(word.types);
    std::string_view rest = word.value;
    for (std::size_t i = 0; i < kComponents; ++i) {
        const std::size_t end = rest.find(';');
        if ((end == rest.npos) != (i + 1 == kComponents)) {
            throw CUsageError("--adr wants seven components divided by semicolons: " + word.value);
        }
        (address.*kSetters[i])(ToWide(rest.substr(0, end), "--adr"));
        rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
    }
    return address;
}

} // namespace

void CFields::AddTo(CLI::App& command)
{
    command.add_option("FIELDS", m_propertyWords,
                       "PROPERTY=VALUE; an empty value removes the property");
    AddList(command, "email", "[TYPES=]ADDRESS", "E-mail address, also with a name in front",
            &m_emailWords);
    AddList(command, "tel", "[TYPES=]NUMBER", "Telephone number", &m_telephoneWords);
    AddList(command, "im", "[TYPES=]ADDRESS", "Instant messaging address", &m_imWords);
    AddList(command, "adr", "[TYPES=]COMPONENTS",
            "Postal address: post office box;extended address;street;locality;region;postal "
            "code;country",
            &m_addressWords);
    command.footer("Each list option may be repeated, and the entries given replace the list.\n"
                   "TYPES is a comma list of type names such as home, work or pref.\n"
                   "Properties: Comment FileAs FullName GivenName HTMLComment Jobtitle Manager\n"
                   "MiddleInitial Nickname Organization OrgUnit Suffix Surname Title URL\n"
                   "WssVersion WssReplicationId");
}

void CFields::AddList(CLI::App& command, const std::string& name, const char* value,
                      const char* help, CListWords* words)
{
    CLI::Option* const entries = command.add_option("--" + name, words->entries, help);
    entries->type_name(value)->expected(1)->allow_extra_args(false)->multi_option_policy(
        CLI::MultiOptionPolicy::TakeAll);
    command.add_flag("--no-" + name, words->isNone, "Empty that list")->excludes(entries);
}

bool CFields::IsEmpty() const
{
    return m_properties.empty() && !m_emails && !m_telephones && !m_addresses && !m_ims;
}

bool CFields::Read(CReport& report)
{
    bool accepted = true;
    for (const std::string& word : m_propertyWords) {
        accepted = ReadProperty(word, report) && accepted;
    }
    ReadTelephones();
    ReadAddresses();
    ReadIMs();
    return ReadEmails(report) && accepted;
}

bool CFields::ReadProperty(const std::string& word, CReport& report)
{
    const CAssignment assignment = ParseAssignment(word);
    const CContactProperty* const property = FindProperty(assignment.name);
    if (property == nullptr) {
        throw CUsageError("no property of a contact: " + std::string(assignment.name));
    }
    const std::string value = UnifyLineBreaks(assignment.value);
    if (IsNameComponent(*property) && value.find_first_of(";\n") != value.npos) {
        return report.Refusal("value of " + std::string(property->GetName()),
                              "a semicolon or a line break would break up the name");
    }
    m_properties.emplace_back(*property, ToWide(value, "value of a property"));
    return true;
}

bool CFields::ReadEmails(CReport& report)
{
    if (m_emailWords.entries.empty() && !m_emailWords.isNone) {
        return true;
    }
    bool accepted = true;
    m_emails.emplace();
    for (const std::string& word : m_emailWords.entries) {
        const CTypedWord typed = ReadTypedWord("email", word, VCardUtils::kEmailTypes);
        CRfc822Address address;
        if (!Try([&] { return address.Parse(typed.value.c_str()); })) {
            accepted = report.FailureBecause("address " + typed.value, "not one e-mail address");
            continue;
        }
        CContactEmail email;
        email.SetType(typed.types);
        email.SetAddress(address);
        m_emails->AddTail(email);
    }
    return accepted;
}

void CFields::ReadTelephones()
{
    if (m_telephoneWords.entries.empty() && !m_telephoneWords.isNone) {
        return;
    }
    m_telephones.emplace();
    for (const std::string& word : m_telephoneWords.entries) {
        const CTypedWord typed = ReadTypedWord("tel", word, VCardUtils::kTelephoneTypes);
        CContactTel telephone;
        telephone.SetType(typed.types);
        telephone.SetNumber(typed.value);
        m_telephones->AddTail(telephone);
    }
}

void CFields::ReadAddresses()
{
    if (m_addressWords.entries.empty() && !m_addressWords.isNone) {
        return;
    }
    m_addresses.emplace();
    for (const std::string& word : m_addressWords.entries) {
        m_addresses->AddTail(
            ReadPostalAddress(ReadTypedWord("adr", word, VCardUtils::kAddressTypes)));
    }
}

void CFields::ReadIMs()
{
    if (m_imWords.entries.empty() && !m_imWords.isNone) {
        return;
    }
    m_ims.emplace();
    for (const std::string& word : m_imWords.entries) {
        const CTypedWord typed = ReadTypedWord("im", word, VCardUtils::kIMTypes);
        CContactIM im;
        im.SetType(typed.types);
        im.SetAddress(ToWide(typed.value, "--im"));
        m_ims->AddTail(im);
    }
}

bool CFields::ApplyTo(CContact& contact, const std::string& what, CReport& report) const
{
    for (const auto& [property, value] : m_properties) {
        if (!Try(
                [&, &name = property, &text = value] { return contact.SetProperty(name, text); })) {
            return report.Failure(what + ": " + property.GetName());
        }
    }
    const bool set = Try([&] {
        return (!m_emails || contact.SetEmails(*m_emails)) &&
               (!m_telephones || contact.SetTelephones(*m_telephones)) &&
               (!m_addresses || contact.SetAddresses(*m_addresses)) &&
               (!m_ims || contact.SetIMs(*m_ims));
    });
    return set || report.Failure(what);
}
