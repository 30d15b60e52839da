#pragma once

#include "directory/ContentLine.h"
#include "directory/ContentLineSyntax.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

inline namespace contactmgr_internal
{

// The "TYPE" parameter of the lines whose entries have a type mask. Value number i of a table
// stands for bit 1 << i. The values are written in the table's order and case.
namespace VCardUtils
{

using CTypeTable = std::span<const std::string_view>;

inline constexpr std::string_view kAddressTypes[] = {"dom",  "intl", "postal", "parcel",
                                                     "home", "work", "pref"};
inline constexpr std::string_view kEmailTypes[] = {"internet", "x400", "pref"};
inline constexpr std::string_view kIMTypes[] = {"PERSONAL", "BUSINESS", "HOME",
                                                "WORK",     "MOBILE",   "PREF"};
// Old files have their bits in this order, which is not that of RFC 2426.
inline constexpr std::string_view kTelephoneTypes[] = {
    "home",  "work",          "pref",       "voice",   "fax",    "msg", "cell",
    "pager", "car",           "isdn",       "bbs",     "modem",  "pcs", "video",
    "x-tdd", "x-switchboard", "x-callback", "x-radio", "x-telex"};

// The bits of the "TYPE" values, ASCII case ignored. A value may be a quoted list,
// TYPE="home,work". Unknown values are ignored; without the parameter the mask is 0.
std::uint32_t ReadTypeMask(const DirectoryUtils::CParameters& parameters, CTypeTable table);
std::uint32_t ReadTypeMask(std::string_view parameters, CTypeTable table); // of a CLineRest

// Replaces the "TYPE" values by those of the mask. Bits that the table lacks are ignored. A mask of
// 0 adds no parameter, and empties one that is there. Throws std::bad_alloc.
void WriteTypeMask(DirectoryUtils::CParameters* parameters, CTypeTable table, std::uint32_t mask);

// Appends the parameter, as it stands in a line that has no other "TYPE" values.
void AppendTypeMask(CTypeTable table, std::uint32_t mask, std::string* text);

} // namespace VCardUtils

} // namespace contactmgr_internal
