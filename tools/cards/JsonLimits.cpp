#include "cards/JsonLimits.h"

#include <cstddef>
#include <vector>

namespace
{

constexpr std::size_t kMaxDepth = 64;
constexpr std::size_t kMaxMembers = 20'000;

// The position of the quote that ends a string, or the end of the text.
std::size_t EndOfString(std::string_view text, std::size_t begin)
{
    std::size_t at = begin;
    while (at < text.size() && text[at] != '"') {
        at += text[at] == '\\' ? 2 : 1;
    }
    return at;
}

} // namespace

bool IsWithinJsonLimits(std::string_view text)
{
    std::vector<std::size_t> members; // of each value that is open
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '"') {
            at = EndOfString(text, at + 1);
        } else if (c == '{' || c == '[') {
            members.push_back(0);
        } else if ((c == '}' || c == ']') && !members.empty()) {
            members.pop_back();
        } else if (c == ':' && !members.empty() && ++members.back() > kMaxMembers) {
            return false;
        }
        if (members.size() > kMaxDepth) {
            return false;
        }
    }
    return true;
}
