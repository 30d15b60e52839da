#include "text/Charset.h"

#include "text/GMimeInit.h"
#include "text/Utf8.h"

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string_view>

#include <gmime/gmime.h>

namespace
{

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::string Utf8Lossy(const std::string& text)
{
    std::string converted;
    WideToUtf8(Utf8ToWideLossy(text), &converted);
    return converted;
}

// One replacement for each byte that the charset does not have, and one for a cut character.
std::string ConvertLossy(iconv_t converter, std::string text)
{
    std::string converted;
    char buffer[4096];
    char* in = text.data();
    std::size_t left = text.size();
    while (left > 0) {
        char* out = buffer;
        std::size_t room = sizeof(buffer);
        const std::size_t result = g_mime_iconv(converter, &in, &left, &out, &room);
        converted.append(buffer, sizeof(buffer) - room);
        if (result == static_cast<std::size_t>(-1) && errno != E2BIG) {
            converted += kReplacement;
            const std::size_t skipped = errno == EILSEQ ? 1 : left;
            in += skipped;
            left -= skipped;
        }
    }
    // Some charsets hold a character back until they know what follows it.
    char* out = buffer;
    std::size_t room = sizeof(buffer);
    g_mime_iconv(converter, nullptr, nullptr, &out, &room);
    return converted.append(buffer, sizeof(buffer) - room);
}

bool IsCharset(const char* charset, const char* name)
{
    return g_ascii_strcasecmp(charset, name) == 0;
}

} // namespace

std::string Utf8FromUnknown(std::string_view text)
{
    return IsUtf8(text) ? std::string(text) : Latin1ToUtf8(text);
}

std::string DecodeCharset(const std::string& text, const char* charset)
{
    if (charset == nullptr || *charset == '\0' || IsCharset(charset, "us-ascii")) {
        return Utf8FromUnknown(text);
    }
    if (IsCharset(charset, "utf-8") || IsCharset(charset, "utf8")) {
        return Utf8Lossy(text);
    }
    EnsureMimeLibrary();
    const iconv_t converter = g_mime_iconv_open("UTF-8", charset);
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        return Utf8FromUnknown(text);
    }
    const std::unique_ptr<void, decltype(&g_mime_iconv_close)> owner(converter, g_mime_iconv_close);
    return ConvertLossy(converter, text);
}
