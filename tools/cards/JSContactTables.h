#pragma once

#include <algorithm>
#include <array>
#include <string_view>

// Which property of a vCard is which property of a JSContact Card (RFC 9555, 2.3).

// A property that has entries with an id each, and a value in each of them.
struct CCollectionRow
{
    std::string_view name;       // in vCard
    std::string_view collection; // in JSContact
    std::string_view value;      // the member of an entry
    std::string_view kind;       // of the entry; empty for none
    bool isUri;
};
inline constexpr std::array<CCollectionRow, 16> kCollections = {
    {{"EMAIL", "emails", "address", "", false},
     {"TEL", "phones", "number", "", false},
     {"IMPP", "onlineServices", "uri", "", true},
     {"TITLE", "titles", "name", "title", false},
     {"ROLE", "titles", "name", "role", false},
     {"NOTE", "notes", "note", "", false},
     {"CONTACT-URI", "links", "uri", "contact", true},
     {"URL", "links", "uri", "", true},
     {"PHOTO", "media", "uri", "photo", true},
     {"LOGO", "media", "uri", "logo", true},
     {"SOUND", "media", "uri", "sound", true},
     {"KEY", "cryptoKeys", "uri", "", true},
     {"CALURI", "calendars", "uri", "calendar", true},
     {"FBURL", "calendars", "uri", "freeBusy", true},
     {"CALADRURI", "schedulingAddresses", "uri", "", true},
     {"SOURCE", "directories", "uri", "entry", true}}};

struct CNamePair
{
    std::string_view vCard;
    std::string_view jsContact;
};
inline constexpr std::array<CNamePair, 2> kContexts = {{{"home", "private"}, {"work", "work"}}};
inline constexpr std::array<CNamePair, 7> kFeatures = {{{"voice", "voice"},
                                                        {"fax", "fax"},
                                                        {"cell", "mobile"},
                                                        {"pager", "pager"},
                                                        {"text", "text"},
                                                        {"video", "video"},
                                                        {"textphone", "textphone"}}};
inline constexpr std::array<CNamePair, 3> kAnniversaries = {
    {{"BDAY", "birth"}, {"ANNIVERSARY", "wedding"}, {"DEATHDATE", "death"}}};

// The components of N and ADR, in their order.
inline constexpr std::array<std::string_view, 5> kNameKinds = {"surname", "given", "given2",
                                                               "title", "credential"};
inline constexpr std::array<std::string_view, 7> kAddressKinds = {
    "postOfficeBox", "apartment", "name", "locality", "region", "postcode", "country"};

// Where a component goes that vCard has no place for.
inline constexpr std::array<CNamePair, 6> kOtherKinds = {{{"surname", "surname2"},
                                                          {"credential", "generation"},
                                                          {"name", "number"},
                                                          {"name", "block"},
                                                          {"apartment", "room"},
                                                          {"apartment", "floor"}}};
