#pragma once

#include "text/Rfc822Address.h"

inline namespace contactmgr_internal
{

// Reads a "From" field, in UTF-8 and unfolded, that names one sender. It takes what
// CRfc822Address::Parse takes, and more, since mailers break the grammar:
// - one address in angle brackets at the end, with any text in front of it as the name;
// - encoded words in quotes, without blanks around them, or with specials such as commas inside.
// The comment is decoded, and RawFullAddress of the sender reads with Parse as the same sender.
//
// False if the field names several senders or none: last error ERROR_INVALID_DATA (13), and the
// sender stays as it was. Needs time of the order of the field's length. May throw std::bad_alloc.
bool ReadSender(const char* field, CRfc822Address* sender);

} // namespace contactmgr_internal
