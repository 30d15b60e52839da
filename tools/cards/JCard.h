#pragma once

#include "cards/VCard.h"

#include <string>
#include <string_view>
#include <vector>

// Cards as jCard (RFC 7095), which is vCard 4.0 in JSON. Text is UTF-8; what is none becomes
// U+FFFD.

// One jCard on one line, without a line end. Adds to `notes` what it has no place for.
std::string WriteJCard(const CVCard& card, std::vector<std::string>* notes);

// The card of a text that is one jCard. False, and *fault says why, for any other text. Adds to
// `notes` what vCard 3.0 has no place for.
bool ReadJCard(std::string_view text, CVCard* card, std::vector<std::string>* notes,
               std::string* fault);

// One property of a jCard, from a line of vCard 4.0 and back: ["email", {}, "text", "a@b.c"].
std::string WriteJCardProperty(const CVCardLine& line);
bool ReadJCardProperty(std::string_view text, CVCardLine* line);
