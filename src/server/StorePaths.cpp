#include "server/StorePaths.h"

#include "platform/Failure.h"
#include "platform/FileAttributes.h"
#include "text/Utf8.h"

#include <algorithm>
#include <string_view>

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

bool IsFolder(const std::string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data)) {
        if (GetLastError() == ERROR_FILE_NOT_FOUND) {
            SetLastError(ERROR_PATH_NOT_FOUND);
        }
        return false;
    }
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return Fail(ERROR_PATH_NOT_FOUND);
    }
    return true;
}
