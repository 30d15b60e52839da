#include "server/TextBody.h"

#include "server/MessageHeader.h"
#include "text/Charset.h"
#include "text/MimeLibrary.h"

#include <cstddef>
#include <memory>
#include <string_view>

#include <gmime/gmime.h>

inline namespace contactmgr_internal
{

namespace
{

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

// The parser gives application/octet-stream for a field that it cannot read. RFC 2045 section 5.2
// treats such a field, like a missing one, as plain text.
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
    std::string input(content); // the filter writes into its input
    char* output = nullptr;
    std::size_t size = 0;
    std::size_t room = 0;
    g_mime_filter_complete(filter.get(), input.data(), input.size(), 0, &output, &size, &room);
    return std::string(output, size);
}

} // namespace

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

} // namespace contactmgr_internal
