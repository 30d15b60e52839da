#pragma once

#include <string>
#include <string_view>

// SHA-256 of the bytes, 64 digits of lower-case hexadecimal.
std::string DigestOf(std::string_view bytes);

// The name-based UUID of a text, version 5 (RFC 9562, 5.5), in this program's own namespace: the
// same text always has the same one. Lower case.
std::string NameBasedUuid(std::string_view name);
