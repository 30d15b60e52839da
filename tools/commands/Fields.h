#pragma once

#include "core/Contact.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace CLI
{
class App;
} // namespace CLI
class CReport;
struct CListOption;

// Whether a value cannot stand in a component of the person's name: a semicolon or a line break
// would divide the name anew (RFC 2426, 3.1.2). False for a property that is no such component.
bool BreaksName(const CContactProperty& property, std::u16string_view value);
inline constexpr const char* kBreaksName =
    "a semicolon or a line break would divide the name in other parts";

// The fields of a contact as the command line has them: PROPERTY=VALUE, --email and its sisters.
// A value; read once.
class CFields
{
public:
    // Makes them part of a command. The object must outlive the command line.
    void AddTo(CLI::App& command);

    // Reads what the command line said. Throws CUsageError for a property, a type or a number of
    // components that does not exist. False if a value is refused, which is reported.
    bool Read(CReport& report);

    // After Read.
    bool IsEmpty() const;
    bool Sets(const CContactProperty& property) const;

    // Sets the fields. `what` says what is being done to which contact.
    bool ApplyTo(CContact& contact, const std::string& what, CReport& report) const;

private:
    struct CListWords
    {
        std::vector<std::string> entries;
        bool isNone = false;
    };

    static void AddList(CLI::App& command, const CListOption& option, CListWords* words);
    bool ReadProperty(const std::string& word, CReport& report);
    template <class List, class ReadEntry>
    static std::optional<List> ReadList(const CListOption& option, const CListWords& words,
                                        ReadEntry readEntry);

    std::vector<std::string> m_propertyWords;
    CListWords m_emailWords;
    CListWords m_telephoneWords;
    CListWords m_addressWords;
    CListWords m_imWords;

    std::vector<std::pair<CContactProperty, std::u16string>> m_properties;
    std::optional<CContactEmailList> m_emails;
    std::optional<CContactTelList> m_telephones;
    std::optional<CContactAddrList> m_addresses;
    std::optional<CContactIMList> m_ims;
};
