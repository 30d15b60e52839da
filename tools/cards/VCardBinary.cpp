#include "cards/VCardBinary.h"

#include "base/Text.h"
#include "cards/LineParts.h"

namespace
{

constexpr std::string_view kDataUri = "data:";
constexpr std::string_view kBase64 = ";base64,";

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

} // namespace

bool IsBinary(const CVCardLine& line)
{
    return IsOneOf(line.name, {"PHOTO", "LOGO", "SOUND", "KEY"});
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
    line->value = std::string(kDataUri) + media + std::string(kBase64) + line->value;
}

void BinaryTo3(CVCardLine* line)
{
    const std::size_t begin = line->value.find(kBase64);
    if (!LowerText(line->value.substr(0, kDataUri.size())).starts_with(kDataUri) ||
        begin == std::string::npos) {
        if (IsUri(line->value)) {
            SetParameter("VALUE", "uri", line);
        }
        return;
    }
    const std::string media =
        LowerText(line->value.substr(kDataUri.size(), begin - kDataUri.size()));
    line->value.erase(0, begin + kBase64.size());
    DropParameter("VALUE", line);
    SetParameter("ENCODING", "b", line);
    const std::string kind = media.substr(media.find('/') + 1);
    const std::string type = media == "application/pgp-keys"       ? "PGP"
                             : media == "application/pkix-cert"    ? "X509"
                             : media == "application/octet-stream" ? ""
                                                                   : UpperText(kind);
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
