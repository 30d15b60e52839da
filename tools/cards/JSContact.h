#pragma once

#include "cards/VCard.h"

#include <string>
#include <string_view>
#include <vector>

// Cards as JSContact (RFC 9553), converted as RFC 9555 has it. What has no place of its own there
// is kept in vCardProps and vCardParams, and comes back from these. Text is UTF-8; what is none
// becomes U+FFFD.

// One Card on one line, without a line end. Adds to `notes` what it has no place for.
std::string WriteJSContact(const CVCard& card, std::vector<std::string>* notes);

// The card of a text that is one Card. False, and *fault says why, for any other text. Adds to
// `notes` what a vCard 3.0 has no place for.
bool ReadJSContact(std::string_view text, CVCard* card, std::vector<std::string>* notes,
                   std::string* fault);
