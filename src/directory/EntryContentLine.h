#pragma once

#include "core/Contact.h"
#include "directory/ContentLine.h"
#include "directory/TypeParameter.h"
#include "platform/LastError.h"

#include <string>
#include <utility>

namespace VCardUtils
{

// A line that stands for an entry of a contact: the base of the four classes below, with one of
// them as Line. Exhausted memory throws std::bad_alloc; nothing here sets a last error. A value.
//
// Line says what differs: its name (kName), its "TYPE" values (kTypes), and how the main value
// becomes an entry (ReadValue) and an entry the main value (WriteValue). ReadValue gives false for
// a value that it refuses, and leaves the entry as it was. A line with more parameters than "TYPE"
// has its own ReadParameters and WriteParameters, which hide those here.
template <class Line, class Entry>
class CEntryContentLine : public DirectoryUtils::CContentLine
{
public:
    // The line that is written for an entry: no group, and no parameters but the entry's.
    explicit CEntryContentLine(const Entry& entry) : CContentLine(Line::kName) { SetEntry(entry); }

    // The line that CContentLine::Parse took apart. Without "TYPE" the type mask is 0, whatever
    // default the RFC has. A refused value leaves an entry that has only what the parameters say.
    CEntryContentLine(std::string group, DirectoryUtils::CParameters parameters,
                      std::u16string value)
        : CContentLine(std::move(group), Line::kName, std::move(parameters), std::move(value))
    {
        ReadMainValue();
        Line::ReadParameters(GetParameters(), &m_entry);
    }

    // Takes the main value and reads it into the entry. False if it is refused: the main value is
    // then the new one all the same, and the entry the old one.
    bool SetMainValue(std::u16string value) override
    {
        return CContentLine::SetMainValue(std::move(value)) && ReadMainValue();
    }

protected:
    const Entry& GetEntry() const { return m_entry; }

    // Takes the entry over and rebuilds its parameters and the main value. Always true.
    bool SetEntry(const Entry& entry)
    {
        m_entry = entry;
        Line::WriteParameters(m_entry, &Parameters());
        return CContentLine::SetMainValue(Line::WriteValue(m_entry));
    }

    static void ReadParameters(const DirectoryUtils::CParameters& parameters, Entry* entry)
    {
        entry->SetType(ReadTypeMask(parameters, Line::kTypes));
    }
    static void WriteParameters(const Entry& entry, DirectoryUtils::CParameters* parameters)
    {
        WriteTypeMask(parameters, Line::kTypes, entry.GetType());
    }

private:
    bool ReadMainValue()
    {
        const CKeepLastError keep;
        return Line::ReadValue(CContentLine::GetMainValue(), &m_entry);
    }

    Entry m_entry;
};

// An "ADR" line (RFC 2426, 3.2.1). It is written with seven components, and a semicolon in a field
// has no escape: it reads back as the end of its component. Reading leaves fields behind the last
// component as they were; components behind the seventh stay in the main value alone.
class CAddressContentLine : public CEntryContentLine<CAddressContentLine, CContactAddr>
{
public:
    static constexpr const char* kName = "ADR";
    static constexpr CTypeTable kTypes = kAddressTypes;

    using CEntryContentLine::CEntryContentLine;
    const CContactAddr& GetAddress() const { return GetEntry(); }
    bool SetAddress(const CContactAddr& address) { return SetEntry(address); }

private:
    friend CEntryContentLine;
    static bool ReadValue(const std::u16string& value, CContactAddr* address);
    static std::u16string WriteValue(const CContactAddr& address);
};

// An "EMAIL" line (RFC 2426, 3.3.2). The value is the address without its comment, which travels in
// the parameter "X-COMMENT" and wins over a display name in the value. An entry without a comment
// leaves an "X-COMMENT" as it is. A value that is no address is refused.
class CEmailContentLine : public CEntryContentLine<CEmailContentLine, CContactEmail>
{
public:
    static constexpr const char* kName = "EMAIL";
    static constexpr CTypeTable kTypes = kEmailTypes;

    using CEntryContentLine::CEntryContentLine;
    const CContactEmail& GetEmail() const { return GetEntry(); }
    bool SetEmail(const CContactEmail& email) { return SetEntry(email); }

    // Puts a text into the entry's address as its comment, each zero character, which would end it,
    // as U+FFFD. A text that is no UTF-16 changes nothing.
    static void SetComment(std::u16string comment, CContactEmail* email);

private:
    friend CEntryContentLine;
    static bool ReadValue(const std::u16string& value, CContactEmail* email);
    static std::u16string WriteValue(const CContactEmail& email);
    static void ReadParameters(const DirectoryUtils::CParameters& parameters, CContactEmail* email);
    static void WriteParameters(const CContactEmail& email,
                                DirectoryUtils::CParameters* parameters);
};

// An "IMPP" line (RFC 4770). The value, a URI, passes unchanged in both directions.
class CIMContentLine : public CEntryContentLine<CIMContentLine, CContactIM>
{
public:
    static constexpr const char* kName = "IMPP";
    static constexpr CTypeTable kTypes = kIMTypes;

    using CEntryContentLine::CEntryContentLine;
    const CContactIM& GetIM() const { return GetEntry(); }
    bool SetIM(const CContactIM& im) { return SetEntry(im); }

private:
    friend CEntryContentLine;
    static bool ReadValue(const std::u16string& value, CContactIM* im);
    static std::u16string WriteValue(const CContactIM& im);
};

// A "TEL" line (RFC 2426, 3.3.1). The number is the value in UTF-8. Other stores hand over numbers
// as they have them: bytes that are no UTF-8 are written as U+FFFD. A value that is no UTF-16 is
// refused.
class CTelephoneContentLine : public CEntryContentLine<CTelephoneContentLine, CContactTel>
{
public:
    static constexpr const char* kName = "TEL";
    static constexpr CTypeTable kTypes = kTelephoneTypes;

    using CEntryContentLine::CEntryContentLine;
    const CContactTel& GetTelephone() const { return GetEntry(); }
    bool SetTelephone(const CContactTel& telephone) { return SetEntry(telephone); }

private:
    friend CEntryContentLine;
    static bool ReadValue(const std::u16string& value, CContactTel* telephone);
    static std::u16string WriteValue(const CContactTel& telephone);
};

} // namespace VCardUtils
