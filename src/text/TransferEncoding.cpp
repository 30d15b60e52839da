#include "text/TransferEncoding.h"

#include <cstddef>
#include <memory>
#include <new>

#include <gmime/gmime.h>

inline namespace contactmgr_internal
{

namespace
{

std::string Decode(std::string_view text, GMimeContentEncoding encoding)
{
    GMimeEncoding decoder;
    g_mime_encoding_init_decode(&decoder, encoding);
    std::string bytes(g_mime_encoding_outlen(&decoder, text.size()), '\0');
    bytes.resize(g_mime_encoding_flush(&decoder, text.data(), text.size(), bytes.data()));
    return bytes;
}

} // namespace

std::string DecodeBase64(std::string_view text)
{
    return Decode(text, GMIME_CONTENT_ENCODING_BASE64);
}

std::string EncodeBase64(std::string_view bytes)
{
    const std::unique_ptr<gchar, decltype(&g_free)> encoded(
        g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()), g_free);
    return encoded.get();
}

std::string DecodeQuotedPrintable(std::string_view text)
{
    return Decode(text, GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
}

std::string DecodePercent(std::string_view text)
{
    const char* const end = text.data() + text.size();
    const std::unique_ptr<gchar, decltype(&g_free)> decoded(
        g_uri_unescape_segment(text.data(), end, nullptr), g_free);
    return decoded == nullptr ? std::string(text) : std::string(decoded.get());
}

} // namespace contactmgr_internal
