#pragma once

#include <algorithm>
#include <string_view>

inline namespace contactmgr_internal
{

// Comparison of names in mail and in vCards: without regard to the case of ASCII letters, in every
// locale. All other characters differ from each other.

template <class Char>
constexpr Char LowerAscii(Char c)
{
    return c >= Char('A') && c <= Char('Z') ? static_cast<Char>(c + ('a' - 'A')) : c;
}

template <class Char>
constexpr Char UpperAscii(Char c)
{
    return c >= Char('a') && c <= Char('z') ? static_cast<Char>(c - ('a' - 'A')) : c;
}

constexpr bool EqualIgnoringCase(std::string_view left, std::string_view right)
{
    return std::ranges::equal(left, right, {}, LowerAscii<char>, LowerAscii<char>);
}

constexpr bool EqualIgnoringCase(std::u16string_view left, std::u16string_view right)
{
    return std::ranges::equal(left, right, {}, LowerAscii<char16_t>, LowerAscii<char16_t>);
}

} // namespace contactmgr_internal
