#include "server/MimeText.h"

#include "server/GMimeInit.h"
#include "server/MessageHeader.h"
#include "server/Utf8String.h"

#include <cerrno>
#include <cstddef>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include <gmime/gmime.h>

namespace
{

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct CUnref
{
    void operator()(gpointer object) const { g_object_unref(object); }
};
using ContentType = std::unique_ptr<GMimeContentType, CUnref>;
using Filter = std::unique_ptr<GMimeFilter, CUnref>;

// The field's value, or empty.
std::string HeaderValue(std::string_view header, std::string_view name)
{
    CHeaderField field;
    return FindHeaderField(header, true, name, &field) == EHeaderSearch::Found
               ? HeaderValueToUtf8(field.value)
               : std::string();
}

// What the parser cannot read it calls application/octet-stream; RFC 2045 section 5.2 has it be
// plain text, as a missing field is.
ContentType ReadContentType(std::string_view header)
{
    constexpr std::string_view kUnreadable = "application/octet-stream";
    const std::string value = HeaderValue(header, "Content-Type");
    ContentType type(g_mime_content_type_parse(nullptr, value.c_str()));
    if (g_mime_content_type_is_type(type.get(), "application", "octet-stream") &&
        g_ascii_strncasecmp(value.c_str(), kUnreadable.data(), kUnreadable.size()) != 0) {
        type.reset(g_mime_content_type_new("text", "plain"));
    }
    return type;
}

std::string DecodeTransfer(std::string_view content, const std::string& encoding)
{
    const GMimeContentEncoding known = g_mime_content_encoding_from_string(encoding.c_str());
    if (known != GMIME_CONTENT_ENCODING_BASE64 && known != GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE &&
        known != GMIME_CONTENT_ENCODING_UUENCODE) {
        return std::string(content);
    }
    const Filter filter(g_mime_filter_basic_new(known, FALSE));
    std::string input(content); // the filter may write in front of and into what it is given
    char* output = nullptr;
    std::size_t size = 0;
    std::size_t room = 0;
    g_mime_filter_complete(filter.get(), input.data(), input.size(), 0, &output, &size, &room);
    return std::string(output, size);
}

std::string Utf8Lossy(const std::string& text)
{
    if (IsUtf8(text)) {
        return text;
    }
    std::u16string wide;
    std::string converted;
    if (!Utf8ToWideLossy(text, &wide) || !WideToUtf8(wide, &converted)) {
        throw std::bad_alloc();
    }
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

bool DecodeTextBody(const _tBodyPartStructure& part, std::string* text)
{
    EnsureMimeLibrary();
    const ContentType type = ReadContentType(part.header);
    if (!g_mime_content_type_is_type(type.get(), "text", "*")) {
        return false;
    }
    const std::string encoding = HeaderValue(part.header, "Content-Transfer-Encoding");
    *text = DecodeCharset(DecodeTransfer(part.content, encoding),
                          g_mime_content_type_get_parameter(type.get(), "charset"));
    return true;
}
