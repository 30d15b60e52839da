#pragma once

#include "server/Message.h"

#include <string>

// A part's text, decoded by the MIME library: see CBodyPart::GetTextBody. False if the part is no
// text; sets no last error. May throw std::bad_alloc.
bool DecodeTextBody(const _tBodyPartStructure& part, std::string* text);

// Text of a charset in UTF-8, with U+FFFD for what the charset does not have. A charset that is
// null, empty or unknown: see Utf8FromUnknown. May throw std::bad_alloc.
std::string DecodeCharset(const std::string& text, const char* charset);
