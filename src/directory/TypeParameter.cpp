#include "directory/TypeParameter.h"

#include <algorithm>

namespace VCardUtils
{
namespace
{

constexpr char kTypeName[] = "TYPE";

char16_t FoldAscii(char16_t c)
{
    return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c;
}

bool IsType(std::u16string_view value, std::string_view type)
{
    return value.size() == type.size() &&
           std::equal(value.begin(), value.end(), type.begin(), [](char16_t a, char b) {
               return FoldAscii(a) == FoldAscii(static_cast<unsigned char>(b));
           });
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
    for (const std::u16string_view list : *values) {
        for (std::size_t begin = 0; begin <= list.size();) {
            const std::size_t end = std::min(list.find(u',', begin), list.size());
            mask |= BitOf(list.substr(begin, end - begin), table);
            begin = end + 1;
        }
    }
    return mask;
}

bool WriteTypeMask(DirectoryUtils::CParameters* parameters, CTypeTable table, std::uint32_t mask)
{
    DirectoryUtils::CParameterValues* values = nullptr;
    if (!parameters->Lookup(kTypeName, values)) {
        if (mask == 0) {
            return true;
        }
        values = parameters->FindOrAdd(kTypeName);
        if (values == nullptr) {
            return false;
        }
    }
    values->RemoveAll();
    for (std::size_t i = 0; i < table.size(); ++i) {
        if ((mask & (1U << i)) != 0) {
            values->AddTail(std::u16string(table[i].begin(), table[i].end()));
        }
    }
    return true;
}

} // namespace VCardUtils
