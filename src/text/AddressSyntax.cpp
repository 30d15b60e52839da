#include "text/AddressSyntax.h"

#include <algorithm>
#include <array>
#include <cstddef>

inline namespace contactmgr_internal
{

namespace
{

constexpr std::array<bool, 256> MakeAtomTable()
{
    std::array<bool, 256> table{};
    for (std::size_t c = 0; c < table.size(); ++c) {
        const bool alphanumeric =
            (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        table[c] = alphanumeric || c >= 0x80;
    }
    for (const char c : std::string_view("!#$%&'*+-/=?^_`{|}~")) {
        table[static_cast<unsigned char>(c)] = true;
    }
    return table;
}

constexpr std::array<bool, 256> kAtomTable = MakeAtomTable();

// Whether a display name reads the same without quotes: atoms with one blank between them, none of
// which looks like an encoded word.
bool IsPlainPhrase(std::string_view text)
{
    bool atBlank = true;
    for (const char c : text) {
        if (c == ' ' ? atBlank : !IsAtomCharacter(c)) {
            return false;
        }
        atBlank = c == ' ';
    }
    return !atBlank && text.find("=?") == std::string_view::npos;
}

std::string Quote(std::string_view text)
{
    std::string quoted = "\"";
    quoted.reserve(text.size() + 2);
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
        }
        quoted += c;
    }
    quoted += '"';
    return quoted;
}

} // namespace

bool IsAtomCharacter(char c)
{
    return kAtomTable[static_cast<unsigned char>(c)];
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t';
}

bool IsControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

bool IsUnquotable(char c)
{
    return IsControl(c) && c != '\t';
}

bool IsLiteralCharacter(char c)
{
    return !IsControl(c) && c != ' ' && c != '[' && c != ']' && c != '\\';
}

bool IsDotAtom(std::string_view text)
{
    bool inAtom = false;
    for (const char c : text) {
        const bool isAtom = IsAtomCharacter(c);
        if (!isAtom && (c != '.' || !inAtom)) {
            return false;
        }
        inAtom = isAtom;
    }
    return inAtom;
}

bool IsDomainLiteral(std::string_view text)
{
    return text.size() >= 2 && text.front() == '[' && text.back() == ']' &&
           std::all_of(text.begin() + 1, text.end() - 1, IsLiteralCharacter);
}

std::string Unquote(std::string_view source)
{
    std::string text;
    text.reserve(source.size());
    for (std::size_t i = 0; i < source.size(); ++i) {
        if (source[i] == '\\') {
            ++i;
        }
        if (source[i] != '\r' && source[i] != '\n') {
            text += source[i];
        }
    }
    return text;
}

std::string EncodeLocalPart(std::string_view localPart)
{
    return IsDotAtom(localPart) ? std::string(localPart) : Quote(localPart);
}

std::string EncodePhrase(std::string_view name)
{
    return IsPlainPhrase(name) ? std::string(name) : Quote(name);
}

} // namespace contactmgr_internal
