#include "directory/TypeParameter.h"

#include "directory/ContentLineSyntax.h"
#include "platform/Ascii.h"

#include <algorithm>

namespace VCardUtils
{
namespace
{

constexpr char kTypeName[] = "TYPE";

bool IsType(std::u16string_view value, std::string_view type)
{
    return std::ranges::equal(value, type, {}, LowerAscii<char16_t>, LowerAscii<char>);
}

std::uint32_t BitOf(std::u16string_view value, CTypeTable table)
{
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (IsType(value, table[i])) {
            return 1U << i;
        }
    }
    return 0;
}

} // namespace

std::uint32_t ReadTypeMask(const DirectoryUtils::CParameters& parameters, CTypeTable table)
{
    DirectoryUtils::CParameterValues* values = nullptr;
    if (!parameters.Lookup(kTypeName, values)) {
        return 0;
    }
    std::uint32_t mask = 0;
    // Clients that quote a list, TYPE="home,work", mean the same as without quotes.
    for (const std::u16string_view list : *values) {
        for (std::size_t begin = 0; begin <= list.size();) {
            const std::size_t end = std::min(list.find(u',', begin), list.size());
            mask |= BitOf(list.substr(begin, end - begin), table);
            begin = end + 1;
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

} // namespace VCardUtils
