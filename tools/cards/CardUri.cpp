#include "cards/CardUri.h"

#include "platform/Ascii.h"
#include "text/TransferEncoding.h"
#include "text/Utf8.h"

#include <algorithm>

bool TakeScheme(std::string_view scheme, std::string* uri)
{
    if (!EqualIgnoringCase(std::string_view(*uri).substr(0, scheme.size()), scheme)) {
        return false;
    }
    uri->erase(0, scheme.size());
    return true;
}

std::string DecodeUriText(std::string_view part)
{
    constexpr unsigned char kDelete = 0x7F;
    const std::string text = DecodePercent(part);
    const bool isPlain = std::ranges::none_of(
        text, [](unsigned char c) { return c < ' ' || c == kDelete || c == '\\'; });
    return isPlain && IsUtf8(text) ? text : std::string(part);
}

// What was encoded may be such a URI again.
void TelephoneTo3(std::string* number)
{
    while (TakeScheme("tel:", number)) {
        std::string text = number->substr(0, number->find(';'));
        constexpr std::string_view kExtension = ";ext=";
        const std::size_t extension = number->find(kExtension);
        if (extension != std::string::npos) {
            const std::size_t begin = extension + kExtension.size();
            text += " ext. " + number->substr(begin, number->find(';', begin) - begin);
        }
        *number = DecodeUriText(text);
    }
}

// A comma may have a backslash in front, as if the value were text.
void PositionTo3(std::string* position)
{
    std::string text = *position;
    if (!TakeScheme("geo:", &text)) {
        return;
    }
    text.resize(std::min(text.find(';'), text.size()));
    std::erase(text, '\\');
    if (text.find_first_not_of("0123456789.,+-") == text.npos) {
        std::ranges::replace(text, ',', ';');
        *position = text;
    }
}
