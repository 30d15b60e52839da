#pragma once

#include "server/Message.h"

#include <string>

inline namespace contactmgr_internal
{

// A part's text, decoded as CBodyPart::GetTextBody says. False if the part is of another kind; sets
// no last error. May throw std::bad_alloc.
bool DecodeTextBody(const _tBodyPartStructure& part, std::string* text);

} // namespace contactmgr_internal
