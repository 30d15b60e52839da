#include "server/StorePaths.h"

#include "text/Utf8.h"

#include <algorithm>
#include <string_view>

inline namespace contactmgr_internal
{

namespace
{

constexpr std::size_t kMaxComponentLength = 255;

bool IsBlankOrControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte <= ' ' || byte == 0x7F;
}

} // namespace

bool IsPlainName(const char* name)
{
    if (name == nullptr) {
        return false;
    }
    const std::string_view text(name);
    return !text.empty() && text.size() <= kMaxComponentLength && text.front() != '.' &&
           text.find('/') == std::string_view::npos &&
           std::ranges::none_of(text, IsBlankOrControl) && IsUtf8(text);
}

} // namespace contactmgr_internal
