#include "directory/TypeParameter.h"

#include "platform/Ascii.h"

#include <algorithm>

inline namespace contactmgr_internal
{

namespace VCardUtils
{
namespace
{

constexpr char kTypeName[] = "TYPE";

template <class Char>
std::uint32_t BitOf(std::basic_string_view<Char> value, CTypeTable table)
{
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (std::ranges::equal(value, table[i], {}, LowerAscii<Char>, LowerAscii<char>)) {
            return 1U << i;
        }
    }
    return 0;
}

// Clients that quote a list, TYPE="home,work", mean the same as without quotes.
template <class Char>
std::uint32_t BitsOf(std::basic_string_view<Char> list, CTypeTable table)
{
    std::uint32_t bits = 0;
    for (std::size_t begin = 0; begin <= list.size();) {
        const std::size_t end = std::min(list.find(Char(','), begin), list.size());
        bits |= BitOf(list.substr(begin, end - begin), table);
        begin = end + 1;
    }
    return bits;
}

} // namespace

std::uint32_t ReadTypeMask(const DirectoryUtils::CParameters& parameters, CTypeTable table)
{
    DirectoryUtils::CParameterValues* values = nullptr;
    if (!parameters.Lookup(kTypeName, values)) {
        return 0;
    }
    std::uint32_t mask = 0;
    for (const std::u16string_view list : *values) {
        mask |= BitsOf(list, table);
    }
    return mask;
}

std::uint32_t ReadTypeMask(std::string_view parameters, CTypeTable table)
{
    std::uint32_t mask = 0;
    DirectoryUtils::CParameterReader reader(parameters, 0);
    while (reader.Next()) {
        if (EqualIgnoringCase(reader.Name(), kTypeName)) {
            // No type has a character that ^ encodes, so the raw text serves as well.
            mask |= BitsOf(reader.Raw(), table);
        }
    }
    return mask;
}

void WriteTypeMask(DirectoryUtils::CParameters* parameters, CTypeTable table, std::uint32_t mask)
{
    DirectoryUtils::CParameterValues* old = nullptr;
    if (mask == 0 && !parameters->Lookup(kTypeName, old)) {
        return;
    }
    DirectoryUtils::CParameterValues& values = FindOrAddValues(parameters, kTypeName);
    values.RemoveAll();
    for (std::size_t i = 0; i < table.size(); ++i) {
        if ((mask & (1U << i)) != 0) {
            values.AddTail(std::u16string(table[i].begin(), table[i].end()));
        }
    }
}

void AppendTypeMask(CTypeTable table, std::uint32_t mask, std::string* text)
{
    std::string_view separator = ";TYPE=";
    for (std::size_t i = 0; i < table.size(); ++i) {
        if ((mask & (1U << i)) != 0) {
            text->append(separator).append(table[i]);
            separator = ",";
        }
    }
}

} // namespace VCardUtils

} // namespace contactmgr_internal
