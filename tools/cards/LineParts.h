#pragma once

#include "cards/VCard.h"
#include "platform/Ascii.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>

// What the conversions of cards do with names, types and parameters.

// Compared without regard to case.
inline bool IsOneOf(std::string_view text, std::initializer_list<std::string_view> all)
{
    return std::ranges::any_of(
        all, [text](std::string_view each) { return EqualIgnoringCase(text, each); });
}

// Whether a text begins as a URI does (RFC 3986, 3.1), with a scheme of two letters or more.
inline bool IsUri(std::string_view text)
{
    const std::size_t colon = text.find(':');
    return colon != text.npos && colon > 1 &&
           text.find_first_not_of(
               "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.") == colon;
}

// The text of a value whose escapes are not to be relied on: a backslash that begins none of ; , :
// \ n is one. So programs write values of vCard 2.1, and labels in a parameter.
inline std::string LooseText(std::string_view value)
{
    constexpr std::string_view kEscaped = ";,:\\nN";
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char next = i + 1 < value.size() ? value[i + 1] : '\0';
        if (value[i] == '\\' && next != '\0' && kEscaped.find(next) != kEscaped.npos) {
            text += next == 'n' || next == 'N' ? '\n' : next;
            ++i;
        } else {
            text += value[i];
        }
    }
    return text;
}

inline void DropParameter(std::string_view name, CVCardLine* line)
{
    std::erase_if(line->parameters, [name](const auto& each) { return each.first == name; });
}

inline void SetParameter(std::string_view name, std::string_view value, CVCardLine* line)
{
    DropParameter(name, line);
    line->parameters.emplace_back(name, value);
}
