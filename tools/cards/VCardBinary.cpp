#include "cards/VCardBinary.h"

#include "base/Text.h"
#include "cards/LineParts.h"
#include "text/TransferEncoding.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr std::string_view kDataUri = "data:";
constexpr std::string_view kBase64 = ";base64";

std::string MediaTypeOf(const CVCardLine& line)
{
    const std::string type = LowerText(line.Parameter("TYPE"));
    if (line.name == "KEY") {
        return type == "pgp"    ? "application/pgp-keys"
               : type == "x509" ? "application/pkix-cert"
                                : "application/octet-stream";
    }
    if (!type.empty()) {
        return type.find('/') != type.npos ? type
                                           : (line.name == "SOUND" ? "audio/" : "image/") + type;
    }
    return line.value.starts_with("/9j/")          ? "image/jpeg"
           : line.value.starts_with("iVBORw0KGgo") ? "image/png"
           : line.value.starts_with("R0lGOD")      ? "image/gif"
                                                   : "application/octet-stream";
}

// Empty for a text that is no media type.
std::string_view SubtypeOf(std::string_view media)
{
    const std::size_t slash = media.find('/');
    return slash == media.npos ? std::string_view() : media.substr(slash + 1);
}

// The content of a data URI in base64. Empty if it is none, or not written as it should be.
std::string Base64OfDataUri(std::string_view head, std::string_view content)
{
    const std::string data = DecodePercent(content);
    if (!head.ends_with(kBase64)) {
        return EncodeBase64(data);
    }
    std::string text;
    std::ranges::copy_if(data, std::back_inserter(text), [](unsigned char c) { return c > ' '; });
    return IsBase64(text) ? text : "";
}

} // namespace

bool IsBinary(const CVCardLine& line)
{
    return IsOneOf(line.name, {"PHOTO", "LOGO", "SOUND", "KEY"});
}

bool IsBase64(std::string_view text)
{
    return text.find_first_not_of(
               "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=") == text.npos;
}

void BinaryTo4(CVCardLine* line)
{
    if (!IsOneOf(line->Parameter("ENCODING"), {"b", "base64"})) {
        return;
    }
    const std::string media = MediaTypeOf(*line);
    DropParameter("ENCODING", line);
    DropParameter("TYPE", line);
    std::erase(line->value, ' ');
    line->value = std::string(kDataUri) + media + std::string(kBase64) + ',' + line->value;
}

bool HasDataUri(const CVCardLine& line)
{
    return IsBinary(line) && line.value.find(',') != std::string::npos &&
           EqualIgnoringCase(std::string_view(line.value).substr(0, kDataUri.size()), kDataUri);
}

void BinaryTo3(CVCardLine* line)
{
    std::string head;
    std::string data;
    if (HasDataUri(*line)) {
        const std::size_t comma = line->value.find(',');
        head = LowerText(line->value.substr(kDataUri.size(), comma - kDataUri.size()));
        data = Base64OfDataUri(head, std::string_view(line->value).substr(comma + 1));
    }
    if (data.empty()) {
        if (IsUri(line->value)) {
            SetParameter("VALUE", "uri", line);
        }
        return;
    }
    line->value = data;
    DropParameter("VALUE", line);
    DropParameter("MEDIATYPE", line);
    SetParameter("ENCODING", "b", line);
    const std::string media = head.substr(0, head.find(';'));
    const std::string type = media == "application/pgp-keys"       ? "PGP"
                             : media == "application/pkix-cert"    ? "X509"
                             : media == "application/octet-stream" ? ""
                                                                   : UpperText(SubtypeOf(media));
    if (!type.empty()) {
        SetParameter("TYPE", type, line);
    }
}

// ENCODING=BASE64 is of vCard 2.1, and other programs refuse a whole card for a photo whose end is
// missing.
void RepairBase64(CVCardLine* line)
{
    constexpr std::size_t kGroup = 4;
    for (auto& [name, value] : line->parameters) {
        if (name != "ENCODING" ||
            (!EqualIgnoringCase(value, "b") && !EqualIgnoringCase(value, "base64"))) {
            continue;
        }
        value = "b";
        std::string& text = line->value;
        std::erase(text, ' ');
        text.resize(text.size() - (text.size() % kGroup == 1 ? 1 : 0));
        text.append((kGroup - text.size() % kGroup) % kGroup, '=');
    }
}
