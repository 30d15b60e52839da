#pragma once

#include "core/ContactPlg.h"

#include <string>

// Contacts as texts, for tables of cases.

inline std::string Card(const std::string& lines)
{
    return "BEGIN:VCARD\r\n" + lines + "END:VCARD\r\n";
}

// A property's text.
inline std::u16string TextOf(CContact& contact, const char* property)
{
    std::u16string text;
    return contact.GetProperty(property, &text) ? text : u"(refused)";
}

// The entries of a list: "TYPE VALUE; " each.
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

// The identifiers of the contacts that a walk has still to give: "ID; " each.
inline std::string IdsOf(CContactPlg::CContactEnumerator& walk)
{
    std::string ids;
    while (walk.MoveNext()) {
        ids += walk.GetCurrent()->GetId().ToString() + "; ";
    }
    return ids;
}

// What a walk did not show: the contact or the store, the last error, and "end" if it ends a store.
inline std::string FaultsOf(const CContactPlg::CContactEnumerator& walk)
{
    std::string text;
    for (const CContactPlg::CWalkFault& fault : walk.GetFaults()) {
        text += (fault.item.empty() ? fault.store : fault.item) + ' ' +
                std::to_string(fault.error) + (fault.endsStore ? " end; " : "; ");
    }
    return text;
}
