#pragma once

#include "server/Message.h"

#include <string>

// A part's text, decoded by the MIME library: see CBodyPart::GetTextBody. False if the part is no
// text; sets no last error. May throw std::bad_alloc.
bool DecodeTextBody(const _tBodyPartStructure& part, std::string* text);
