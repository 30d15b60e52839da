#pragma once

#include "cards/VCard.h"

#include <string>
#include <string_view>

// What a card says, in a form in which two cards can be compared: what the address book keeps of
// it. Left out is what each program writes anew (REV, PRODID, the write counter) and the UID. A
// TEL, EMAIL, ADR or IMPP line is what its entry in the address book becomes again, without its
// group and unknown parameters. The order of lines does not count.
std::string ContentOf(const CVCard& card);

// The digest of ContentOf.
std::string ContentDigest(const CVCard& card);

// Whether the card stands for a group of contacts, and not for one (RFC 6350, 6.1.4).
bool IsGroupCard(const CVCard& card);

// `card`, with the lines of `old` in place of those that mean the same: so a TEL, EMAIL, ADR or
// IMPP line keeps the group and the parameters that the address book has no place for.
CVCard WithLinesOf(const CVCard& old, CVCard card);
