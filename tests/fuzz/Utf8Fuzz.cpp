#include "fuzz/Fuzz.h"
#include "text/Utf8.h"
#include "text/Utf8String.h"

#include <cstdlib>
#include <cstring>
#include <memory>

// What decodes encodes to the same bytes, in both directions, and every conversion agrees with
// every other on what decodes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes = FuzzText(data, size);
    std::u16string wide = u"untouched";
    std::string narrow;
    const bool isUtf8 = Utf8ToWide(bytes, &wide);
    FuzzCheck(isUtf8 == IsUtf8(bytes), "IsUtf8 and Utf8ToWide agree");
    FuzzCheck(isUtf8 ? WideToUtf8(wide, &narrow) && narrow == bytes : wide == u"untouched",
              "UTF-8 there and back is the same, and a refusal writes nothing");

    char16_t* buffer = nullptr;
    int length = 0;
    const CUtf8String text{std::string(bytes)};
    FuzzCheck(isUtf8 == (text.ToUnicode(&buffer, &length) == 1), "both forms decode the same");
    const std::unique_ptr<char16_t, decltype(&std::free)> owner(buffer, std::free);
    FuzzCheck(!isUtf8 || (std::u16string_view(buffer, static_cast<std::size_t>(length)) == wide &&
                          buffer[length] == u'\0'),
              "both forms decode to the same, with a zero behind it");

    const std::u16string lossy = Utf8ToWideLossy(bytes);
    FuzzCheck(!isUtf8 || lossy == wide, "lossy decodes good UTF-8 as it is");
    FuzzCheck(WideToUtf8(lossy, &narrow) && IsUtf8(narrow), "lossy gives good UTF-16");

    std::u16string units(size / sizeof(char16_t), u'\0');
    if (!units.empty()) {
        std::memcpy(units.data(), data, units.size() * sizeof(char16_t));
    }
    std::string appended = "before";
    const bool isUtf16 = AppendUtf8(units, &appended);
    FuzzCheck(isUtf16 ? Utf8ToWide(appended.substr(6), &wide) && wide == units
                      : appended == "before",
              "UTF-16 there and back is the same, and a refusal appends nothing");
    return 0;
}
