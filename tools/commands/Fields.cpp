#include "commands/Fields.h"

#include "base/Record.h"
#include "base/Report.h"
#include "base/Text.h"
#include "directory/TypeParameter.h"
#include "platform/Ascii.h"
#include "server/PropertyNames.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cstdint>

// An option for one of the four lists, and the types that its entries can have.
struct CListOption
{
    const char* name;
    const char* value;
    const char* help;
    VCardUtils::CTypeTable types;
};

namespace
{

constexpr CListOption kEmailOption = {"email", "[TYPES=]ADDRESS",
                                      "E-mail address, also with a name in front",
                                      VCardUtils::kEmailTypes};
constexpr CListOption kTelephoneOption = {"tel", "[TYPES=]NUMBER", "Telephone number",
                                          VCardUtils::kTelephoneTypes};
constexpr CListOption kIMOption = {"im", "[TYPES=]ADDRESS", "Instant messaging address",
                                   VCardUtils::kIMTypes};
constexpr CListOption kAddressOption = {
    "adr", "[TYPES=]COMPONENTS",
    "Postal address: post office box;extended address;street;locality;region;postal code;country",
    VCardUtils::kAddressTypes};

// An entry of a list as a word of the command line.
struct CTypedWord
{
    std::uint32_t types = 0;
    std::string value;
};

std::string TypesOf(const CListOption& option)
{
    std::string names;
    for (const std::string_view type : option.types) {
        names.append(names.empty() ? "" : ", ").append(LowerText(type));
    }
    return names;
}

// Whether a text can only be meant as a list of types, known or not: it begins with a letter or a
// comma, and has letters of any script, digits, hyphens, underscores, commas and blanks alone. An
// empty text is a list of none.
bool LooksLikeTypes(std::string_view text)
{
    const auto isLetter = [](char c) {
        const char lower = LowerAscii(c);
        return (lower >= 'a' && lower <= 'z') || static_cast<unsigned char>(c) >= 0x80;
    };
    const auto isOther = [](char c) {
        return std::string_view("0123456789-_, \t").find(c) != std::string_view::npos;
    };
    return text.empty() ||
           ((isLetter(text.front()) || text.front() == ',') &&
            std::ranges::all_of(text, [&](char c) { return isLetter(c) || isOther(c); }));
}

// The mask of a comma list of type names. Throws CUsageError if the option lacks one of them.
std::uint32_t ReadTypes(std::string_view names, const CListOption& option)
{
    std::uint32_t mask = 0;
    for (bool isLast = names.empty(); !isLast;) {
        const std::size_t comma = names.find(',');
        const std::string_view name = names.substr(0, comma);
        const auto type = std::ranges::find_if(option.types, [name](std::string_view known) {
            return EqualIgnoringCase(known, name);
        });
        if (type == option.types.end()) {
            throw CUsageError("--" + std::string(option.name) + " has no type '" +
                              std::string(name) + "'; its types are " + TypesOf(option) +
                              "; write =VALUE for a value with an equals sign in it");
        }
        mask |= std::uint32_t{1} << (type - option.types.begin());
        isLast = comma == names.npos;
        names.remove_prefix(isLast ? 0 : comma + 1);
    }
    return mask;
}

// A value may have equals signs of its own, as in a URI.
CTypedWord ReadTypedWord(const CListOption& option, const std::string& word)
{
    const std::string text = UnifyLineBreaks(word);
    CTypedWord typed{0, text};
    const std::size_t equals = text.find('=');
    const std::string_view beginning = std::string_view(text).substr(0, equals);
    if (equals != text.npos && LooksLikeTypes(beginning)) {
        typed = {ReadTypes(beginning, option), text.substr(equals + 1)};
    }
    if (typed.value.empty()) {
        const std::string name = option.name;
        throw CUsageError("--" + name + " without a value; --no-" + name + " empties the list");
    }
    return typed;
}

const CContactProperty* FindProperty(std::string_view name)
{
    const auto& all = AllProperties();
    const auto found = std::ranges::find_if(all, [name](const CContactProperty& property) {
        return EqualIgnoringCase(std::string_view(property.GetName()), name);
    });
    return found == all.end() ? nullptr : &*found;
}

std::string PropertyNames()
{
    std::vector<std::string_view> names;
    for (const CContactProperty& property : AllProperties()) {
        names.emplace_back(property.GetName());
    }
    return ListNames("Properties:", names);
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

std::optional<CContactEmail> ReadEmail(const CTypedWord& word, CReport& report)
{
    CRfc822Address address;
    if (!Try([&] { return address.Parse(word.value.c_str()); })) {
        report.FailureBecause("address " + word.value, "not one e-mail address");
        return std::nullopt;
    }
    CContactEmail email;
    email.SetType(word.types);
    email.SetAddress(address);
    return email;
}

CContactTel ReadTelephone(const CTypedWord& word)
{
    CContactTel telephone;
    telephone.SetType(word.types);
    telephone.SetNumber(word.value);
    return telephone;
}

CContactIM ReadIM(const CTypedWord& word)
{
    CContactIM im;
    im.SetType(word.types);
    im.SetAddress(ToWide(word.value, "--im"));
    return im;
}

} // namespace

bool BreaksName(const CContactProperty& property, std::u16string_view value)
{
    return value.find_first_of(u";\n") != value.npos &&
           std::ranges::any_of(kPropertyNames, [&](const CPropertyName& known) {
               return known.kind == EPropertyKind::kContactNamePart &&
                      property == CContactProperty(known.name);
           });
}

void CFields::AddTo(CLI::App& command)
{
    command.add_option("FIELDS", m_propertyWords,
                       "PROPERTY=VALUE; an empty value removes the property");
    AddList(command, kEmailOption, &m_emailWords);
    AddList(command, kTelephoneOption, &m_telephoneWords);
    AddList(command, kIMOption, &m_imWords);
    AddList(command, kAddressOption, &m_addressWords);
    command.footer("Each list option may be repeated, and the entries given replace the list.\n"
                   "TYPES is a comma list of types of that option. =VALUE is a value that has an\n"
                   "equals sign itself.\n" +
                   PropertyNames());
}

void CFields::AddList(CLI::App& command, const CListOption& option, CListWords* words)
{
    const std::string name = option.name;
    CLI::Option* const entries = command.add_option(
        "--" + name, words->entries, std::string(option.help) + ". Types: " + TypesOf(option));
    entries->type_name(option.value)
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command.add_flag("--no-" + name, words->isNone, "Empty that list")->excludes(entries);
}

bool CFields::IsEmpty() const
{
    return m_properties.empty() && !m_emails && !m_telephones && !m_addresses && !m_ims;
}

bool CFields::Sets(const CContactProperty& property) const
{
    return std::ranges::any_of(m_properties,
                               [&](const auto& field) { return field.first == property; });
}

// The list of an option; nothing if the command line does not name it. `readEntry` makes an entry.
template <class List, class ReadEntry>
std::optional<List> CFields::ReadList(const CListOption& option, const CListWords& words,
                                      ReadEntry readEntry)
{
    if (words.entries.empty() && !words.isNone) {
        return std::nullopt;
    }
    List list;
    for (const std::string& word : words.entries) {
        list.AddTail(readEntry(ReadTypedWord(option, word)));
    }
    return list;
}

bool CFields::Read(CReport& report)
{
    bool isAccepted = true;
    for (const std::string& word : m_propertyWords) {
        isAccepted = ReadProperty(word, report) && isAccepted;
    }
    m_telephones = ReadList<CContactTelList>(kTelephoneOption, m_telephoneWords, ReadTelephone);
    m_addresses = ReadList<CContactAddrList>(kAddressOption, m_addressWords, ReadPostalAddress);
    m_ims = ReadList<CContactIMList>(kIMOption, m_imWords, ReadIM);
    m_emails = ReadList<CContactEmailList>(kEmailOption, m_emailWords, [&](const CTypedWord& word) {
        const std::optional<CContactEmail> email = ReadEmail(word, report);
        isAccepted = isAccepted && email;
        return email.value_or(CContactEmail());
    });
    return isAccepted;
}

bool CFields::ReadProperty(const std::string& word, CReport& report)
{
    const CAssignment assignment = ParseAssignment(word);
    const CContactProperty* const property = FindProperty(assignment.name);
    if (property == nullptr) {
        throw CUsageError("no property of a contact: " + std::string(assignment.name));
    }
    std::u16string value = ToWide(UnifyLineBreaks(assignment.value), "value of a property");
    if (BreaksName(*property, value)) {
        return report.Refusal("value of " + std::string(property->GetName()), kBreaksName);
    }
    m_properties.emplace_back(*property, std::move(value));
    return true;
}

bool CFields::ApplyTo(CContact& contact, const std::string& what, CReport& report) const
{
    for (const auto& [property, value] : m_properties) {
        if (!Try(
                [&, &name = property, &text = value] { return contact.SetProperty(name, text); })) {
            return report.Failure(what + ": " + property.GetName());
        }
    }
    const bool isSet = Try([&] {
        return (!m_emails || contact.SetEmails(*m_emails)) &&
               (!m_telephones || contact.SetTelephones(*m_telephones)) &&
               (!m_addresses || contact.SetAddresses(*m_addresses)) &&
               (!m_ims || contact.SetIMs(*m_ims));
    });
    return isSet || report.Failure(what);
}
