#pragma once

#include "directory/AddressContentLine.h"
#include "directory/EmailContentLine.h"
#include "directory/IMContentLine.h"
#include "directory/NameContentLine.h"
#include "directory/TelephoneContentLine.h"
#include "pab/PABContact.h"
#include "platform/List.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

// What the sources of CPABContact share.

inline constexpr const char* kVCardBegin = "BEGIN:VCARD\r\n";
inline constexpr const char* kVCardEnd = "END:VCARD\r\n";
inline constexpr const char* kWriteCounterLine = "X-LARKMERE-WSSVERSION";

// At least two lines, the first BEGIN:VCARD and the last END:VCARD, compared whole, ASCII case
// ignored.
bool HasVCardEnvelope(const CTextLines& lines);

// Reads leading white space, a sign and digits; the text behind them does not count. A number out
// of range gives the nearest one, and no digits give 0.
std::int32_t ToNumber(std::u16string_view text);

// Calls the function for a line of each entry, until it gives false.
template <class Line, class Entry, class Function>
bool ForEachEntry(const CList<Entry>& entries, Function& function)
{
    return std::ranges::all_of(entries, [&](const Entry& entry) { return function(Line(entry)); });
}

// Calls the function for every line of the file in its order, those of the four lists last, until
// it gives false.
template <class Function>
bool CPABContact::ForEachLine(Function function)
{
    for (const DirectoryUtils::CContentLine* line : m_lines) {
        if (!function(*line)) {
            return false;
        }
    }
    return ForEachEntry<VCardUtils::CEmailContentLine>(GetEmails(), function) &&
           ForEachEntry<VCardUtils::CTelephoneContentLine>(GetTelephones(), function) &&
           ForEachEntry<VCardUtils::CAddressContentLine>(GetAddresses(), function) &&
           ForEachEntry<VCardUtils::CIMContentLine>(GetIMs(), function);
}
