#include "text/Charset.h"

#include "text/MimeLibrary.h"
#include "text/Utf8.h"

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string_view>

#include <gmime/gmime.h>

inline namespace contactmgr_internal
{

namespace
{

std::string Utf8Lossy(const std::string& text)
{
    std::string converted;
    WideToUtf8(Utf8ToWideLossy(text), &converted);
    return converted;
}

// One replacement for each byte that the charset does not have, and one for a character that is cut
// off at the end.
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
            converted += kReplacementCharacter;
            const std::size_t skipped = errno == EILSEQ ? 1 : left;
            in += skipped;
            left -= skipped;
        }
    }
    // Some converters hold a character back until they know the one behind it.
    char* out = buffer;
    std::size_t room = sizeof(buffer);
    g_mime_iconv(converter, nullptr, nullptr, &out, &room);
    return converted.append(buffer, sizeof(buffer) - room);
}

// What mailers mean by the name of a charset that the converter does not know or takes literally.
// Mail programs for Windows put the name of a standard charset on text of the Windows code page
// that extends it, so the code page decodes both. In "iso-8859-1" that turns 0x80 to 0x9F into
// quotes and dashes; nobody mails the control characters of the standard. The MIME library has
// turned gb2312 into GBK, ks_c_5601-1987 into EUC-KR and windows-31j into CP31j before.
constexpr struct
{
    const char *name, *meant;
} kMeantCharsets[] = {
    {"iso-8859-1", "CP1252"},
    {"latin1", "CP1252"},
    {"iso-8859-9", "CP1254"},
    {"tis-620", "CP874"},
    {"iso-8859-11", "CP874"},
    {"shift-jis", "CP932"},
    {"x-sjis", "CP932"},
    {"CP31j", "CP932"},
    {"euc-jp", "EUC-JP-MS"},
    {"x-euc-jp", "EUC-JP-MS"},
    {"GBK", "GB18030"},
    {"x-gbk", "GB18030"},
    {"EUC-KR", "CP949"},
    {"x-windows-949", "CP949"},
    {"x-big5", "BIG5"},
    {"x-mac-roman", "MACINTOSH"},
    {"unicode-1-1-utf-7", "UTF-7"},
};

bool IsCharset(const char* charset, const char* name)
{
    return g_ascii_strcasecmp(charset, name) == 0;
}

const char* MeantCharset(const char* charset)
{
    const char* const known = g_mime_charset_iconv_name(charset);
    for (const auto& [name, meant] : kMeantCharsets) {
        if (IsCharset(known, name)) {
            return meant;
        }
    }
    return charset;
}

} // namespace

std::string Utf8FromUnknown(std::string_view text)
{
    return IsUtf8(text) ? std::string(text) : Latin1ToUtf8(text);
}

std::string DecodeCharset(const std::string& text, const char* charset)
{
    if (charset == nullptr || *charset == '\0' || IsCharset(charset, "us-ascii") ||
        IsCharset(charset, "ascii")) {
        return Utf8FromUnknown(text);
    }
    if (IsCharset(charset, "utf-8") || IsCharset(charset, "utf8")) {
        return Utf8Lossy(text);
    }
    EnsureMimeLibrary();
    iconv_t converter = g_mime_iconv_open("UTF-8", MeantCharset(charset));
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        return Utf8FromUnknown(text);
    }
    const std::unique_ptr<void, decltype(&g_mime_iconv_close)> owner(converter, g_mime_iconv_close);
    return ConvertLossy(converter, text);
}

} // namespace contactmgr_internal
