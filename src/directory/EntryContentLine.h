#pragma once

#include "core/Contact.h"
#include "directory/ContentLine.h"
#include "directory/ContentLineSyntax.h"
#include "directory/TypeParameter.h"
#include "platform/LastError.h"
#include "text/Utf8.h"

#include <string>
#include <string_view>
#include <utility>

inline namespace contactmgr_internal
{

namespace VCardUtils
{

// A line that stands for an entry of a contact: the base of the lines "ADR", "EMAIL", "IMPP"
// and "TEL", with the class of the line as Line. Exhausted memory throws std::bad_alloc; nothing
// here sets a last error. A value.
//
// Line says what differs: its name (kName), its "TYPE" values (kTypes), and how the main value
// becomes an entry (ReadValue) and an entry the main value (WriteValue). ReadValue gives false for
// a value that it refuses, and leaves the entry as it was. A line with more parameters than "TYPE",
// or one whose entry has its value in UTF-8, has operations of its own that hide those here.
//
// An address book has many lines and looks at few. So an entry is also read from the text of its
// line, and written to it, without an object for the line in between (Read, Append).
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

    // The entry of a line's text, as the constructor reads it.
    static Entry Read(const DirectoryUtils::CLineRest& text)
    {
        const CKeepLastError keep; // a refused value is no failure
        Entry entry;
        Line::ReadText(text.value, &entry);
        Line::ReadParameters(text.parameters, &entry);
        return entry;
    }

    // Appends what ToString gives for the line of the entry. False with ERROR_INVALID_DATA (13).
    static bool Append(const Entry& entry, std::string* text)
    {
        *text += Line::kName;
        Line::AppendParameters(entry, text);
        *text += ':';
        return Line::AppendValue(entry, text);
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

    template <class Parameters>
    static void ReadParameters(const Parameters& parameters, Entry* entry)
    {
        entry->SetType(ReadTypeMask(parameters, Line::kTypes));
    }
    static void WriteParameters(const Entry& entry, DirectoryUtils::CParameters* parameters)
    {
        WriteTypeMask(parameters, Line::kTypes, entry.GetType());
    }
    static void AppendParameters(const Entry& entry, std::string* text)
    {
        AppendTypeMask(Line::kTypes, entry.GetType(), text);
    }
    static bool ReadText(std::string_view value, Entry* entry)
    {
        std::u16string wide;
        return Utf8ToWide(value, &wide) && Line::ReadValue(wide, entry);
    }
    static bool AppendValue(const Entry& entry, std::string* text)
    {
        return AppendUtf8(Line::WriteValue(entry), text);
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

} // namespace contactmgr_internal
