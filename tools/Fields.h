#pragma once

#include "core/Contact.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace CLI
{
class App;
} // namespace CLI
class CReport;

// The fields of a contact as the command line has them: PROPERTY=VALUE, --email and its sisters.
// A value; taken from the command line once.
class CFields
{
public:
    // Makes them part of a command. The object must outlive the command line.
    void AddTo(CLI::App& command);

    // Reads what the command line said. Throws CUsageError where that cannot be meant; false, with
    // a line on the report, where a value is refused.
    bool Read(CReport& report);

    // After Read.
    bool IsEmpty() const;

    // Sets the fields. `what` says what is being done to which contact.
    bool ApplyTo(CContact& contact, const std::string& what, CReport& report) const;

private:
    struct CListWords
    {
        std::vector<std::string> entries;
        bool isNone = false;
    };

    void AddList(CLI::App& command, const std::string& name, const char* value, const char* help,
                 CListWords* words);
    bool ReadProperty(const std::string& word, CReport& report);
    bool ReadEmails(CReport& report);
    void ReadTelephones();
    void ReadAddresses();
    void ReadIMs();

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
