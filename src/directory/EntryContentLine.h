#pragma once

#include "core/Contact.h"
#include "directory/ContentLine.h"
#include "directory/TypeParameter.h"
#include "platform/LastError.h"

#include <string>
#include <utility>

namespace VCardUtils
{

// A line that stands for an entry of a contact: the base of the lines "ADR", "EMAIL", "IMPP"
// and "TEL", with the class of the line as Line. Exhausted memory throws std::bad_alloc; nothing
// here sets a last error. A value.
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

} // namespace VCardUtils
