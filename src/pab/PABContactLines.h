#pragma once

#include "directory/AddressContentLine.h"
#include "directory/EmailContentLine.h"
#include "directory/IMContentLine.h"
#include "directory/NameContentLine.h"
#include "directory/TelephoneContentLine.h"
#include "pab/PABContact.h"

#include <cstdint>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

// What the sources of CPABContact share.

inline constexpr const char* kVCardBegin = "BEGIN:VCARD\r\n";
inline constexpr const char* kVCardEnd = "END:VCARD\r\n";
inline constexpr const char* kWriteCounterLine = "X-LARKMERE-WSSVERSION";

// At least two lines, the first BEGIN:VCARD and the last END:VCARD, whole but for ASCII case.
bool HasVCardEnvelope(const CTextLines& lines);

// Reads leading white space, a sign and digits; the text behind them does not count. A number out
// of range gives the nearest one, and no digits give 0.
std::int32_t ToNumber(std::u16string_view text);

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
    for (const CContactEmail& email : GetEmails()) {
        if (!function(VCardUtils::CEmailContentLine(email))) {
            return false;
        }
    }
    for (const CContactTel& telephone : GetTelephones()) {
        if (!function(VCardUtils::CTelephoneContentLine(telephone))) {
            return false;
        }
    }
    for (const CContactAddr& address : GetAddresses()) {
        if (!function(VCardUtils::CAddressContentLine(address))) {
            return false;
        }
    }
    for (const CContactIM& im : GetIMs()) {
        if (!function(VCardUtils::CIMContentLine(im))) {
            return false;
        }
    }
    return true;
}
