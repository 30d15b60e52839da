#include "text/Utf8String.h"

#include "platform/Failure.h"
#include "text/Utf8.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>

int CUtf8String::ToUnicode(std::u16string* out) const
try {
    if (out == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return Utf8ToWide(*this, out) ? 1 : 0;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

int CUtf8String::ToUnicode(char16_t** text, int* length) const
{
    if (text == nullptr || length == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    std::u16string wide;
    if (ToUnicode(&wide) == 0) {
        return 0;
    }
    const std::size_t size = (wide.size() + 1) * sizeof(char16_t);
    auto* const buffer = static_cast<char16_t*>(std::malloc(size));
    if (buffer == nullptr || wide.size() > std::numeric_limits<int>::max()) {
        std::free(buffer);
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    std::memcpy(buffer, wide.c_str(), size);
    *text = buffer;
    *length = static_cast<int>(wide.size());
    return 1;
}

int CUtf8String::FromUnicode(const char16_t* text)
try {
    if (text == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return WideToUtf8(text, this) ? 1 : 0;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}
