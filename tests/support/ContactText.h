#pragma once

#include "core/Contact.h"

#include <string>

// The entries of a contact's lists in one text, for tables of cases: "TYPE VALUE; " each.

inline std::string EmailsOf(CContact& contact)
{
    std::string text;
    for (const CContactEmail& entry : contact.GetEmails()) {
        text += std::to_string(entry.GetType()) + " " + entry.GetAddress().RawAddress() + "; ";
    }
    return text;
}

inline std::string TelephonesOf(CContact& contact)
{
    std::string text;
    for (const CContactTel& entry : contact.GetTelephones()) {
        text += std::to_string(entry.GetType()) + " " + entry.GetNumber() + "; ";
    }
    return text;
}

// "TYPE|box|extended|street|locality|region|code|country; " each.
inline std::u16string AddressesOf(CContact& contact)
{
    std::u16string text;
    for (const CContactAddr& entry : contact.GetAddresses()) {
        const std::string type = std::to_string(entry.GetType());
        text.append(type.begin(), type.end());
        for (const auto* part : {&entry.GetPostOfficeBox(), &entry.GetExtendedAddress(),
                                 &entry.GetStreet(), &entry.GetLocality(), &entry.GetRegion(),
                                 &entry.GetPostalCode(), &entry.GetCountry()}) {
            text += u'|' + *part;
        }
        text += u"; ";
    }
    return text;
}
