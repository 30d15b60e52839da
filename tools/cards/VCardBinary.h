#pragma once

#include "cards/VCard.h"

// Photos, logos, sounds and keys: base64 with a TYPE in vCard 3.0 (RFC 2426, 2.4.1), a data URI
// with a media type in 4.0 (RFC 6350, 5.7). One that stands elsewhere keeps its address.

bool IsBinary(const CVCardLine& line);
void BinaryTo4(CVCardLine* line);
void BinaryTo3(CVCardLine* line);

// Makes base64 what other programs take: ENCODING=b, and a whole number of groups.
void RepairBase64(CVCardLine* line);
