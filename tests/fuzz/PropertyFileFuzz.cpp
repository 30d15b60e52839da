#include "fuzz/Fuzz.h"
#include "server/PropertyFile.h"

#include <algorithm>
#include <map>

#include <nlohmann/json.hpp>

namespace
{

PropertyValue ValueOf(const nlohmann::json& value)
{
    if (value.is_boolean()) {
        return value.get<bool>();
    }
    if (value.is_number_unsigned() && value.get<std::uint64_t>() <= UINT32_MAX) {
        return value.get<std::uint32_t>();
    }
    return value.is_string() ? PropertyValue(value.get<std::string>()) : PropertyValue();
}

} // namespace

// A property file is what a reader of whole JSON documents makes of it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = FuzzText(data, size);
    const CPropertyFile file(text);
    const nlohmann::json whole = nlohmann::json::parse(text, nullptr, false);
    FuzzCheck((file.Error() == 0) == whole.is_object(), "an object is read, all else refused");
    if (file.Error() != 0) {
        FuzzCheck(file.ErrorLine() >= 1 &&
                      file.ErrorLine() <= std::count(text.begin(), text.end(), '\n') + 1,
                  "a refusal names a line of the text");
        return 0;
    }
    std::map<std::string, int> uses;
    for (const auto& [name, value] : whole.items()) {
        ++uses[PropertyKey(name)];
    }
    for (const auto& [name, value] : whole.items()) {
        const PropertyValue* found = file.Find(PropertyKey(name));
        FuzzCheck(
            uses[PropertyKey(name)] > 1 ||
                (value.is_null() ? found == nullptr : found != nullptr && *found == ValueOf(value)),
            "every property has its value");
    }
    return 0;
}
