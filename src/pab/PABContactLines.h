#pragma once

#include "directory/AddressContentLine.h"
#include "directory/EmailContentLine.h"
#include "directory/IMContentLine.h"
#include "directory/TelephoneContentLine.h"
#include "pab/PABContact.h"
#include "platform/List.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

// What the sources of CPABContact share.

inline constexpr const char* kVCardBegin = "BEGIN:VCARD\r\n";
inline constexpr const char* kVCardEnd = "END:VCARD\r\n";
inline constexpr const char* kWriteCounterLine = "X-LARKMERE-WSSVERSION";

// Reads leading white space, a sign and digits; the text behind them does not count. A number out
// of range gives the nearest one, and no digits give 0.
std::int32_t ToNumber(std::string_view text);

// Calls the function for the line of each entry, until it gives false.
template <class Line, class Entry, class Function>
bool ForEachEntry(const CList<Entry>& entries, Function& function)
{
    std::string text;
    return std::ranges::all_of(entries, [&](const Entry& entry) {
        text.clear();
        return Line::Append(entry, &text) && function(text);
    });
}

// Calls the function for the text of every line of the file in its order, those of the four lists
// last, until it gives false.
template <class Function>
bool CPABContact::ForEachLine(Function function)
{
    ReadLists();
    return m_lines.ForEach(function) &&
           ForEachEntry<VCardUtils::CEmailContentLine>(m_emails, function) &&
           ForEachEntry<VCardUtils::CTelephoneContentLine>(m_telephones, function) &&
           ForEachEntry<VCardUtils::CAddressContentLine>(m_addresses, function) &&
           ForEachEntry<VCardUtils::CIMContentLine>(m_ims, function);
}

} // namespace contactmgr_internal
