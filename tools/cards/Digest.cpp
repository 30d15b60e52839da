#include "cards/Digest.h"

#include <glib.h>

#include <memory>

namespace
{

struct CGlibFree
{
    void operator()(char* text) const { g_free(text); }
};

std::string Checksum(GChecksumType type, std::string_view bytes)
{
    const std::unique_ptr<char, CGlibFree> digest(g_compute_checksum_for_data(
        type, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
    return digest.get();
}

// The namespace as its sixteen bytes: 31630440-22e2-4d37-825d-98273d6f7abc. Never to be changed:
// all UIDs that were derived before would become others.
constexpr std::string_view
    kNamespace("\x31\x63\x04\x40\x22\xE2\x4D\x37\x82\x5D\x98\x27\x3D\x6F\x7A\xBC", 16);

} // namespace

std::string DigestOf(std::string_view bytes)
{
    return Checksum(G_CHECKSUM_SHA256, bytes);
}

std::string NameBasedUuid(std::string_view name)
{
    std::string digits =
        Checksum(G_CHECKSUM_SHA1, std::string(kNamespace).append(name)).substr(0, 32);
    constexpr std::string_view kVariants = "89ab89ab89ab89ab";
    constexpr std::string_view kDigits = "0123456789abcdef";
    digits[12] = '5';
    digits[16] = kVariants[kDigits.find(digits[16])];
    for (const std::size_t at : {20U, 16U, 12U, 8U}) {
        digits.insert(at, 1, '-');
    }
    return digits;
}
