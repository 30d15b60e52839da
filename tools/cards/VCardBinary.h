#pragma once

#include "cards/VCard.h"

#include <string_view>

// Photos, logos, sounds and keys: base64 with a TYPE in vCard 3.0 (RFC 2426, 2.4.1), a data URI
// (RFC 2397) with a media type in 4.0 (RFC 6350, 5.7). One that stands elsewhere keeps its address,
// and so does a data URI that is not written as it should be.

bool IsBinary(const CVCardLine& line);
// Whether all characters are ones of base64.
bool IsBase64(std::string_view text);
// Whether the value is a data URI, as some programs write it in 3.0 too.
bool HasDataUri(const CVCardLine& line);
void BinaryTo4(CVCardLine* line);
void BinaryTo3(CVCardLine* line);

// Makes base64 what other programs take: ENCODING=b, and a whole number of groups.
void RepairBase64(CVCardLine* line);
