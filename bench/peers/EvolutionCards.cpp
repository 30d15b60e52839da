// What libebook-contacts makes of cards: a JSON object for each file, one a line.
//
// Usage: EvolutionCards < LIST OF FILES, each of one card

#include <libebook-contacts/libebook-contacts.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace
{

using nlohmann::json;

json ValuesOf(EVCardAttribute* attribute)
{
    json values = json::array();
    for (const GList* one = e_vcard_attribute_get_values_decoded(attribute); one != nullptr;
         one = one->next) {
        const auto* const text = static_cast<const GString*>(one->data);
        values.push_back(std::string(text->str, text->len));
    }
    return values;
}

json ReadCard(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    json card = json::object();
    EVCard* const read = e_vcard_new_from_string(text.c_str());
    for (const GList* one = e_vcard_get_attributes(read); one != nullptr; one = one->next) {
        auto* const attribute = static_cast<EVCardAttribute*>(one->data);
        std::string name = e_vcard_attribute_get_name(attribute);
        for (char& c : name) {
            c = g_ascii_toupper(c);
        }
        card[name].push_back(ValuesOf(attribute));
    }
    g_object_unref(read);
    return card;
}

} // namespace

int main()
{
    for (std::string path; std::getline(std::cin, path);) {
        std::cout << ReadCard(path).dump(-1, ' ', false, json::error_handler_t::replace) << '\n';
    }
    return 0;
}
